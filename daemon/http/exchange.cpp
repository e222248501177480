#include "daemon/http/exchange.h"

namespace vsd::http {
namespace {

constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";

}  // namespace

bool Exchange::serve_next(TimePoint now) {
  switch (phase_) {
    case Phase::head:
      return !input_.empty() && read_head(now);
    case Phase::sized_body:
      return read_sized_body(now);
    case Phase::chunked_body:
      return read_chunked_body(now);
  }
  return false;
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

// The request at the start of the input.
Request Exchange::request_of(std::size_t body_size) noexcept {
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
  request.can_be_forwarded = context_.forwarder != nullptr;
  return request;
}

Framing Exchange::framing_of(const Request& request) const noexcept {
  Framing framing;
  framing.head_request = request.method == "HEAD";
  framing.keep_alive = head_.keep_alive && !context_.draining;
  framing.name_keep_alive = head_.version == 10;
  return framing;
}

// Passes a complete request to the handler and its answer to the output.
void Exchange::serve(std::size_t body_size, std::size_t request_size, TimePoint now) {
  const Request request = request_of(body_size);
  context_.answer(request, now);
  if (context_.response.forward != nullptr) {
    begin_forward(request, request_size, now);
    return;
  }
  const Framing framing = framing_of(request);
  input_.consume(request_size);
  linger_ = !input_.empty();
  next_request(now);
  append_answer(framing, now);
}

void Exchange::append_answer(const Framing& framing, TimePoint now) {
  if (!begin_answer(now)) {
    return;
  }
  Response& response = context_.response;
  const auto head = append_head(out(), response, framing, context_.date.text());
  if (response.fault == Fault::close_mid_body) {
    response.body.resize(response.body.size() / 2);
    end_behind_answer(State::closing);
  }
  if (head.has_body) {
    append_body(response.body);
  }
  if (!head.keep_alive) {
    end_behind_answer(State::closing);
  }
}

void Exchange::next_request(TimePoint now) noexcept {
  phase_ = Phase::head;
  scanner_ = HeadScanner{};
  chunks_ = ChunkDecoder{};
  head_size_ = 0;
  decoded_ = 0;
  line_checked_ = false;
  next_deadline(now);
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
  Request unread;
  unread.head = input_.view();
  unread.socket = socket_;
  context_.tell_refused(unread);
  linger_ = true;
  next_deadline(now);
  const bool head_request = input_.view().starts_with("HEAD ");
  append_answer({.head_request = head_request, .keep_alive = false}, now);
}

}  // namespace vsd::http
