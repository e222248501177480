#include "daemon/cli.h"

#include <CLI/CLI.hpp>
#include <cstdlib>

#include "daemon/config.h"

namespace vsd {
namespace {

constexpr const char* kExamples = R"(Examples:
  vsd new hello --root ./work          a work directory with one service that runs
  vsd check --root ./work              every error of every service, with file and line
  vsd run --root ./work                serve them on the address of vsd.conf
  vsd run --root ./work --listen 9000  ... on another port (0: a free one, told at start)
  vsd faker 'person.name;locale=de'    a German name; without a class: every class there is

Exit status: 0 done, 1 failed, 2 wrong usage.)";

std::string default_root() {
  const char* root = std::getenv("VSD_ROOT");
  return root != nullptr && *root != '\0' ? root : ".";
}

// The one command without a work directory.
void add_faker(CLI::App& app, CommandLine& line) {
  CLI::App* faker = app.add_subcommand("faker", "List the classes of fake data, or print values");
  FakerOptions& options = line.faker;
  faker->add_option("class", options.class_text, "Class and arguments, as in Class= of a service");
  faker->add_option("--count", options.count, "How many values to print")
      ->check(CLI::Range(1, 1000000));
  faker->add_option("--seed", options.seed, "Number that the same values come from every time");
  faker->callback([&line] { line.command = Command::faker; });
}

}  // namespace

std::optional<CommandLine> parse_command_line(int argc, char** argv, int& exit_status) {
  CommandLine line;
  std::string root = default_root();

  CLI::App app{
      "vsd stands in for services that are not there: it answers requests with templates "
      "and compiled C scripts."};
  app.footer(kExamples);
  app.set_version_flag("--version", WZ_VERSION);
  app.require_subcommand(1);

  const auto add_command = [&](const char* name, const char* description, Command command) {
    CLI::App* sub = app.add_subcommand(name, description);
    sub->add_option("--root", root, "Work directory (default: $VSD_ROOT, else the current one)");
    sub->callback([&line, command] { line.command = command; });
    return sub;
  };
  CLI::App* run = add_command("run", "Serve requests until SIGTERM", Command::run);
  run->add_option("--listen", line.listen, "[IP:]port to listen on, over LISTEN of vsd.conf")
      ->check([](const std::string& text) {
        ListenAddress address;
        return parse_listen_address(text, address);
      });
  run->add_option("--workers", line.workers, "Worker processes, over WORKERS of vsd.conf")
      ->check(CLI::Range(1, 256));
  add_command("check", "Validate vsd.conf and every service, and build every script",
              Command::check);
  add_command("new", "Create a service that runs", Command::create)
      ->add_option("name", line.service_name, "Name of the service")
      ->required();
  add_faker(app, line);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    exit_status = app.exit(error) == 0 ? kExitOk : kExitUsage;
    return std::nullopt;
  }
  line.root = std::filesystem::absolute(root).lexically_normal();
  return line;
}

}  // namespace vsd
