#include "daemon/http/dialogue.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace vsd::http {
namespace {

constexpr std::size_t kGatherLimit = 16 * 1024;        // larger bodies are sent from where they are
constexpr std::size_t kBatchLimit = 64 * 1024;         // of pipelined answers in one write
constexpr std::chrono::seconds kLingerTime{5};         // for the client to read the last answer
constexpr std::chrono::seconds kShortestKeepAlive{1};  // that an answer can ask for

}  // namespace

std::chrono::seconds shortest_timeout(const HttpLimits& limits) noexcept {
  return std::min({limits.idle_timeout, limits.request_timeout, kLingerTime, kShortestKeepAlive});
}

void ExchangeContext::answer(const Request& request, TimePoint now) {
  response.clear();
  try {
    handler.handle(request, response);
  } catch (const std::exception&) {  // its own request is all that a failure may cost
    response.clear();
    response.status = 500;
    response.is_refusal = true;
    handler.refused(request, response);
  }
  if (observer != nullptr && response.forward == nullptr) {
    observer->answered(request, response, Clock::now() - now);
  }
}

void ExchangeContext::tell_refused(const Request& request) {
  handler.refused(request, response);
  if (observer != nullptr) {
    observer->answered(request, response, {});
  }
}

Dialogue::Dialogue(ExchangeContext& context, int socket, TimePoint now)
    : context_(context),
      input_(context.blocks),
      socket_(socket),
      idle_timeout_(context.limits.idle_timeout),
      deadline_(now + idle_timeout_) {}

Dialogue::~Dialogue() {
  context_.strings.give(std::move(out_));
  context_.strings.give(std::move(large_body_));
}

Dialogue::Step Dialogue::step(TimePoint now) {
  if (held_at_ != kNotHeld && now >= due_) {
    release(now);
  }
  while (serve_more(now)) {
  }
  input_.release_if_empty();  // whoever waits, for input or for anything else, holds no block
  if (state_ == State::closed) {
    return Step::close;
  }
  if (visible_output() > sent_) {
    return Step::write;
  }
  if (held_at_ != kNotHeld) {
    return Step::wait;
  }
  if (state_ == State::forwarding) {
    return Step::forward;
  }
  if (state_ == State::resetting) {
    return Step::reset;
  }
  if (state_ == State::closing) {
    return linger_ && !input_ended_ ? Step::shut_down : Step::close;
  }
  return input_ended_ ? Step::close : Step::read;
}

bool Dialogue::serve_more(TimePoint now) {
  const bool has_room = held_at_ == kNotHeld && large_body_.empty() && out_.size() < kBatchLimit;
  return state_ == State::open && has_room && serve_next(now);
}

void Dialogue::received(std::size_t count, TimePoint now) {
  if (state_ == State::lingering) {
    return;
  }
  if (state_ == State::open && input_.empty()) {
    deadline_ = now + context_.limits.request_timeout;
  }
  input_.add(count);
}

bool Dialogue::has_sent_all() const noexcept {
  return visible_output() <= sent_ && held_at_ == kNotHeld;
}

bool Dialogue::idle() const noexcept {
  return state_ == State::open && input_.empty() && has_sent_all();
}

bool Dialogue::receiving() const noexcept {
  return state_ == State::open && !input_.empty() && has_sent_all();
}

std::size_t Dialogue::visible_output() const noexcept {
  return held_at_ != kNotHeld ? held_at_ : out_.size() + large_body_.size();
}

std::array<std::string_view, 2> Dialogue::output() const noexcept {
  const std::size_t visible = visible_output();
  const std::size_t in_out = std::min(visible, out_.size());
  const std::size_t skip_out = std::min(sent_, in_out);
  return {std::string_view(out_).substr(skip_out, in_out - skip_out),
          std::string_view(large_body_).substr(sent_ - skip_out, visible - in_out)};
}

void Dialogue::written(std::size_t count, TimePoint now) {
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
  if (state_ == State::open && input_.empty()) {
    deadline_ = now + idle_timeout_;
  }
}

void Dialogue::shut_down(TimePoint now) noexcept {
  state_ = State::lingering;
  deadline_ = now + kLingerTime;
  input_.truncate(0);
}

bool Dialogue::check_deadline(TimePoint now) {
  const bool is_awaited = held_at_ != kNotHeld || state_ == State::forwarding;
  if (now < deadline_ || (is_awaited && visible_output() <= sent_)) {
    return false;
  }
  if (receiving()) {
    give_up_request(now);
  } else {
    state_ = State::closed;
  }
  return true;
}

bool Dialogue::begin_answer(TimePoint now) {
  Response& response = context_.response;
  allow_idle(response.keep_alive);
  if (response.is_held()) {
    hold(now);
  }
  return response.fault == Fault::none || !append_fault(response);
}

void Dialogue::allow_idle(std::chrono::seconds time) noexcept {
  idle_timeout_ = time.count() > 0 ? time : context_.limits.idle_timeout;
}

void Dialogue::append_body(std::string& body) {
  if (body.size() <= kGatherLimit) {
    out() += body;
  } else {
    large_body_.swap(body);
  }
}

// True when the fault stands instead of the answer.
bool Dialogue::append_fault(Response& response) {
  switch (response.fault) {
    case Fault::reset:
      end_behind_answer(State::resetting);
      return true;
    case Fault::garbage:
      append_garbage(out());
      [[fallthrough]];
    case Fault::empty:
      end_behind_answer(State::closing);
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

void Dialogue::end_behind_answer(State state) noexcept {
  state_ = state;
  input_.truncate(0);
}

// The answer that is about to be appended is not let out before its time.
void Dialogue::hold(TimePoint now) noexcept {
  held_at_ = out_.size();
  due_ = now + context_.response.delay;
  held_since_ = now;
  held_service_ = context_.response.service;
}

// Lets out what is due: the answer, or the next piece of a slow one.
void Dialogue::release(TimePoint now) noexcept {
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

void Dialogue::next_deadline(TimePoint now) noexcept {
  deadline_ = now + context_.limits.request_timeout;
}

std::string& Dialogue::out() {
  if (out_.empty() && out_.capacity() < kGatherLimit / 16) {
    out_ = context_.strings.take();
  }
  return out_;
}

}  // namespace vsd::http
