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
  std::vector<std::uint64_t> records;
  ExpressionNumbers numbers;
  for (const ServiceDefinition& service : services) {
    records.push_back(append_service(arena, service, numbers));
  }
  const std::vector<std::uint32_t> by_rank = rank_services(services);
  header.service_count = services.size();
  header.services = arena.append(records);
  header.by_rank = arena.append(by_rank);
  header.match = append_match_index(arena, services, records, by_rank);
  header.regex_count = numbers.regexes;
  header.xpath_count = numbers.xpaths;
  arena.put(0, header);

  void* region =
      mmap(nullptr, arena.size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (region == MAP_FAILED) {
    throw std::system_error(errno, std::generic_category(), "shared memory of the services");
  }
  ServiceImage image(static_cast<std::byte*>(region), arena.size());
  std::copy_n(arena.data(), arena.size(), image.base_);
  // A script that runs wild hits a fault in its own worker instead of every worker's services.
  if (mprotect(region, arena.size(), PROT_READ) != 0) {
    throw std::system_error(errno, std::generic_category(), "shared memory of the services");
  }
  image.open_blocks();
  return image;
}

// What the library writes there is its process's own: the region is private, and workers share its
// pages until they write to them.
void ServiceImage::open_blocks() const {
  for (std::size_t i = 0; i < size(); ++i) {
    const ServiceView view = service(i);
    if (view.has_script()) {
      void* block = const_cast<cr_scontents*>(&view.block());
      if (mprotect(block, sizeof(cr_scontents), PROT_READ | PROT_WRITE) != 0) {
        throw std::system_error(errno, std::generic_category(), "memory of the services");
      }
    }
  }
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

MatchIndex ServiceImage::match_index() const {
  return MatchIndex(base_, header_of(base_).match);
}

ServiceView ServiceImage::service_by_rank(std::uint32_t rank) const {
  return service(reinterpret_cast<const std::uint32_t*>(base_ + header_of(base_).by_rank)[rank]);
}

std::size_t ServiceImage::regex_count() const {
  return header_of(base_).regex_count;
}

std::size_t ServiceImage::xpath_count() const {
  return header_of(base_).xpath_count;
}

}  // namespace vsd
