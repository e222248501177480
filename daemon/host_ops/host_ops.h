// What the daemon sets of the operations that the library requires of its host. The operations
// themselves are declared in <wz/vsd_host.h>; libwz.so resolves them from the executable.
#pragma once

#include <filesystem>

namespace vsd {

// Names the host's logs and opens the error log, whose lines go to standard error until then. The
// debug log is opened by its first line. Returns false when the error log cannot be opened.
bool set_host_logs(const std::filesystem::path& debug_log, const std::filesystem::path& error_log);

// Which debug lines are written: both masks must have a bit in common with the line's.
void set_host_log_masks(int level_mask, unsigned long long module_mask);

// Closes both logs; error lines go to standard error again.
void close_host_logs();

// The work directory that scripts see.
void set_host_work_directory(const std::filesystem::path& directory);

// Which of `count` worker processes this is, counted from 0. Unique dates of different workers
// differ by it.
void set_host_process(int index, int count);

}  // namespace vsd
