// What the daemon sets of the operations that the library requires of its host. The operations
// themselves are declared in <wz/vsd_host.h>; libwz.so resolves them from the executable.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace vsd {

// Names the host's logs and opens the error log, whose lines go to standard error until then. The
// debug log is opened by its first line. Returns false when the error log cannot be opened.
bool set_host_logs(const std::filesystem::path& debug_log, const std::filesystem::path& error_log);

// Names the trace log of scripts, which its first line opens, and sets the level that holds where
// neither service nor response has one: above 0 their traces are written.
void set_host_trace_log(const std::filesystem::path& path, int level);

// Opens the host's and the library's logs anew at the next lines: log files that were moved away
// are let go.
void reopen_logs();

// Which debug lines are written: both masks must have a bit in common with the line's.
void set_host_log_masks(int level_mask, unsigned long long module_mask);

// Closes both logs; error lines go to standard error again.
void close_host_logs();

// The work directory that scripts see.
void set_host_work_directory(const std::filesystem::path& directory);

// Who gives up a client's socket that a script resets; the library closes it right after.
void set_socket_release(std::function<void(int)> release);

// Seeds this process's generators: rand() and those of service times, whose mean is in
// milliseconds. The same seed and worker yield the same numbers in every run.
void seed_host_generators(unsigned long seed, int worker, double mean_service_time);

// The port of our own listener, for services that forward to it.
void set_host_port(unsigned short port);

// The name that scripts ask for; it must outlive them.
void set_controller_name(const std::string& name);

// The requests per second that count as full load.
void set_full_load(double requests);

// Which of `count` worker processes this is, counted from 0. Unique dates of different workers
// differ by it.
void set_host_process(int index, int count);

}  // namespace vsd
