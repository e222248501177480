// The last requests of all workers, in a ring of equal slots in shared memory.
//
// A writer draws a ticket, which names its slot, and marks the slot as being written; a reader
// leaves out what is being written or changes under it. Nobody waits for anybody: a slot that a
// writer has not finished is passed over, and taken back when the ring has gone round a few times
// and its writer is dead. Readers trust no length in a slot.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/http/message.h"
#include "daemon/process/shared_array.h"

namespace vsd {

// What is noted of a request besides its texts.
struct JournalFacts {
  std::int64_t time = 0;           // microseconds since 1970, of the answer
  std::uint32_t duration = 0;      // microseconds from the request to its answer
  std::uint32_t service_time = 0;  // milliseconds that the answer waits
  std::uint32_t row = 0;           // of the service in the counters
  std::uint32_t body_size = 0;     // of the request
  std::uint32_t head_size = 0;
  std::uint16_t status = 0;
  std::uint16_t worker = 0;
  std::int32_t process = 0;  // the writer
  http::Fault fault = http::Fault::none;
};

struct JournalTexts {
  std::string_view method;
  std::string_view target;
  std::string_view nearest;  // services that came nearest, a line each
  std::string_view head;
  std::string_view body;
};

struct JournalEntry {
  std::uint64_t ticket = 0;  // grows with every request
  JournalFacts facts;
  std::string method;
  std::string target;
  std::string nearest;
  std::string head;  // the beginning of it, as the next one
  std::string body;
};

class Journal {
 public:
  // At most `bytes` of shared memory; 0: nothing is noted. Throws std::system_error.
  explicit Journal(std::size_t bytes) : slots_(bytes / sizeof(Slot)), next_(1) {}

  [[nodiscard]] std::size_t capacity() const noexcept { return slots_.size(); }

  // From any process. Long texts are cut.
  void note(const JournalFacts& facts, const JournalTexts& texts) const noexcept;

  // The latest first.
  [[nodiscard]] std::vector<JournalEntry> entries() const;

 private:
  static constexpr std::size_t kSlotSize = 1024;

  struct Content {
    JournalFacts facts;
    std::array<std::uint16_t, 5> lengths;  // of the texts, in the order of JournalTexts
    std::array<char, kSlotSize - 2 * sizeof(std::uint64_t) - sizeof(JournalFacts) -
                         sizeof(std::array<std::uint16_t, 5>) - 6>
        text;
  };
  struct alignas(64) Slot {
    std::atomic<std::uint64_t> sequence;  // 2 x ticket + 1 while it is written, + 2 afterwards
    std::atomic<std::int32_t> writer;     // its process
    Content content;
  };
  static_assert(sizeof(Slot) == kSlotSize);

  [[nodiscard]] bool is_free(const Slot& slot, std::uint64_t sequence,
                             std::uint64_t ticket) const noexcept;
  [[nodiscard]] Slot* claim(std::int32_t process, std::uint64_t& ticket) const noexcept;
  [[nodiscard]] static bool read(const Slot& slot, JournalEntry& entry);

  SharedArray<Slot> slots_;
  SharedArray<std::atomic<std::uint64_t>> next_;  // ticket
};

}  // namespace vsd
