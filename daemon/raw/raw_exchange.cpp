#include "daemon/raw/raw_exchange.h"

namespace vsd::raw {

bool RawExchange::serve_next(TimePoint now) {
  Frame frame;
  switch (scanner_.scan(endpoint_.framing, input_.view(), input_ended_,
                        context_.limits.max_body_bytes, frame)) {
    case FrameScanner::Result::need_more:
      return false;
    case FrameScanner::Result::too_large:
      refuse(413, now);
      return false;
    case FrameScanner::Result::complete:
      serve(frame, now);
      return true;
  }
  return false;
}

void RawExchange::serve(const Frame& frame, TimePoint now) {
  http::Request request = endpoint_.request(input_.view().substr(frame.begin, frame.size));
  request.socket = socket_;
  request.session = &session_;
  context_.answer(request, now);
  input_.consume(frame.end);
  linger_ = !input_.empty();
  next_deadline(now);
  append_answer(now);
  const bool is_last = endpoint_.framing.kind == Framing::Kind::to_end || context_.draining;
  if (is_last && state_ == State::open) {
    end_behind_answer(State::closing);
  }
}

// A message that no service answers is lost; so is its answer, for no text of ours is one that the
// client could read. The connection goes on. An empty answer is none.
void RawExchange::append_answer(TimePoint now) {
  http::Response& response = context_.response;
  if (response.is_refusal || !begin_answer(now) || response.body.empty()) {
    return;
  }
  if (!frame_answer(endpoint_.framing, out(), response.body)) {
    end_behind_answer(State::closing);  // the client would wait for an answer that cannot be sent
    return;
  }
  if (response.fault == http::Fault::close_mid_body) {
    response.body.resize(response.body.size() / 2);
    end_behind_answer(State::closing);
  }
  append_body(response.body);
}

// Ends the connection: where the next message would begin is unknown.
void RawExchange::refuse(int status, TimePoint now) {
  http::Response& response = context_.response;
  response.clear();
  response.status = status;
  http::Request unread = endpoint_.request({});
  unread.head = input_.view();
  unread.socket = socket_;
  context_.tell_refused(unread);
  linger_ = true;
  next_deadline(now);
  end_behind_answer(State::closing);
}

}  // namespace vsd::raw
