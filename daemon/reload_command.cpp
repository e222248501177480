// `vsd reload`: tells the parent of a running vsd and waits for what comes of it.
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

#include "daemon/commands.h"
#include "daemon/process/pid_file.h"
#include "daemon/settings.h"

namespace vsd {
namespace {

constexpr std::chrono::milliseconds kLookInterval{20};

// The first record behind `before`; nothing when the daemon ends meanwhile.
std::optional<ReloadRecord> wait_for_reload(const std::filesystem::path& file, pid_t daemon,
                                            unsigned long before) {
  while (pid_file_holder(file) == daemon) {
    auto reload = read_reload_record(file);
    if (reload && reload->count > before) {
      return reload;
    }
    std::this_thread::sleep_for(kLookInterval);
  }
  return std::nullopt;
}

}  // namespace

int reload_command(const CommandLine& line) {
  std::vector<Problem> problems;  // the daemon tells them
  const Config config = read_settings(line, problems);
  const std::filesystem::path file = config.root / config.pid_file;
  const std::optional<pid_t> daemon = pid_file_holder(file);
  if (!daemon) {
    std::fprintf(stderr, "vsd: no vsd runs with the pid file %s\n", file.c_str());
    return kExitFailed;
  }
  std::optional<ReloadRecord> before = read_reload_record(file);
  while (!before && pid_file_holder(file) == daemon) {
    std::this_thread::sleep_for(kLookInterval);
    before = read_reload_record(file);
  }
  if (!before || kill(*daemon, SIGHUP) != 0) {
    std::fprintf(stderr, "vsd: process %d cannot be told: %s\n", *daemon,
                 std::generic_category().message(errno).c_str());
    return kExitFailed;
  }
  const auto reload = wait_for_reload(file, *daemon, before->count);
  if (!reload) {
    std::fprintf(stderr, "vsd: process %d ended before it had reloaded\n", *daemon);
    return kExitFailed;
  }
  std::fputs(reload->problem.c_str(), stderr);
  std::printf("vsd: process %d has reloaded%s\n", *daemon, reload->is_good ? "" : ", with errors");
  return reload->is_good ? kExitOk : kExitFailed;
}

}  // namespace vsd
