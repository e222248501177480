#include "daemon/service/service_image.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "daemon/service/name_table.h"
#include "daemon/service/service_image_layout.h"

namespace vsd {
namespace {

const ImageHeader& header_of(const std::byte* base) {
  return *reinterpret_cast<const ImageHeader*>(base);
}

// Services grouped by URL: which comes first, and which follows which.
struct PathIndex {
  std::vector<std::string_view> urls;
  std::vector<std::uint32_t> first;  // by position in `urls`
  std::vector<std::uint32_t> next;   // by service: 1 + number of the next one; 0: none
};

PathIndex index_paths(std::span<const ServiceDefinition> services) {
  PathIndex index;
  index.next.resize(services.size());
  std::vector<std::uint32_t> last;
  for (std::uint32_t i = 0; i < services.size(); ++i) {
    const auto found = std::find(index.urls.begin(), index.urls.end(), services[i].url);
    const auto position = static_cast<std::size_t>(found - index.urls.begin());
    if (found == index.urls.end()) {
      index.urls.emplace_back(services[i].url);
      index.first.push_back(i);
      last.push_back(i);
    } else {
      index.next[last[position]] = i + 1;
      last[position] = i;
    }
  }
  return index;
}

}  // namespace

bool ServiceView::answers(std::string_view method) const {
  const std::span<const TextRef> known = methods();
  return std::any_of(known.begin(), known.end(),
                     [&](TextRef candidate) { return text(candidate) == method; });
}

int ServiceView::find_variable(std::string_view variable) const {
  const cr_scontents& variables = block();
  const char* table = reinterpret_cast<const char*>(&variables) + variables.var_hash_table_idx;
  return find_name(table, variable, variables.var_hash_table_next_state);
}

const VarTransTableEntry& ServiceView::variable(int hash_code) const {
  const char* base = reinterpret_cast<const char*>(&block());
  return reinterpret_cast<const VarTransTableEntry*>(base +
                                                     block().vars_trans_table_idx)[hash_code];
}

ServiceImage ServiceImage::build(std::span<const ServiceDefinition> services) {
  ImageArena arena;
  ImageHeader header;
  arena.append(&header, sizeof header);
  const PathIndex paths = index_paths(services);
  std::vector<std::uint64_t> records;
  for (std::size_t i = 0; i < services.size(); ++i) {
    records.push_back(append_service(arena, services[i], paths.next[i]));
  }
  const NameTable table = build_name_table(paths.urls);
  header.service_count = services.size();
  header.services = arena.append(records);
  header.paths = arena.append(table.bytes);
  header.path_slots = table.slots;
  header.first_on_path = arena.append(paths.first);
  arena.put(0, header);

  void* region =
      mmap(nullptr, arena.size(), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (region == MAP_FAILED) {
    throw std::system_error(errno, std::generic_category(), "shared memory of the services");
  }
  ServiceImage image(static_cast<std::byte*>(region), arena.size());
  std::copy_n(arena.data(), arena.size(), image.base_);
  // A script that runs wild hits a fault in its own worker instead of every worker's services.
  if (mprotect(region, arena.size(), PROT_READ) != 0) {
    throw std::system_error(errno, std::generic_category(), "shared memory of the services");
  }
  return image;
}

ServiceImage::ServiceImage(ServiceImage&& other) noexcept
    : base_(std::exchange(other.base_, nullptr)), length_(std::exchange(other.length_, 0)) {}

ServiceImage& ServiceImage::operator=(ServiceImage&& other) noexcept {
  std::swap(base_, other.base_);
  std::swap(length_, other.length_);
  return *this;
}

ServiceImage::~ServiceImage() {
  if (base_ != nullptr) {
    munmap(base_, length_);
  }
}

std::size_t ServiceImage::size() const {
  return header_of(base_).service_count;
}

ServiceView ServiceImage::service(std::size_t index) const {
  const auto* records = reinterpret_cast<const std::uint64_t*>(base_ + header_of(base_).services);
  return ServiceView(*reinterpret_cast<const ServiceRecord*>(base_ + records[index]));
}

std::size_t ServiceImage::index_of(const ServiceView& view) const {
  const auto* records = reinterpret_cast<const std::uint64_t*>(base_ + header_of(base_).services);
  const auto distance =
      static_cast<std::uint64_t>(reinterpret_cast<const std::byte*>(&view.record()) - base_);
  // Records lie in the order of their numbers.
  return static_cast<std::size_t>(std::lower_bound(records, records + size(), distance) - records);
}

std::optional<ServiceView> ServiceImage::first_on_path(std::string_view path) const {
  const ImageHeader& header = header_of(base_);
  const int code =
      find_name(reinterpret_cast<const char*>(base_ + header.paths), path, header.path_slots);
  if (code < 0) {
    return std::nullopt;
  }
  return service(reinterpret_cast<const std::uint32_t*>(base_ + header.first_on_path)[code]);
}

std::optional<ServiceView> ServiceImage::next_on_path(const ServiceView& view) const {
  const std::uint32_t next = view.record().next_on_path;
  return next == 0 ? std::nullopt : std::optional(service(next - 1));
}

}  // namespace vsd
