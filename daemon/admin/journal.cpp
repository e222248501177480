#include "daemon/admin/journal.h"

#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vsd {
namespace {

// How often the ring goes round before an unfinished slot is looked into: that is a system call.
constexpr std::uint64_t kRoundsToFinish = 4;
constexpr int kClaims = 4;  // slots that one request tries

// What is kept of each text at most; the head leaves half of the rest to a body.
constexpr std::size_t kMostMethod = 16;
constexpr std::size_t kMostTarget = 300;
constexpr std::size_t kMostNearest = 400;

class TextWriter {
 public:
  TextWriter(char* text, std::size_t size) : text_(text), left_(size) {}

  std::uint16_t put(std::string_view text, std::size_t most) noexcept {
    const std::size_t length = std::min({text.size(), most, left_});
    std::copy_n(text.data(), length, text_);
    text_ += length;
    left_ -= length;
    return static_cast<std::uint16_t>(length);
  }
  [[nodiscard]] std::size_t left() const noexcept { return left_; }

 private:
  char* text_;
  std::size_t left_;
};

}  // namespace

bool Journal::is_free(const Slot& slot, std::uint64_t sequence,
                      std::uint64_t ticket) const noexcept {
  if (sequence % 2 == 0) {
    return true;
  }
  if (ticket - sequence / 2 < kRoundsToFinish * slots_.size()) {
    return false;
  }
  const std::int32_t writer = slot.writer.load(std::memory_order_relaxed);
  return writer <= 0 || (kill(writer, 0) != 0 && errno == ESRCH);
}

Journal::Slot* Journal::claim(std::int32_t process, std::uint64_t& ticket) const noexcept {
  for (int i = 0; i < kClaims; ++i) {
    ticket = next_[0].fetch_add(1, std::memory_order_relaxed);
    Slot& slot = slots_[ticket % slots_.size()];
    std::uint64_t sequence = slot.sequence.load(std::memory_order_relaxed);
    if (is_free(slot, sequence, ticket) &&
        slot.sequence.compare_exchange_strong(sequence, 2 * ticket + 1,
                                              std::memory_order_acquire)) {
      slot.writer.store(process, std::memory_order_relaxed);
      return &slot;
    }
  }
  return nullptr;
}

void Journal::note(const JournalFacts& facts, const JournalTexts& texts) const noexcept {
  if (slots_.size() == 0) {
    return;
  }
  std::uint64_t ticket = 0;
  Slot* const slot = claim(facts.process, ticket);
  if (slot == nullptr) {
    return;
  }
  std::atomic_thread_fence(std::memory_order_release);
  Content& content = slot->content;
  content.facts = facts;
  TextWriter writer(content.text.data(), content.text.size());
  content.lengths[0] = writer.put(texts.method, kMostMethod);
  content.lengths[1] = writer.put(texts.target, kMostTarget);
  content.lengths[2] = writer.put(texts.nearest, kMostNearest);
  content.lengths[3] = writer.put(texts.head, writer.left() / (texts.body.empty() ? 1 : 2));
  content.lengths[4] = writer.put(texts.body, writer.left());
  // Only if nobody took the slot back meanwhile.
  std::uint64_t own = 2 * ticket + 1;
  slot->sequence.compare_exchange_strong(own, 2 * ticket + 2, std::memory_order_release,
                                         std::memory_order_relaxed);
}

bool Journal::read(const Slot& slot, JournalEntry& entry) {
  const std::uint64_t before = slot.sequence.load(std::memory_order_acquire);
  if (before == 0 || before % 2 != 0) {
    return false;
  }
  Content content;
  std::memcpy(&content, &slot.content, sizeof content);
  std::atomic_thread_fence(std::memory_order_acquire);
  if (slot.sequence.load(std::memory_order_relaxed) != before) {
    return false;
  }
  entry.ticket = before / 2 - 1;
  entry.facts = content.facts;
  std::string_view rest(content.text.data(), content.text.size());
  std::string* const texts[] = {&entry.method, &entry.target, &entry.nearest, &entry.head,
                                &entry.body};
  for (std::size_t i = 0; i < content.lengths.size(); ++i) {
    *texts[i] = rest.substr(0, content.lengths[i]);
    rest.remove_prefix(texts[i]->size());
  }
  return true;
}

std::vector<JournalEntry> Journal::entries() const {
  std::vector<JournalEntry> entries;
  JournalEntry entry;
  for (const Slot& slot : slots_.all()) {
    if (read(slot, entry)) {
      entries.push_back(entry);
    }
  }
  std::sort(entries.begin(), entries.end(),
            [](const JournalEntry& a, const JournalEntry& b) { return a.ticket > b.ticket; });
  return entries;
}

}  // namespace vsd
