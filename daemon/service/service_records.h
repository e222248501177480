// The records of the shared service image. They hold distances instead of pointers, so that the
// image may lie at any address, and are plain data. What the host contract fixes comes from
// vsd_host.h; the rest is the daemon's own.
#pragma once

#include <wz/vsd_host.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "daemon/service/response_template.h"
#include "daemon/service/service_definition.h"

namespace vsd {

// A text in the service's string pool, where a NUL follows it.
struct TextRef {
  std::uint32_t offset = 0;
  std::uint32_t length = 0;
};

// An array of records, by its distance from the service record.
template <typename Row>
struct Rows {
  std::int64_t distance = 0;
  std::uint64_t count = 0;

  [[nodiscard]] std::span<const Row> in(const void* service_record) const noexcept {
    const char* base = static_cast<const char*>(service_record);
    return {reinterpret_cast<const Row*>(base + distance), static_cast<std::size_t>(count)};
  }
};

// Which entry of the variable table a request starts with.
struct VariablePrototype {
  bool is_array = false;
  std::uint32_t elements = 0;  // entries that an array has from the start
};

// Marks a search that looks into a part of the request.
inline constexpr int kNoVariable = -1;

struct SearchRow {
  TextRef name;
  TextRef left;
  TextRef right;
  TextRef methods;
  int hash_code = 0;
  int in_hash_code = kNoVariable;  // of the scratch variable searched
  RequestPart part = RequestPart::body;
  char convert = 0;
  bool ignore_case = false;
  bool left_is_regex = false;
  bool right_is_regex = false;
  int ordinal = 1;
  int save_offset = 0;
  int save_length = -1;
};

struct QueryRow {
  TextRef parameter;
  int hash_code = 0;
  bool decode = true;
};

struct RequestRow {
  int hash_code = 0;
  RequestPart part = RequestPart::body;
};

struct DateRow {
  TextRef format;
  int hash_code = 0;
  int day_offset = 0;
  int time_offset = 0;
  int day_type = 0;
  int min_days = 0;
  int max_days = 0;
  bool unique = false;
  bool once_per_session = true;
};

struct GeneratedRow {
  TextRef text;  // format or character set
  short kind = VSD_RANDOM_NUMBER_VAR;
  int min = 0;
  int max = 0;
  int digits = 0;
  int faker_class = -1;
  bool once_per_session = true;
};

// Belongs to the VarTableEntry of the same position; keys[i] selects row i.
struct IndexRow {
  int key_hash_code = 0;
  Rows<TextRef> keys;  // sorted
};

// Marks what needs no compiled form.
inline constexpr std::uint32_t kNotCompiled = 0xFFFFFFFF;

// A prefix of an XPath expression and what it stands for.
struct NamespaceRow {
  TextRef prefix;
  TextRef uri;
};

struct ConditionRow {
  ConditionSubject subject = ConditionSubject::part;
  ConditionTest test = ConditionTest::present;
  RequestPart part = RequestPart::body;
  bool ignore_case = false;
  bool negated = false;
  TextRef name;   // of parameter, header or cookie; the XPath expression or JSON pointer
  TextRef value;  // what the test compares with
  Rows<NamespaceRow> namespaces;
  SearchRow between;                   // for ConditionSubject::between
  std::uint32_t regex = kNotCompiled;  // number of its expression among those of the image, by
  std::uint32_t xpath = kNotCompiled;  // which a worker finds the compiled form
};

struct ForwardRow {
  bool is_set = false;
  bool on_request = false;  // only if the script asks; else the response's own text is sent
  bool is_tls = false;
  bool verifies_peer = true;
  TextRef origin;  // empty: our own listener
  TextRef target;  // a template; empty: the request's own
  Rows<TemplatePiece> target_pieces;
  int connect_timeout = 0;  // milliseconds
  int read_timeout = 0;     // milliseconds
};

struct ResponseRow {
  TextRef name;
  TextRef content_type_line;  // "Content-Type: ...", CR LF
  TextRef headers;            // further header lines, each with CR LF
  TextRef body;
  Rows<TemplatePiece> body_pieces;
  bool has_when = false;  // asks that the expansion of `when` equals `equals`
  TextRef when;
  Rows<TemplatePiece> when_pieces;
  TextRef equals;
  Rows<ConditionRow> conditions;  // which the request must fulfil too
  int status = 200;
  Cr_file_seg seen_by_library{};  // also in the array that scontents.cr_resp_file_idx leads to
  http::Fault fault = http::Fault::none;
  std::uint32_t bytes_per_second = 0;
  ForwardRow forward;

  [[nodiscard]] bool is_conditional() const { return has_when || conditions.count > 0; }
};

// A service as the library sees it, and behind that what only the daemon reads.
struct ServiceRecord : scontents {
  TextRef name;
  TextRef file;    // service.wz
  TextRef script;  // path of script.c; empty without one
  TextRef url;
  std::uint32_t url_regex = kNotCompiled;  // number of the expression when the URL is one
  bool is_raw = false;                     // of another protocol than HTTP
  Rows<TextRef> methods;
  ServiceTime service_time;
  Rows<ConditionRow> conditions;
  std::uint64_t table_size = 0;  // entries of a connection's variable table
  Rows<VariablePrototype> variables;
  Rows<SearchRow> searches;  // in the order declared; fills go through all of them
  Rows<QueryRow> queries;
  Rows<RequestRow> requests;
  Rows<DateRow> dates;
  Rows<GeneratedRow> generated;
  Rows<IndexRow> indexes;
  Rows<ResponseRow> responses;  // in the order to try: the one without a condition is last
};

}  // namespace vsd
