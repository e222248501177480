// How an image is laid out, shared by its builder and its readers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "daemon/service/service_records.h"

namespace vsd {

// At the start of the region. Distances count from there.
struct ImageHeader {
  std::uint64_t service_count = 0;
  std::uint64_t services = 0;  // array of std::uint64_t: the distance of each service record
  std::uint64_t paths = 0;     // name table of all URLs
  std::int64_t path_slots = 0;
  std::uint64_t first_on_path = 0;  // array of std::uint32_t: service number by the URL's code
};

// Raw bytes that grow at the end; records go to multiples of 8.
class ImageArena {
 public:
  [[nodiscard]] std::size_t size() const { return bytes_.size(); }
  [[nodiscard]] const std::byte* data() const { return bytes_.data(); }

  // Returns where the bytes start.
  std::size_t append(const void* data, std::size_t length) {
    bytes_.resize((bytes_.size() + kAlignment - 1) / kAlignment * kAlignment);
    const std::size_t start = bytes_.size();
    const auto* from = static_cast<const std::byte*>(data);
    bytes_.insert(bytes_.end(), from, from + length);
    return start;
  }

  template <typename Row>
  std::size_t append(const std::vector<Row>& rows) {
    static_assert(std::is_trivially_copyable_v<Row>);
    return append(rows.data(), rows.size() * sizeof(Row));
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
                           std::uint32_t next_on_path);

}  // namespace vsd
