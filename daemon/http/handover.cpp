#include "daemon/http/handover.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

namespace vsd::http {
namespace {

constexpr std::size_t kRoom = CMSG_SPACE(HandoverChannel::kMostAtOnce * sizeof(int));

// One byte of data, because a message without any could not be told from the channel's end, and
// room for sockets beside it.
struct Message {
  char byte = 0;
  iovec data{&byte, 1};
  alignas(cmsghdr) std::array<char, kRoom> control{};
  msghdr header{};

  Message() {
    header.msg_iov = &data;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = control.size();
  }
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;
};

}  // namespace

HandoverChannel::HandoverChannel() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) != 0) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  giving_ = FileDescriptor(ends[0]);
  taking_ = FileDescriptor(ends[1]);
}

bool HandoverChannel::give(std::span<const int> sockets) const noexcept {
  Message message;
  message.header.msg_controllen = CMSG_SPACE(sockets.size_bytes());
  cmsghdr* const control = CMSG_FIRSTHDR(&message.header);
  control->cmsg_level = SOL_SOCKET;
  control->cmsg_type = SCM_RIGHTS;
  control->cmsg_len = CMSG_LEN(sockets.size_bytes());
  std::memcpy(CMSG_DATA(control), sockets.data(), sockets.size_bytes());
  ssize_t sent = 0;
  do {
    sent = sendmsg(giving_.get(), &message.header, MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent == 1;
}

std::vector<FileDescriptor> HandoverChannel::take() const {
  std::vector<FileDescriptor> taken;
  Message message;
  ssize_t received = 0;
  do {
    received = recvmsg(taking_.get(), &message.header, MSG_CMSG_CLOEXEC);
  } while (received < 0 && errno == EINTR);
  const cmsghdr* const control = received == 1 ? CMSG_FIRSTHDR(&message.header) : nullptr;
  if (control == nullptr || control->cmsg_type != SCM_RIGHTS) {
    return taken;
  }
  std::array<int, kMostAtOnce> sockets{};
  const std::size_t bytes = control->cmsg_len - CMSG_LEN(0);
  std::memcpy(sockets.data(), CMSG_DATA(control), bytes);
  for (std::size_t i = 0; i < bytes / sizeof(int); ++i) {
    taken.emplace_back(sockets[i]);
  }
  return taken;
}

}  // namespace vsd::http
