// HTTP/1.1 over one connection: the head and the body of each request, the head of each answer.
#pragma once

#include <cstddef>

#include "daemon/http/chunk_decoder.h"
#include "daemon/http/dialogue.h"
#include "daemon/http/head_scanner.h"
#include "daemon/http/request_parser.h"
#include "daemon/http/response_writer.h"

namespace vsd::http {

class Exchange final : public Dialogue {
 public:
  using Dialogue::Dialogue;

 private:
  enum class Phase { head, sized_body, chunked_body };

  bool serve_next(TimePoint now) override;
  void give_up_request(TimePoint now) override { refuse(408, now); }
  bool read_head(TimePoint now);
  bool refuse_head(int status, TimePoint now);
  bool begin_body(TimePoint now);
  bool read_sized_body(TimePoint now);
  bool read_chunked_body(TimePoint now);
  void serve(std::size_t body_size, std::size_t request_size, TimePoint now);
  void append_answer(const Framing& framing, TimePoint now);
  void refuse(int status, TimePoint now);
  void next_request(TimePoint now) noexcept;
  void skip_empty_lines() noexcept;

  Phase phase_ = Phase::head;
  HeadScanner scanner_;
  RequestHead head_;           // after the head: framing only, its views may dangle
  std::size_t head_size_ = 0;  // 0 while the head is incomplete
  ChunkDecoder chunks_;
  std::size_t decoded_ = 0;  // bytes of a chunked body, directly behind the head
  std::size_t raw_ = 0;      // where its undecoded bytes begin
  bool line_checked_ = false;
};

}  // namespace vsd::http
