// One TCP connection whose messages a framing rule separates. Each is answered in its order.
#pragma once

#include "daemon/http/dialogue.h"
#include "daemon/raw/endpoint.h"

namespace vsd::raw {

using http::TimePoint;

class RawExchange final : public http::Dialogue {
 public:
  // `endpoint` must outlive the connection.
  RawExchange(http::ExchangeContext& context, const Endpoint& endpoint, int socket, TimePoint now)
      : Dialogue(context, socket, now), endpoint_(endpoint) {}

 private:
  bool serve_next(TimePoint now) override;
  void give_up_request(TimePoint now) override { refuse(408, now); }
  void serve(const Frame& frame, TimePoint now);
  void append_answer(TimePoint now);
  void refuse(int status, TimePoint now);

  const Endpoint& endpoint_;
  FrameScanner scanner_;
};

}  // namespace vsd::raw
