// What a script gives back of its request, and the reset of its connection.
#include <sys/socket.h>
#include <wz/vsd_host.h>

#include <functional>
#include <utility>

#include "daemon/host_ops/host_ops.h"

namespace vsd {
namespace {

std::function<void(int)>& socket_release() {
  static std::function<void(int)> release;
  return release;
}

}  // namespace

void set_socket_release(std::function<void(int)> release) {
  socket_release() = std::move(release);
}

}  // namespace vsd

void free_hdr_buf(connection* cptr) {
  if (cptr != nullptr) {
    cptr->request_hdr.hdr_buffer = nullptr;
  }
}

void free_retrieve_data(connection* cptr, int) {
  if (cptr != nullptr) {
    cptr->cur_buf = nullptr;
    cptr->bytes = 0;
  }
}

// With no time to linger the close that follows is a reset, which the client sees as such.
void remove_select(int fd) {
  const linger at_once{1, 0};
  ::setsockopt(fd, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  if (vsd::socket_release()) {
    vsd::socket_release()(fd);
  }
}
