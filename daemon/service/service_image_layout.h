// How an image is laid out, shared by its builder and its readers.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <vector>

#include "daemon/service/match/match_index.h"
#include "daemon/service/service_records.h"

namespace vsd {

// At the start of the region. Distances count from there.
struct ImageHeader {
  std::uint64_t service_count = 0;
  std::uint64_t services = 0;  // array of std::uint64_t: the distance of each service record
  std::uint64_t by_rank = 0;   // array of std::uint32_t: service numbers in the order to try
  MatchIndexHeader match;
  std::uint32_t regex_count = 0;
  std::uint32_t xpath_count = 0;
};

// Numbers given to expressions and data sources as services are laid out.
struct ExpressionNumbers {
  std::uint32_t regexes = 0;
  std::uint32_t xpaths = 0;
  std::uint32_t data_sources = 0;
};

// Raw bytes that grow at the end; records go to multiples of 8.
class ImageArena {
 public:
  [[nodiscard]] std::size_t size() const { return bytes_.size(); }
  [[nodiscard]] const std::byte* data() const { return bytes_.data(); }

  // Returns where the bytes start, a multiple of `alignment`.
  std::size_t append(const void* data, std::size_t length, std::size_t alignment = kAlignment) {
    bytes_.resize((bytes_.size() + alignment - 1) / alignment * alignment);
    const std::size_t start = bytes_.size();
    const auto* from = static_cast<const std::byte*>(data);
    bytes_.insert(bytes_.end(), from, from + length);
    return start;
  }

  // The same on pages that hold nothing else. The arena's first byte comes to lie on a page's
  // start.
  std::size_t append_alone(const void* data, std::size_t length) {
    bytes_.resize(page_end(bytes_.size()));
    const std::size_t start = append(data, length);
    bytes_.resize(page_end(bytes_.size()));
    return start;
  }
  [[nodiscard]] static std::size_t page_end(std::size_t size) {
    static const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return (size + page - 1) / page * page;
  }

  template <typename Row>
  std::size_t append(const std::vector<Row>& rows, std::size_t alignment = kAlignment) {
    static_assert(std::is_trivially_copyable_v<Row>);
    return append(rows.data(), rows.size() * sizeof(Row), alignment);
  }

  template <typename Record>
  void put(std::size_t position, const Record& record) {
    static_assert(std::is_trivially_copyable_v<Record>);
    const auto* from = reinterpret_cast<const std::byte*>(&record);
    std::copy(from, from + sizeof record, bytes_.begin() + static_cast<std::ptrdiff_t>(position));
  }

 private:
  static constexpr std::size_t kAlignment = 16;
  std::vector<std::byte> bytes_;
};

// Appends one service and returns where its record starts.
std::size_t append_service(ImageArena& arena, const ServiceDefinition& service,
                           ExpressionNumbers& numbers);

// Numbers of `services` in the order in which they are to be tried: by priority, specificity, name.
[[nodiscard]] std::vector<std::uint32_t> rank_services(std::span<const ServiceDefinition> services);

// Appends the index of all services, given where their records lie and their order.
MatchIndexHeader append_match_index(ImageArena& arena, std::span<const ServiceDefinition> services,
                                    std::span<const std::uint64_t> records,
                                    std::span<const std::uint32_t> by_rank);

}  // namespace vsd
