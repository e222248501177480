#include "daemon/forward/curl_forwarder.h"

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <wz/vsd_host.h>
#include <wz/wzlb_log.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <new>
#include <string>
#include <system_error>
#include <utility>

#include "daemon/forward/forward_headers.h"

namespace vsd {
namespace {

constexpr long kKeptConnections = 64;
constexpr std::size_t kIdleHandles = 64;
constexpr long kReceiveBuffer = 32 * 1024;       // freeing 64 KiB has malloc tidy up all its bins
constexpr std::size_t kLargestHead = 64 * 1024;  // of a backend's answer
constexpr int kEventsAtOnce = 64;

struct ListCleanup {
  void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};
using List = std::unique_ptr<curl_slist, ListCleanup>;

void append(List& list, const char* line) {
  curl_slist* const longer = curl_slist_append(list.get(), line);
  if (longer == nullptr) {
    throw std::bad_alloc();
  }
  static_cast<void>(list.release());
  list.reset(longer);
}

// libcurl takes "Name:" for the wish to leave the header out; "Name;" is one without a value. What
// it would add on its own is left out unless the client has sent it.
List header_list(const std::vector<std::string>& lines) {
  List list;
  for (const char* own : {"Accept:", "Content-Type:", "Expect:", "User-Agent:"}) {
    append(list, own);
  }
  for (const std::string& line : lines) {
    const std::size_t colon = line.find(':');
    const bool is_empty = line.find_first_not_of(" \t", colon + 1) == std::string::npos;
    append(list, is_empty ? (line.substr(0, colon) + ";").c_str() : line.c_str());
  }
  return list;
}

// libcurl resolves names in threads of its own; signals are for the thread that runs scripts.
class SignalsBlocked {
 public:
  SignalsBlocked() noexcept {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_{};
};

FileDescriptor checked(int fd, const char* what) {
  if (fd < 0) {
    throw std::system_error(errno, std::generic_category(), what);
  }
  return FileDescriptor(fd);
}

}  // namespace

// One request and its answer.
class CurlForwarder::Transfer final : public http::Forward, public http::DelayQueue::Item {
 public:
  Transfer(CurlForwarder& owner, const http::ForwardRequest& request, http::ForwardSink& sink);
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;
  ~Transfer() override {
    stop();
    owner_.forget(*this);
    owner_.give(std::move(easy_));
  }

  bool resume() override;

  void end(CURLcode result);
  // Whether the backend has been silent for too long; else the time to look again is set.
  [[nodiscard]] bool is_overdue(Clock::time_point now);

  [[nodiscard]] Clock::time_point due() const noexcept { return due_; }
  [[nodiscard]] http::ForwardSink& sink() noexcept { return sink_; }

  bool is_touched = false;

 private:
  static std::size_t on_header(char* data, std::size_t, std::size_t size, void* self) {
    return static_cast<Transfer*>(self)->take_header({data, size}) ? size : 0;
  }
  static std::size_t on_data(char* data, std::size_t, std::size_t size, void* self) {
    return static_cast<Transfer*>(self)->take_body({data, size}) ? size : CURL_WRITEFUNC_PAUSE;
  }

  void set_up();
  void set_up_method();
  bool take_header(std::string_view line);
  bool finish_head();
  bool take_body(std::string_view bytes);
  void stop() noexcept;
  void heard() noexcept { due_ = Clock::now() + request_.read_timeout; }

  template <typename Value>
  void set(CURLoption option, Value value) {
    if (curl_easy_setopt(easy_.get(), option, value) == CURLE_OUT_OF_MEMORY) {
      throw std::bad_alloc();
    }
  }

  CurlForwarder& owner_;
  const http::ForwardRequest& request_;
  http::ForwardSink& sink_;
  Easy easy_;
  List header_list_;
  std::string url_;
  std::string head_;  // lines of the answer so far
  std::array<char, CURL_ERROR_SIZE> error_{};
  curl_off_t uploaded_ = 0;
  const Clock::time_point began_ = Clock::now();
  Clock::time_point due_;
  bool has_head_ = false;
  bool is_paused_ = false;
  bool is_running_ = false;
};

CurlForwarder::Transfer::Transfer(CurlForwarder& owner, const http::ForwardRequest& request,
                                  http::ForwardSink& sink)
    : owner_(owner),
      request_(request),
      sink_(sink),
      easy_(owner.take_easy()),
      header_list_(header_list(request.headers)),
      url_(request.origin + "/"),
      due_(began_ + request.read_timeout) {
  set_up();
  set_up_method();
  if (curl_multi_add_handle(owner_.multi(), easy_.get()) != CURLM_OK) {
    throw std::bad_alloc();
  }
  is_running_ = true;
}

void CurlForwarder::Transfer::set_up() {
  set(CURLOPT_URL, url_.c_str());
  set(CURLOPT_REQUEST_TARGET, request_.target.c_str());
  set(CURLOPT_HTTPHEADER, header_list_.get());
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_PROXY, "");
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_HTTP_CONTENT_DECODING, 0L);
  set(CURLOPT_BUFFERSIZE, kReceiveBuffer);
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request_.connect_timeout.count()));
  set(CURLOPT_SSL_VERIFYPEER, request_.verify_peer ? 1L : 0L);
  set(CURLOPT_SSL_VERIFYHOST, request_.verify_peer ? 2L : 0L);
  set(CURLOPT_PRIVATE, this);
  set(CURLOPT_ERRORBUFFER, error_.data());
  set(CURLOPT_HEADERFUNCTION, &Transfer::on_header);
  set(CURLOPT_HEADERDATA, this);
  set(CURLOPT_WRITEFUNCTION, &Transfer::on_data);
  set(CURLOPT_WRITEDATA, this);
}

void CurlForwarder::Transfer::set_up_method() {
  if (request_.method == "HEAD") {
    set(CURLOPT_NOBODY, 1L);
    return;
  }
  if (request_.has_body) {
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size()));
    set(CURLOPT_POSTFIELDS, request_.body.empty() ? "" : request_.body.data());  // not copied
  }
  set(CURLOPT_CUSTOMREQUEST, request_.method.c_str());
}

// An answer may follow interim ones; what follows its own head are trailers, which are dropped.
bool CurlForwarder::Transfer::take_header(std::string_view line) {
  heard();
  if (has_head_) {
    return true;
  }
  if (line.starts_with("HTTP/")) {
    head_.clear();
    return true;
  }
  if (line == "\r\n" || line == "\n") {
    return finish_head();
  }
  head_.append(line);
  return head_.size() <= kLargestHead;
}

bool CurlForwarder::Transfer::finish_head() {
  long status = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
  if (status / 100 == 1) {
    return status != 101;  // nobody has asked for another protocol
  }
  const auto head = answer_head(head_);
  if (!head || status < 200 || status > 999) {
    return false;
  }
  has_head_ = true;
  owner_.touch(*this);
  sink_.on_head({static_cast<int>(status), head->lines, head->length});
  return true;
}

bool CurlForwarder::Transfer::take_body(std::string_view bytes) {
  heard();
  owner_.touch(*this);
  is_paused_ = !sink_.on_body(bytes);
  return !is_paused_;
}

bool CurlForwarder::Transfer::resume() {
  if (!is_paused_) {
    return false;
  }
  is_paused_ = false;
  heard();
  curl_easy_pause(easy_.get(), CURLPAUSE_CONT);  // calls on_data at once
  owner_.arm_timer();
  return true;
}

void CurlForwarder::Transfer::stop() noexcept {
  if (is_running_) {
    is_running_ = false;
    curl_multi_remove_handle(owner_.multi(), easy_.get());
    owner_.silent_.remove(*this);
  }
}

void CurlForwarder::Transfer::end(CURLcode result) {
  stop();
  if (result != CURLE_OK) {
    const char* const reason = error_.front() != '\0' ? error_.data() : curl_easy_strerror(result);
    vsd_error_log_ex(WZLB_LEVEL_2, const_cast<char*>(__FILE_NAME__), __LINE__,
                     const_cast<char*>("forward"), nullptr, const_cast<char*>(""),
                     const_cast<char*>(""), const_cast<char*>("forward to %s failed: %s"),
                     request_.origin.c_str(), reason);
  }
  owner_.touch(*this);
  const bool is_whole = result == CURLE_OK && has_head_;
  sink_.on_end(is_whole                             ? http::ForwardEnd::complete
               : result == CURLE_OPERATION_TIMEDOUT ? http::ForwardEnd::timed_out
                                                    : http::ForwardEnd::failed);
}

bool CurlForwarder::Transfer::is_overdue(Clock::time_point now) {
  curl_off_t connecting = 0;  // microseconds; 0 as long as there is no connection
  curl_easy_getinfo(easy_.get(), CURLINFO_PRETRANSFER_TIME_T, &connecting);
  if (connecting == 0) {  // which has a time-out of its own
    due_ = now + request_.read_timeout;
    return false;
  }
  due_ = std::max(due_, began_ + std::chrono::microseconds(connecting) + request_.read_timeout);
  curl_off_t uploaded = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_SIZE_UPLOAD_T, &uploaded);
  if (is_paused_ || uploaded != uploaded_) {  // it is the client, or the backend reads
    uploaded_ = uploaded;
    due_ = std::max(due_, now + request_.read_timeout);
  }
  return due_ <= now;
}

CurlForwarder::CurlForwarder()
    : epoll_(checked(epoll_create1(EPOLL_CLOEXEC), "epoll_create1")),
      timer_(
          checked(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC), "timerfd_create")) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = timer_.get();
  if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, timer_.get(), &event) != 0) {
    throw std::system_error(errno, std::generic_category(), "epoll_ctl");
  }
  idle_.reserve(kIdleHandles);
}

CURLM* CurlForwarder::multi() {
  if (multi_ == nullptr) {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    multi_.reset(curl_multi_init());
    if (multi_ == nullptr) {
      throw std::bad_alloc();
    }
    curl_multi_setopt(multi_.get(), CURLMOPT_SOCKETFUNCTION, &CurlForwarder::on_socket);
    curl_multi_setopt(multi_.get(), CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multi_.get(), CURLMOPT_TIMERFUNCTION, &CurlForwarder::on_timer);
    curl_multi_setopt(multi_.get(), CURLMOPT_TIMERDATA, this);
    curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, kKeptConnections);
  }
  return multi_.get();
}

CurlForwarder::Easy CurlForwarder::take_easy() {
  if (idle_.empty()) {
    multi();  // initialises libcurl
    Easy made(curl_easy_init());
    if (made == nullptr) {
      throw std::bad_alloc();
    }
    return made;
  }
  Easy taken = std::move(idle_.back());
  idle_.pop_back();
  return taken;
}

void CurlForwarder::give(Easy easy) {
  if (idle_.size() < kIdleHandles) {
    curl_easy_reset(easy.get());
    idle_.push_back(std::move(easy));
  }
}

// A connection that is there already takes the request at once.
std::unique_ptr<http::Forward> CurlForwarder::start(const http::ForwardRequest& request,
                                                    http::ForwardSink& sink) {
  auto transfer = std::make_unique<Transfer>(*this, request, sink);
  silent_.add(*transfer, transfer->due());
  const SignalsBlocked blocked;
  drive_due();
  if (touched_.empty()) {
    arm_timer();
  } else {
    arm_timer_for(Clock::now());  // an answer already: its sink is told outside of this call
  }
  return transfer;
}

int CurlForwarder::on_socket(CURL*, curl_socket_t socket, int what, void* self, void*) {
  const int epoll = static_cast<CurlForwarder*>(self)->epoll_.get();
  epoll_event event{};
  event.data.fd = socket;
  event.events =
      ((what & CURL_POLL_IN) != 0 ? EPOLLIN : 0U) | ((what & CURL_POLL_OUT) != 0 ? EPOLLOUT : 0U);
  if (what == CURL_POLL_REMOVE) {
    epoll_ctl(epoll, EPOLL_CTL_DEL, socket, nullptr);
  } else if (epoll_ctl(epoll, EPOLL_CTL_ADD, socket, &event) != 0) {
    epoll_ctl(epoll, EPOLL_CTL_MOD, socket, &event);
  }
  return 0;
}

int CurlForwarder::on_timer(CURLM*, long milliseconds, void* self) {
  static_cast<CurlForwarder*>(self)->curl_due_ =
      milliseconds < 0 ? Clock::time_point::max()
                       : Clock::now() + std::chrono::milliseconds(milliseconds);
  return 0;
}

void CurlForwarder::drive(int socket, int events) {
  int running = 0;
  curl_multi_socket_action(multi(), socket, events, &running);
}

// libcurl tells of its next time by itself, but only if that is another one: a time that has not
// come yet must not be forgotten.
void CurlForwarder::drive_due() {
  if (curl_due_ <= Clock::now()) {
    curl_due_ = Clock::time_point::max();
    drive(CURL_SOCKET_TIMEOUT, 0);
  }
}

void CurlForwarder::on_ready() {
  {
    const SignalsBlocked blocked;
    std::array<epoll_event, kEventsAtOnce> events{};
    const int found = epoll_wait(epoll_.get(), events.data(), kEventsAtOnce, 0);
    for (int i = 0; i < found; ++i) {
      const epoll_event& event = events[static_cast<std::size_t>(i)];
      if (event.data.fd == timer_.get()) {
        std::uint64_t expirations = 0;
        [[maybe_unused]] const ssize_t ignored =
            read(timer_.get(), &expirations, sizeof expirations);
        armed_for_ = Clock::time_point::max();
        continue;
      }
      drive(event.data.fd,
            ((event.events & EPOLLIN) != 0 ? CURL_CSELECT_IN : 0) |
                ((event.events & EPOLLOUT) != 0 ? CURL_CSELECT_OUT : 0) |
                ((event.events & (EPOLLERR | EPOLLHUP)) != 0 ? CURL_CSELECT_ERR : 0));
    }
    drive_due();
  }
  take_finished();
  end_silent(Clock::now());
  tell_progress();
  arm_timer();
}

void CurlForwarder::take_finished() {
  int left = 0;
  while (const CURLMsg* const message = curl_multi_info_read(multi(), &left)) {
    if (message->msg == CURLMSG_DONE) {
      const CURLcode result = message->data.result;
      Transfer* transfer = nullptr;
      curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
      transfer->end(result);
    }
  }
}

void CurlForwarder::end_silent(Clock::time_point now) {
  while (http::DelayQueue::Item* const item = silent_.take_due(now)) {
    auto& transfer = static_cast<Transfer&>(*item);
    if (transfer.is_overdue(now)) {
      transfer.end(CURLE_OPERATION_TIMEDOUT);
    } else {
      silent_.add(transfer, transfer.due());
    }
  }
}

void CurlForwarder::touch(Transfer& transfer) {
  if (!transfer.is_touched) {
    transfer.is_touched = true;
    touched_.push_back(&transfer);
  }
}

void CurlForwarder::forget(Transfer& transfer) noexcept {
  std::replace(touched_.begin(), touched_.end(), &transfer, static_cast<Transfer*>(nullptr));
}

// Outside of libcurl's calls, because sinks end transfers and start others.
void CurlForwarder::tell_progress() {
  for (std::size_t i = 0; i < touched_.size(); ++i) {
    if (Transfer* const transfer = touched_[i]) {
      transfer->is_touched = false;
      touched_[i] = nullptr;
      transfer->sink().on_progress();
    }
  }
  touched_.clear();
}

void CurlForwarder::arm_timer() noexcept {
  arm_timer_for(std::min(curl_due_, silent_.next_due()));
}

void CurlForwarder::arm_timer_for(Clock::time_point due) noexcept {
  if (due >= armed_for_) {  // it is set anew when it rings
    return;
  }
  armed_for_ = due;
  const auto since_start = std::max(due.time_since_epoch(), Clock::duration{1});
  const auto seconds = std::chrono::floor<std::chrono::seconds>(since_start);
  itimerspec setting{};
  setting.it_value.tv_sec = seconds.count();
  setting.it_value.tv_nsec = std::chrono::nanoseconds(since_start - seconds).count();
  timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME, &setting, nullptr);
}

}  // namespace vsd
