#include "daemon/http/exchange.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace vsd::http {
namespace {

constexpr std::size_t kGatherLimit = 16 * 1024;        // larger bodies are sent from where they are
constexpr std::size_t kBatchLimit = 64 * 1024;         // of pipelined answers in one write
constexpr std::chrono::seconds kLingerTime{5};         // for the client to read the last answer
constexpr std::chrono::seconds kShortestKeepAlive{1};  // that an answer can ask for
constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";

}  // namespace

std::chrono::seconds shortest_timeout(const HttpLimits& limits) noexcept {
  return std::min({limits.idle_timeout, limits.request_timeout, kLingerTime, kShortestKeepAlive});
}

Exchange::Exchange(ExchangeContext& context, int socket, TimePoint now)
    : context_(context),
      input_(context.blocks),
      idle_timeout_(context.limits.idle_timeout),
      deadline_(now + idle_timeout_),
      socket_(socket) {}

Exchange::~Exchange() {
  context_.strings.give(std::move(out_));
  context_.strings.give(std::move(large_body_));
}

Exchange::Step Exchange::step(TimePoint now) {
  if (held_at_ != kNotHeld && now >= due_) {
    release(now);
  }
  while (serve_next(now)) {
  }
  input_.release_if_empty();  // whoever waits, for input or for anything else, holds no block
  if (phase_ == Phase::closed) {
    return Step::close;
  }
  if (visible_output() > sent_) {
    return Step::write;
  }
  if (held_at_ != kNotHeld) {
    return Step::wait;
  }
  if (phase_ == Phase::resetting) {
    return Step::reset;
  }
  if (phase_ == Phase::closing) {
    return linger_ && !input_ended_ ? Step::shut_down : Step::close;
  }
  return input_ended_ ? Step::close : Step::read;
}

void Exchange::received(std::size_t count, TimePoint now) {
  if (phase_ == Phase::lingering) {
    return;
  }
  if (phase_ == Phase::head && input_.empty()) {
    deadline_ = now + context_.limits.request_timeout;
  }
  input_.add(count);
}

bool Exchange::idle() const noexcept {
  return phase_ == Phase::head && input_.empty() && visible_output() <= sent_ &&
         held_at_ == kNotHeld;
}

bool Exchange::receiving() const noexcept {
  return phase_ <= Phase::chunked_body && !input_.empty() && visible_output() <= sent_ &&
         held_at_ == kNotHeld;
}

std::size_t Exchange::visible_output() const noexcept {
  return held_at_ != kNotHeld ? held_at_ : out_.size() + large_body_.size();
}

std::array<std::string_view, 2> Exchange::output() const noexcept {
  const std::size_t visible = visible_output();
  const std::size_t in_out = std::min(visible, out_.size());
  const std::size_t skip_out = std::min(sent_, in_out);
  return {std::string_view(out_).substr(skip_out, in_out - skip_out),
          std::string_view(large_body_).substr(sent_ - skip_out, visible - in_out)};
}

void Exchange::written(std::size_t count, TimePoint now) {
  sent_ += count;
  deadline_ = now + context_.limits.request_timeout;  // the client reads, if slowly
  if (held_at_ != kNotHeld || sent_ < out_.size() + large_body_.size()) {
    return;
  }
  sent_ = 0;
  context_.strings.give(std::move(out_));
  out_ = {};
  if (large_body_.capacity() > context_.response.body.capacity()) {
    context_.response.body.swap(large_body_);
  }
  large_body_ = {};
  if (phase_ == Phase::head && input_.empty()) {
    deadline_ = now + idle_timeout_;
  }
}

void Exchange::shut_down(TimePoint now) noexcept {
  phase_ = Phase::lingering;
  deadline_ = now + kLingerTime;
  input_.truncate(0);
}

bool Exchange::check_deadline(TimePoint now) {
  const bool waits_for_its_time = held_at_ != kNotHeld && visible_output() <= sent_;
  if (now < deadline_ || waits_for_its_time) {
    return false;
  }
  if (receiving()) {
    refuse(408, now);
  } else {
    phase_ = Phase::closed;
  }
  return true;
}

// Serves one request, or as much of one as has arrived. True when there may be more to do.
bool Exchange::serve_next(TimePoint now) {
  if (held_at_ != kNotHeld || !large_body_.empty() || out_.size() >= kBatchLimit) {
    return false;
  }
  switch (phase_) {
    case Phase::head:
      return !input_.empty() && read_head(now);
    case Phase::sized_body:
      return read_sized_body(now);
    case Phase::chunked_body:
      return read_chunked_body(now);
    default:
      return false;
  }
}

// Some clients send an empty line behind a body; it belongs to no request.
void Exchange::skip_empty_lines() noexcept {
  while (input_.view().starts_with("\r\n")) {
    input_.consume(2);
  }
}

bool Exchange::read_head(TimePoint now) {
  if (scanner_.request_line_size() == 0) {
    skip_empty_lines();
    if (input_.empty() || input_.view() == "\r") {
      return false;
    }
  }
  const auto window = input_.view().substr(0, context_.limits.max_header_bytes);
  switch (scanner_.scan(window)) {
    case HeadScanner::Result::malformed:
      return refuse_head(400, now);
    case HeadScanner::Result::need_more:
      if (window.size() >= context_.limits.max_header_bytes) {
        return refuse_head(scanner_.request_line_size() == 0 ? 414 : 431, now);
      }
      // A bad request line is answered at once: who sends one may never send the rest.
      if (!line_checked_ && scanner_.request_line_size() != 0) {
        line_checked_ = true;
        if (const int status = check_request_line(window.substr(0, scanner_.request_line_size()))) {
          refuse(status, now);
        }
      }
      return false;
    case HeadScanner::Result::complete:
      break;
  }
  head_size_ = scanner_.head_size();
  if (const int status = parse_request_head(window.substr(0, head_size_), head_)) {
    refuse(status, now);
    return false;
  }
  return begin_body(now);
}

// Refuses a head that cannot be read to its end. What is wrong with its first line comes first, so
// that the answer is the same whether the line arrived alone or together with the rest.
bool Exchange::refuse_head(int status, TimePoint now) {
  const auto line = input_.view().substr(0, scanner_.request_line_size());
  const int line_status = line.empty() ? 0 : check_request_line(line);
  refuse(line_status != 0 ? line_status : status, now);
  return false;
}

bool Exchange::begin_body(TimePoint now) {
  if (head_.content_length > context_.limits.max_body_bytes) {
    refuse(413, now);
    return false;
  }
  const bool has_body = head_.chunked || head_.content_length > 0;
  if (has_body && head_.expects_continue && input_.size() == head_size_) {
    out() += kContinue;
  }
  phase_ = head_.chunked ? Phase::chunked_body : Phase::sized_body;
  raw_ = head_size_;
  return true;
}

bool Exchange::read_sized_body(TimePoint now) {
  const auto body_size = static_cast<std::size_t>(head_.content_length);
  if (input_.size() - head_size_ < body_size) {
    return false;
  }
  serve(body_size, head_size_ + body_size, now);
  return true;
}

bool Exchange::read_chunked_body(TimePoint now) {
  ChunkDecoder::Window window{input_.data(), input_.size(), raw_, head_size_ + decoded_};
  const auto result =
      chunks_.decode(window, context_.limits.max_body_bytes, context_.limits.max_header_bytes);
  raw_ = window.read;
  decoded_ = window.write - head_size_;
  switch (result) {
    case ChunkDecoder::Result::need_more:
      raw_ = window.write;  // all is decoded: what is left of the framing makes room
      input_.truncate(window.write);
      return false;
    case ChunkDecoder::Result::complete:
      serve(decoded_, raw_, now);
      return true;
    case ChunkDecoder::Result::malformed:
      refuse(400, now);
      return false;
    case ChunkDecoder::Result::body_too_large:
      refuse(413, now);
      return false;
    case ChunkDecoder::Result::trailer_too_large:
      refuse(431, now);
      return false;
  }
  return false;
}

// Passes a complete request to the handler and its answer to the output.
void Exchange::serve(std::size_t body_size, std::size_t request_size, TimePoint now) {
  const auto bytes = input_.view();
  // The buffer may have moved since the head was parsed; method and target begin the head, which
  // starts with the method.
  Request request;
  request.head = bytes.substr(0, head_size_);
  request.method = request.head.substr(0, head_.method.size());
  request.target = origin_form(request.head.substr(head_.method.size() + 1, head_.target.size()));
  request.body = bytes.substr(head_size_, body_size);
  request.socket = socket_;
  request.session = &session_;
  request.version = head_.version;
  request.has_if_modified_since = head_.has_if_modified_since;
  request.has_if_none_match = head_.has_if_none_match;

  context_.response.clear();
  try {
    context_.handler.handle(request, context_.response);
  } catch (const std::exception&) {  // its own request is all that a failure may cost
    context_.response.clear();
    context_.response.status = 500;
  }

  if (context_.observer != nullptr) {
    context_.observer->answered(request, context_.response, Clock::now() - now);
  }

  Framing framing;
  framing.head_request = request.method == "HEAD";
  framing.keep_alive = head_.keep_alive && !context_.draining;
  framing.name_keep_alive = head_.version == 10;
  input_.consume(request_size);
  linger_ = !input_.empty();
  next_request(now);
  append_answer(framing, now);
}

void Exchange::append_answer(const Framing& framing, TimePoint now) {
  Response& response = context_.response;
  idle_timeout_ =
      response.keep_alive.count() > 0 ? response.keep_alive : context_.limits.idle_timeout;
  if (response.is_held()) {
    hold(now);
  }
  if (response.fault != Fault::none && append_fault(response)) {
    return;
  }
  const auto head = append_head(out(), response, framing, context_.date.text());
  if (response.fault == Fault::close_mid_body) {
    response.body.resize(response.body.size() / 2);
    end_behind_answer(Phase::closing);
  }
  if (head.has_body) {
    if (response.body.size() <= kGatherLimit) {
      out_ += response.body;
    } else {
      large_body_.swap(response.body);
    }
  }
  if (!head.keep_alive) {
    end_behind_answer(Phase::closing);
  }
}

// True when the fault stands instead of the answer.
bool Exchange::append_fault(Response& response) {
  switch (response.fault) {
    case Fault::reset:
      end_behind_answer(Phase::resetting);
      return true;
    case Fault::garbage:
      append_garbage(out());
      [[fallthrough]];
    case Fault::empty:
      end_behind_answer(Phase::closing);
      return true;
    case Fault::slow:
      pace_ = pace_of(response.bytes_per_second);
      return false;
    case Fault::close_mid_body:
      if (response.body.empty()) {
        response.body = " ";  // announced, so that something is missing
      }
      return false;
    case Fault::none:
      break;
  }
  return false;
}

void Exchange::end_behind_answer(Phase phase) noexcept {
  phase_ = phase;
  input_.truncate(0);
}

// The answer that is about to be appended is not let out before its time.
void Exchange::hold(TimePoint now) noexcept {
  held_at_ = out_.size();
  due_ = now + context_.response.delay;
  held_since_ = now;
  held_service_ = context_.response.service;
}

// Lets out what is due: the answer, or the next piece of a slow one.
void Exchange::release(TimePoint now) noexcept {
  deadline_ = now + context_.limits.request_timeout;
  const std::size_t size = out_.size() + large_body_.size();
  if (pace_.bytes > 0 && held_at_ + pace_.bytes < size) {
    held_at_ += pace_.bytes;
    due_ = std::max(due_ + pace_.interval, now);
  } else {
    held_at_ = kNotHeld;
    pace_ = {};
    if (context_.observer != nullptr) {
      context_.observer->released(held_service_, now - held_since_);
    }
  }
}

void Exchange::next_request(TimePoint now) noexcept {
  phase_ = Phase::head;
  scanner_ = HeadScanner{};
  chunks_ = ChunkDecoder{};
  head_size_ = 0;
  decoded_ = 0;
  line_checked_ = false;
  deadline_ = now + context_.limits.request_timeout;
}

// Answers a request that is not served and ends the connection: where the next request would begin
// is unknown.
void Exchange::refuse(int status, TimePoint now) {
  Response& response = context_.response;
  response.clear();
  response.status = status;
  response.headers = "Content-Type: text/plain\r\n";
  response.body = reason_phrase(status);
  response.body += '\n';
  if (context_.observer != nullptr) {
    Request unread;
    unread.head = input_.view();
    context_.observer->answered(unread, response, {});
  }
  linger_ = true;
  deadline_ = now + context_.limits.request_timeout;
  const bool head_request = input_.view().starts_with("HEAD ");
  append_answer({.head_request = head_request, .keep_alive = false}, now);
}

std::string& Exchange::out() {
  if (out_.empty() && out_.capacity() < kGatherLimit / 16) {
    out_ = context_.strings.take();
  }
  return out_;
}

}  // namespace vsd::http
