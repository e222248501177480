// Passes open connections from a worker that ends to the one that takes its place. A connection
// between two requests is nothing but its socket, so its client does not notice; what waits in the
// channel while there is no successor yet is kept by the kernel.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "daemon/file_descriptor.h"

namespace vsd::http {

// Both ends of a channel. Copies that fork() makes share it.
class HandoverChannel {
 public:
  static constexpr std::size_t kMostAtOnce = 64;  // sockets of one message

  // Throws std::system_error.
  HandoverChannel();

  // Puts at most `kMostAtOnce` sockets into the channel; they stay open here. False when it is
  // full: try again later.
  [[nodiscard]] bool give(std::span<const int> sockets) const noexcept;

  // The sockets of one message; none when the channel is empty.
  [[nodiscard]] std::vector<FileDescriptor> take() const;

  // Readable while there is something to take.
  [[nodiscard]] int descriptor() const noexcept { return taking_.get(); }

 private:
  FileDescriptor giving_;
  FileDescriptor taking_;
};

}  // namespace vsd::http
