// Signals as events of a loop: the handler only notes the signal and writes to the loop's eventfd.
#pragma once

#include <cstdint>
#include <functional>
#include <map>

namespace vsd::http {

// The inbox that was made last hears the signals of the process.
class SignalInbox {
 public:
  // A signal adds `word` to `event`, an eventfd that must outlive the inbox.
  SignalInbox(int event, std::uint64_t word) noexcept;
  SignalInbox(const SignalInbox&) = delete;
  SignalInbox& operator=(const SignalInbox&) = delete;
  // The signals have their usual effect again.
  ~SignalInbox();

  void on(int signal, std::function<void()> action);
  // Calls the actions of the signals that have arrived.
  void deliver();

 private:
  int event_;
  std::map<int, std::function<void()>> actions_;
};

}  // namespace vsd::http
