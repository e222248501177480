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
  vsd run --root ./work --watch        ... and load what changes at once
  vsd reload --root ./work             load what has changed now
  vsd faker 'person.name;locale=de'    a German name; without a class: every class there is
  vsd hessian decode capture.bin       a Hessian message as XML

`vsd COMMAND --help` tells more of a command. An option goes before its variable of the
environment, and that before its keyword in vsd.conf: --listen, VSD_LISTEN, LISTEN. Every keyword
has such a variable.

Exit status: 0 done, 1 failed (a message says why), 2 wrong usage.)";

constexpr const char* kRunNotes =
    R"(The line "vsd: ready on ADDRESS ..." on standard output tells that requests are served.
Signals: SIGTERM and SIGINT end (twice: at once), SIGHUP reloads, SIGUSR1 reopens the logs.

Examples:
  vsd run --root ./work --workers 2
  VSD_LISTEN=0 VSD_ACCESS_LOG=- vsd run --root ./work --watch

Exit status: 0 ended as asked, 1 could not start or a worker failed while it stopped, 2 wrong usage.)";

constexpr const char* kReloadNotes =
    R"(Tells the vsd that runs on the work directory to load its services anew and waits until it has.
Services with errors keep their former version; their errors are printed.

Example:
  vsd reload --root ./work

Exit status: 0 all services are as in their folders, 1 some are not or no vsd runs, 2 wrong usage.)";

constexpr const char* kCheckNotes = R"(Example:
  vsd check --root ./work

Exit status: 0 nothing is wrong, 1 errors, listed on standard error, 2 wrong usage.)";

constexpr const char* kNewNotes = R"(Example:
  vsd new hello --root ./work && vsd run --root ./work

Exit status: 0 created, 1 failed, 2 wrong usage.)";

constexpr const char* kHessianNotes = R"(The XML form is written down in hessian-xml.md.

Examples:
  vsd hessian decode capture.bin
  echo '<hessian><int>5</int></hessian>' | vsd hessian encode | xxd

Exit status: 0 done, 1 no message, 2 wrong usage.)";

std::string default_root() {
  const char* root = std::getenv("VSD_ROOT");
  return root != nullptr && *root != '\0' ? root : ".";
}

// Commands without a work directory.
void add_faker(CLI::App& app, CommandLine& line) {
  CLI::App* faker = app.add_subcommand("faker", "List the classes of fake data, or print values");
  FakerOptions& options = line.faker;
  faker->add_option("class", options.class_text, "Class and arguments, as in Class= of a service");
  faker->add_option("--count", options.count, "How many values to print")
      ->check(CLI::Range(1, 1000000));
  faker->add_option("--seed", options.seed, "Number that the same values come from every time");
  faker->callback([&line] { line.command = Command::faker; });
}

void add_hessian(CLI::App& app, CommandLine& line) {
  CLI::App* hessian = app.add_subcommand("hessian", "Hessian messages as XML and back");
  hessian->footer(kHessianNotes);
  hessian->require_subcommand(1);
  HessianOptions& options = line.hessian;
  const auto add_direction = [&](const char* name, const char* description, bool encode) {
    CLI::App* direction = hessian->add_subcommand(name, description);
    direction->add_option("file", options.file, "File to read (default: standard input)")
        ->check(CLI::ExistingFile);
    direction
        ->add_option("--protocol", options.version, "Version of the protocol: 1 or 2 (default)")
        ->check(CLI::Range(1, 2));
    direction->callback([&line, encode] {
      line.command = Command::hessian;
      line.hessian.encode = encode;
    });
  };
  add_direction("decode", "A message as XML", false);
  add_direction("encode", "XML as a message", true);
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

  const auto add_command = [&](const char* name, const char* description, const char* notes,
                               Command command) {
    CLI::App* sub = app.add_subcommand(name, description);
    sub->footer(notes);
    sub->add_option("--root", root, "Work directory (default: $VSD_ROOT, else the current one)");
    sub->callback([&line, command] { line.command = command; });
    return sub;
  };
  const auto add_pid_file = [&](CLI::App* sub) {
    sub->add_option("--pid-file", line.pid_file,
                    "File that names the running vsd (default: vsd.pid in the work directory)");
  };
  CLI::App* run = add_command("run", "Serve requests until SIGTERM", kRunNotes, Command::run);
  run->add_option("--listen", line.listen,
                  "[IP:]port to listen on, over LISTEN of vsd.conf; may be repeated")
      ->allow_extra_args(false)
      ->check([](const std::string& text) {
        ListenAddress address;
        return parse_listen_address(text, address);
      });
  run->add_option("--workers", line.workers, "Worker processes, over WORKERS of vsd.conf")
      ->check(CLI::Range(1, 256));
  run->add_flag("--watch", line.watch, "Reload when vsd.conf or a file of a service changes");
  add_pid_file(run);
  add_pid_file(add_command("reload", "Load the services of a running vsd anew", kReloadNotes,
                           Command::reload));
  add_command("check", "Validate vsd.conf and every service, and build every script", kCheckNotes,
              Command::check);
  add_command("new", "Create a service that runs", kNewNotes, Command::create)
      ->add_option("name", line.service_name, "Name of the service")
      ->required();
  add_faker(app, line);
  add_hessian(app, line);

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
