// Forwards on libcurl's multi-socket interface. Its sockets and one timer lie in an epoll set,
// whose descriptor is readable while something is to be done; the connections to backends are kept
// and used again.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <memory>
#include <vector>

#include "daemon/file_descriptor.h"
#include "daemon/http/delay_queue.h"
#include "daemon/http/forward.h"

namespace vsd {

class CurlForwarder final : public http::Forwarder {
 public:
  // Throws std::system_error. libcurl is first used by the first forward.
  CurlForwarder();
  CurlForwarder(const CurlForwarder&) = delete;
  CurlForwarder& operator=(const CurlForwarder&) = delete;

  [[nodiscard]] int descriptor() const noexcept override { return epoll_.get(); }
  [[nodiscard]] std::unique_ptr<http::Forward> start(const http::ForwardRequest& request,
                                                     http::ForwardSink& sink) override;
  void on_ready() override;

 private:
  class Transfer;
  using Clock = std::chrono::steady_clock;

  struct MultiCleanup {
    void operator()(CURLM* multi) const noexcept { curl_multi_cleanup(multi); }
  };

  struct EasyCleanup {
    void operator()(CURL* easy) const noexcept { curl_easy_cleanup(easy); }
  };
  using Easy = std::unique_ptr<CURL, EasyCleanup>;

  static int on_socket(CURL* easy, curl_socket_t socket, int what, void* self, void* unused);
  static int on_timer(CURLM* multi, long milliseconds, void* self);

  CURLM* multi();
  Easy take_easy();
  void give(Easy easy);
  void drive(int socket, int events);
  void drive_due();
  void take_finished();
  void end_silent(Clock::time_point now);
  void tell_progress();
  void touch(Transfer& transfer);
  void forget(Transfer& transfer) noexcept;
  void arm_timer() noexcept;
  void arm_timer_for(Clock::time_point due) noexcept;

  FileDescriptor epoll_;
  FileDescriptor timer_;
  std::unique_ptr<CURLM, MultiCleanup> multi_;
  std::vector<Easy> idle_;  // handles without a transfer; making one is half of a small forward
  Clock::time_point curl_due_ = Clock::time_point::max();   // when libcurl wants to be called
  Clock::time_point armed_for_ = Clock::time_point::max();  // the timer; it may ring in vain
  http::DelayQueue silent_;                                 // transfers, by their read time-out
  std::vector<Transfer*> touched_;  // have told their sinks something; null: gone since
};

}  // namespace vsd
