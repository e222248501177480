// HTTP/1.1 over one connection: the head and the body of each request, the head of each answer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "daemon/http/chunk_decoder.h"
#include "daemon/http/dialogue.h"
#include "daemon/http/head_scanner.h"
#include "daemon/http/request_parser.h"
#include "daemon/http/response_writer.h"

namespace vsd::http {

class Exchange final : public Dialogue {
 public:
  using Dialogue::Dialogue;

  [[nodiscard]] const ForwardRequest* forward_request() const noexcept override;
  void forward_head(const BackendHead& head, TimePoint now) override;
  [[nodiscard]] bool forward_body(std::string_view bytes, TimePoint now) override;
  void forward_ended(ForwardEnd end, TimePoint now) override;

 private:
  enum class Phase { head, sized_body, chunked_body };

  // A request that is with a backend, and how far its answer is.
  struct Relay {
    std::unique_ptr<ForwardRequest> request;
    std::size_t request_size = 0;  // in the input, which keeps it
    std::size_t body_size = 0;
    std::uint32_t service = Response::kNoService;
    TimePoint began;
    Framing framing;
    bool has_head = false;  // the client is being answered; what follows says how
    int status = 0;
    bool has_body = false;
    bool keep_alive = false;
    Framing::Body body = Framing::Body::known;
    std::uint64_t left = 0;  // of an announced length
    std::uint64_t sent = 0;
  };

  bool serve_next(TimePoint now) override;
  void give_up_request(TimePoint now) override { refuse(408, now); }
  bool read_head(TimePoint now);
  bool refuse_head(int status, TimePoint now);
  bool begin_body(TimePoint now);
  bool read_sized_body(TimePoint now);
  bool read_chunked_body(TimePoint now);
  void serve(std::size_t body_size, std::size_t request_size, TimePoint now);
  [[nodiscard]] Request request_of(std::size_t body_size) noexcept;
  [[nodiscard]] Framing framing_of(const Request& request) const noexcept;
  void begin_forward(const Request& request, std::size_t request_size, TimePoint now);
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
  std::unique_ptr<Relay> relay_;
};

}  // namespace vsd::http
