#include "daemon/http/signal_inbox.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <utility>

namespace vsd::http {
namespace {

// What the handler needs; a handler has no other way to an object.
// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables)
constinit std::atomic<int> told_event{-1};
constinit std::atomic<std::uint64_t> told_word{0};
constinit std::atomic<std::uint64_t> arrived{0};  // a bit for each signal
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

constexpr std::uint64_t bit_of(int signal) noexcept {
  return std::uint64_t{1} << static_cast<unsigned>(signal - 1);
}

void note(int signal) {
  const int error = errno;
  arrived |= bit_of(signal);
  const std::uint64_t word = told_word;
  [[maybe_unused]] const ssize_t ignored = ::write(told_event, &word, sizeof word);
  errno = error;
}

}  // namespace

SignalInbox::SignalInbox(int event, std::uint64_t word) noexcept : event_(event) {
  told_word = word;
  told_event = event;
}

SignalInbox::~SignalInbox() {
  for (const auto& [signal, action] : actions_) {
    std::signal(signal, SIG_DFL);
  }
  int own = event_;
  told_event.compare_exchange_strong(own, -1);
}

void SignalInbox::on(int signal, std::function<void()> action) {
  actions_[signal] = std::move(action);
  struct sigaction handling {};
  handling.sa_handler = note;
  handling.sa_flags = SA_RESTART;
  sigfillset(&handling.sa_mask);
  ::sigaction(signal, &handling, nullptr);
}

void SignalInbox::deliver() {
  const std::uint64_t signals = arrived.exchange(0);
  for (const auto& [signal, action] : actions_) {
    if ((signals & bit_of(signal)) != 0) {
      action();
    }
  }
}

}  // namespace vsd::http
