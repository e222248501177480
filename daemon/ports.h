// The addresses that the daemon listens on.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/http/handover.h"
#include "daemon/process/listener.h"

namespace vsd {

// Where the workers of a number get their clients from, whatever their generation. The parent keeps
// them, so that what waits in a listener's queue outlives a worker.
struct WorkerPort {
  Listener listener;
  http::HandoverChannel handover;
};

struct Port {
  std::string key;                  // names it among the others
  ListenAddress address;            // with the port that it is bound to
  std::vector<WorkerPort> workers;  // by the number of the worker
};

using PortPtr = std::shared_ptr<Port>;

// All ports of this process. One is open for as long as somebody keeps it.
class Ports {
 public:
  explicit Ports(int workers) : workers_(workers) {}
  Ports(const Ports&) = delete;
  Ports& operator=(const Ports&) = delete;

  // The port of this key; a new one on `address` when there is none. Throws std::runtime_error as
  // open_listener does.
  [[nodiscard]] PortPtr open(std::string_view key, const ListenAddress& address,
                             Transport transport);

  // Closes this process's descriptors of all of them.
  void close_all() noexcept;

  [[nodiscard]] int workers() const noexcept { return workers_; }

 private:
  int workers_;
  std::vector<std::weak_ptr<Port>> ports_;
};

// "127.0.0.1:8080, [::1]:8080"
[[nodiscard]] std::string list_of(const std::vector<ListenAddress>& addresses);

}  // namespace vsd
