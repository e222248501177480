#include "daemon/process/privileges.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <system_error>

namespace vsd {

void drop_privileges(const std::string& user) {
  if (user.empty()) {
    if (geteuid() == 0) {
      std::fprintf(stderr,
                   "vsd: warning: running as root, and so do the scripts; name a user with the "
                   "keyword USER\n");
    }
    return;
  }
  const passwd* entry = getpwnam(user.c_str());
  if (entry == nullptr) {
    throw std::runtime_error("USER " + user + ": no such user");
  }
  if (geteuid() == entry->pw_uid) {
    return;
  }
  if (initgroups(user.c_str(), entry->pw_gid) != 0 || setgid(entry->pw_gid) != 0 ||
      setuid(entry->pw_uid) != 0) {
    throw std::runtime_error("USER " + user + ": " + std::generic_category().message(errno));
  }
}

}  // namespace vsd
