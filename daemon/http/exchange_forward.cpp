// The part of an exchange that passes the answer of a backend on to the client, as fast as the
// client reads it.
#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "daemon/http/exchange.h"

namespace vsd::http {
namespace {

constexpr std::size_t kWindow = 64 * 1024;  // bytes of the answer that wait for the client

constexpr std::string_view kNoAnswer = "The backend of this service gave no answer.\n";
constexpr std::string_view kTooLate = "The backend of this service did not answer in time.\n";

void append_chunk_size(std::string& out, std::size_t size) {
  std::array<char, 16> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), size, 16).ptr;
  out.append(digits.data(), end).append("\r\n");
}

}  // namespace

// The request stays in the input: its body is sent from there.
void Exchange::begin_forward(const Request& request, std::size_t request_size, TimePoint now) {
  relay_ = std::make_unique<Relay>();
  relay_->request = std::move(context_.response.forward);
  relay_->request->body = request.body;
  relay_->body_size = request.body.size();
  relay_->request_size = request_size;
  relay_->service = context_.response.service;
  relay_->began = now;
  relay_->framing = framing_of(request);
  state_ = State::forwarding;
}

const ForwardRequest* Exchange::forward_request() const noexcept {
  return relay_ != nullptr ? relay_->request.get() : nullptr;
}

void Exchange::forward_head(const BackendHead& head, TimePoint now) {
  Relay& relay = *relay_;
  Response& response = context_.response;
  response.clear();
  response.status = relay.request->status != 0 ? relay.request->status : head.status;
  response.status_line = relay.request->status_line;
  response.headers.assign(head.headers).append(relay.request->answer_headers);
  Framing framing = relay.framing;
  if (head.length) {
    framing.body = Framing::Body::announced;
  } else if (framing.name_keep_alive) {  // HTTP/1.0 knows no chunks
    framing.body = Framing::Body::to_end;
    framing.keep_alive = false;
  } else {
    framing.body = Framing::Body::chunked;
  }
  framing.keep_alive = framing.keep_alive && !context_.draining;
  const WrittenHead written = append_head(out(), response, framing, context_.date.text());
  relay.status = response.status;
  relay.has_head = true;
  relay.has_body = written.has_body;
  relay.keep_alive = written.keep_alive;
  relay.body = framing.body;
  relay.left = head.length.value_or(0);
  next_deadline(now);
}

bool Exchange::forward_body(std::string_view bytes, TimePoint now) {
  Relay& relay = *relay_;
  if (!relay.has_body || bytes.empty()) {
    return true;
  }
  if (unsent() >= kWindow) {
    return false;
  }
  if (unsent() == 0) {
    next_deadline(now);
  }
  std::string& to = out();
  if (relay.body == Framing::Body::chunked) {
    append_chunk_size(to, bytes.size());
    to.append(bytes).append("\r\n");
  } else {
    if (relay.body == Framing::Body::announced) {  // never more, or it would pass for an answer
      bytes = bytes.substr(
          0, static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), relay.left)));
      relay.left -= bytes.size();
    }
    to.append(bytes);
  }
  relay.sent += bytes.size();
  return true;
}

void Exchange::forward_ended(ForwardEnd end, TimePoint now) {
  const std::unique_ptr<Relay> relay = std::move(relay_);
  Response& response = context_.response;
  response.clear();
  response.service = relay->service;
  response.streamed = relay->sent;
  response.status = relay->status;
  if (!relay->has_head) {
    response.status = end == ForwardEnd::timed_out ? 504 : 502;
    response.is_refusal = true;
    response.headers = "Content-Type: text/plain\r\n";
    response.body = end == ForwardEnd::timed_out ? kTooLate : kNoAnswer;
  }
  const Request request = request_of(relay->body_size);
  const auto duration = Clock::now() - relay->began;
  context_.handler.forwarded(request, response, duration);
  if (context_.observer != nullptr) {
    context_.observer->answered(request, response, duration);
  }
  input_.consume(relay->request_size);
  linger_ = !input_.empty();
  state_ = State::open;
  next_request(now);
  if (!relay->has_head) {
    relay->framing.keep_alive = relay->framing.keep_alive && !context_.draining;
    append_answer(relay->framing, now);
    return;
  }
  const bool is_whole = end == ForwardEnd::complete && (!relay->has_body || relay->left == 0);
  if (is_whole && relay->has_body && relay->body == Framing::Body::chunked) {
    out() += "0\r\n\r\n";
  }
  allow_idle(relay->request->keep_alive);
  // The end tells the client that something is missing.
  if (!is_whole || !relay->keep_alive || context_.draining) {
    end_behind_answer(State::closing);
  }
}

}  // namespace vsd::http
