#include "daemon/process/service_manager.h"

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>

#include "daemon/file_descriptor.h"

namespace vsd {

void notify_service_manager(std::string_view state) noexcept {
  const char* const name = std::getenv("NOTIFY_SOCKET");
  const std::string_view path = name != nullptr ? name : "";
  sockaddr_un address{};
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    return;
  }
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, path.size());
  if (path.front() == '@') {
    address.sun_path[0] = '\0';  // an abstract name
  }
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  ::sendto(socket.get(), state.data(), state.size(), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&address), length);
}

std::size_t raise_descriptor_limit() noexcept {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
    return 0;
  }
  rlimit raised = limit;
  raised.rlim_cur = raised.rlim_max;
  return setrlimit(RLIMIT_NOFILE, &raised) == 0 ? raised.rlim_cur : limit.rlim_cur;
}

std::size_t most_connections() noexcept {
  constexpr std::size_t kOtherDescriptors = 64;
  rlimit limit{};
  const bool is_known = getrlimit(RLIMIT_NOFILE, &limit) == 0;
  return is_known && limit.rlim_cur > 2 * kOtherDescriptors ? limit.rlim_cur - kOtherDescriptors
                                                            : kOtherDescriptors;
}

}  // namespace vsd
