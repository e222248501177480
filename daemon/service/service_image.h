// All services in one memory region, built by the parent before it forks and read by the workers,
// which share its pages. Nothing in it changes and nothing in it is a pointer but what the library
// keeps in the blocks of services with a script, and a page written to is its process's own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "daemon/service/match/match_index.h"
#include "daemon/service/service_records.h"

namespace vsd {

// One service of an image; valid as long as the image. Cheap to copy.
class ServiceView {
 public:
  explicit ServiceView(const ServiceRecord& record) : record_(&record) {}
  // The service that a connection refers to; its `scptr` must come from an image.
  explicit ServiceView(const connection& current)
      : record_(static_cast<const ServiceRecord*>(current.scptr)) {}

  [[nodiscard]] const ServiceRecord& record() const { return *record_; }
  // What goes into connection.scptr. The library takes it as writable and writes to the block only.
  [[nodiscard]] scontents* contract() const { return const_cast<ServiceRecord*>(record_); }

  [[nodiscard]] std::string_view name() const { return text(record_->name); }
  [[nodiscard]] std::string_view url() const { return text(record_->url); }
  [[nodiscard]] const char* script_path() const { return c_text(record_->script); }
  [[nodiscard]] bool has_script() const { return record_->script.length > 0; }
  [[nodiscard]] std::span<const TextRef> methods() const { return record_->methods.in(record_); }
  [[nodiscard]] std::span<const ConditionRow> conditions() const {
    return record_->conditions.in(record_);
  }
  [[nodiscard]] bool answers(std::string_view method) const;

  [[nodiscard]] std::string_view text(TextRef ref) const { return {c_text(ref), ref.length}; }
  [[nodiscard]] const char* c_text(TextRef ref) const {
    return address(record_->string_big_buf_idx) + ref.offset;
  }
  [[nodiscard]] const cr_scontents& block() const {
    return *reinterpret_cast<const cr_scontents*>(address(record_->cr_scptr_idx));
  }

  // What the library passes to every lookup of a name.
  [[nodiscard]] const char* name_table() const {
    return reinterpret_cast<const char*>(&block()) + block().var_hash_table_idx;
  }
  // The variable's hash code, or -1.
  [[nodiscard]] int find_variable(std::string_view variable) const;
  [[nodiscard]] const VarTransTableEntry& variable(int hash_code) const;

  [[nodiscard]] std::span<const VariablePrototype> variables() const {
    return record_->variables.in(record_);
  }
  [[nodiscard]] std::span<const SearchRow> searches() const {
    return record_->searches.in(record_);
  }
  [[nodiscard]] std::span<const QueryRow> queries() const { return record_->queries.in(record_); }
  [[nodiscard]] std::span<const RequestRow> requests() const {
    return record_->requests.in(record_);
  }
  [[nodiscard]] std::span<const DateRow> dates() const { return record_->dates.in(record_); }
  [[nodiscard]] std::span<const GeneratedRow> generated() const {
    return record_->generated.in(record_);
  }
  [[nodiscard]] std::span<const IndexRow> indexes() const { return record_->indexes.in(record_); }
  [[nodiscard]] std::span<const TextRef> keys(const IndexRow& index) const {
    return index.keys.in(record_);
  }
  [[nodiscard]] std::span<const ResponseRow> responses() const {
    return record_->responses.in(record_);
  }
  [[nodiscard]] std::span<const ConditionRow> conditions(const ResponseRow& response) const {
    return response.conditions.in(record_);
  }
  [[nodiscard]] std::span<const NamespaceRow> namespaces(const ConditionRow& condition) const {
    return condition.namespaces.in(record_);
  }
  [[nodiscard]] std::span<const TemplatePiece> body_pieces(const ResponseRow& response) const {
    return response.body_pieces.in(record_);
  }
  [[nodiscard]] std::span<const TemplatePiece> target_pieces(const ForwardRow& forward) const {
    return forward.target_pieces.in(record_);
  }
  [[nodiscard]] std::span<const TemplatePiece> when_pieces(const ResponseRow& response) const {
    return response.when_pieces.in(record_);
  }

 private:
  [[nodiscard]] const char* address(std::int64_t distance) const {
    return reinterpret_cast<const char*>(record_) + distance;
  }

  const ServiceRecord* record_;
};

// Owns the region. Movable; views and connections that refer to it must not outlive it.
class ServiceImage {
 public:
  // Lays out `services`, which the loader has checked. Throws std::system_error when the region
  // cannot be made and std::length_error when a service's texts exceed 4 GiB.
  [[nodiscard]] static ServiceImage build(std::span<const ServiceDefinition> services);

  ServiceImage(ServiceImage&& other) noexcept;
  ServiceImage& operator=(ServiceImage&& other) noexcept;
  ServiceImage(const ServiceImage&) = delete;
  ServiceImage& operator=(const ServiceImage&) = delete;
  ~ServiceImage();

  [[nodiscard]] std::size_t size() const;  // number of services
  [[nodiscard]] ServiceView service(std::size_t index) const;
  // The position of `view` in this image.
  [[nodiscard]] std::size_t index_of(const ServiceView& view) const;

  // By which the matcher finds services.
  [[nodiscard]] MatchIndex match_index() const;
  // The service that is tried at this place: 0 before all others.
  [[nodiscard]] ServiceView service_by_rank(std::uint32_t rank) const;

  // The service whose record lies at this distance from the start.
  [[nodiscard]] ServiceView service_at(std::uint64_t distance) const {
    return ServiceView(*reinterpret_cast<const ServiceRecord*>(base_ + distance));
  }

  // How many regular expressions and XPath expressions the services hold together.
  [[nodiscard]] std::size_t regex_count() const;
  [[nodiscard]] std::size_t xpath_count() const;

  // The whole region, for whoever wants to look at its bytes.
  [[nodiscard]] std::span<const std::byte> bytes() const { return {base_, length_}; }

 private:
  // Makes the blocks of services with a script writable.
  void open_blocks() const;

  ServiceImage(std::byte* base, std::size_t length) : base_(base), length_(length) {}

  std::byte* base_ = nullptr;
  std::size_t length_ = 0;
};

}  // namespace vsd
