// The work directory, under which the library finds its data files. It has a value as soon as the
// library is loaded, so that a tool without any set-up can use what reads files.
#include <unistd.h>
#include <wz/wzlb_wdir.h>

#include <cstdlib>
#include <cstring>

char g_wz_wdir[WZLB_WDIR_SIZE];

void wzlb_set_wdir(const char* directory) {
  if (directory == nullptr) {
    return;
  }
  const std::size_t length = std::strlen(directory);
  if (length > 0 && length < sizeof g_wz_wdir) {
    std::memcpy(g_wz_wdir, directory, length + 1);
  }
}

namespace {

__attribute__((constructor)) void set_default_work_directory() {
  wzlb_set_wdir(std::getenv("VSD_ROOT"));
  if (g_wz_wdir[0] == '\0' && getcwd(g_wz_wdir, sizeof g_wz_wdir) == nullptr) {
    std::memcpy(g_wz_wdir, ".", 2);
  }
}

}  // namespace
