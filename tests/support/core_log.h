// What the core library traces while something runs.
#pragma once

#include <wz/wzlb.h>

#include <string>

#include "tests/support/capture.h"
#include "tests/support/temporary_folder.h"

namespace wz::test {

template <typename Action>
std::string core_log_of(int levels, unsigned long long modules, Action action) {
  const TemporaryFolder folder;
  std::string path = (folder.path() / "debug.log").string();
  std::string none;
  wzlb_util_set_log_filename(path.data(), none.data());
  wzlb_util_set_debug_log_level(levels);
  wzlb_util_set_modulemask(modules);
  action();
  wzlb_util_set_debug_log_level(0);
  wzlb_util_set_modulemask(0);
  wzlb_close_log_fd();
  wzlb_util_set_log_filename(none.data(), none.data());
  return content_of(path);
}

}  // namespace wz::test
