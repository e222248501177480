// What the operator wrote about a service, read and checked, before it becomes part of the shared
// service image.
#pragma once

#include <wz/vsd_host.h>
#include <wz/wzlb_search_vars.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <variant>
#include <vector>

#include "daemon/http/message.h"
#include "daemon/problem.h"
#include "daemon/service/service_time.h"

namespace vsd {

// The part of a request that a variable takes its value from.
enum class RequestPart : std::uint8_t {
  body,
  head,  // request line and header lines, as received
  url,   // request target, as received
};

// wz_scratch_var, wz_scratch_array: values that only scripts set.
struct ScratchSource {
  unsigned elements = 0;  // of an array
};

// wz_search_var: what lies between two boundaries of a text.
struct SearchSource {
  std::string left;
  std::string right;
  RequestPart part = RequestPart::body;
  std::string in_variable;  // searches this scratch variable instead of `part`
  int ordinal = 1;          // 1 and up, WZ_ORD_ALL or WZ_ORD_ANY
  int save_offset = 0;
  int save_length = -1;  // bytes kept; below 0: all
  bool ignore_case = false;
  bool left_is_regex = false;
  bool right_is_regex = false;
  std::string methods;      // the engine's value methods, one character of value 1..6 each
  std::int8_t convert = 0;  // the engine's conversion 1..9; 0: none
};

// wz_query_var: a parameter of the URL's query.
struct QuerySource {
  std::string parameter;
  bool decode = true;  // resolve %XX and '+'
};

// wz_request_var: a part of the request as it was received, NULs included.
struct RequestSource {
  RequestPart part = RequestPart::body;
};

// wz_date_var: computed at each use.
struct DateSource {
  std::string format;
  int day_offset = 0;
  int time_offset = 0;  // seconds
  int day_type = 0;     // 0 any, 1 working, 2 non-working
  bool unique = false;
  bool once_per_request = true;  // REFRESH=SESSION; otherwise each use gets a value of its own
  int min_days = 0;              // with max_days: a random day in this range
  int max_days = 0;
};

// wz_index_var: the row of a file that the value of another variable selects.
struct IndexSource {
  struct Row {
    std::string key;
    std::string value;
  };
  std::string key_variable;
  std::vector<Row> rows;  // sorted by key, keys unique
};

struct VariableDefinition {
  std::string name;
  int line = 0;
  std::variant<ScratchSource, SearchSource, QuerySource, RequestSource, DateSource, IndexSource>
      source;
  short kind = SCRATCH_VAR;  // enum vsd_var_kind
  bool is_array = false;
};

struct ResponseDefinition {
  std::string name;
  int line = 0;
  std::filesystem::path file;
  std::string text;  // the file's content, a template
  int status = 200;
  std::string content_type;
  std::vector<std::string> headers;  // further header lines, without CR LF
  bool is_conditional = false;       // chosen when the expansion of `when` equals `equals`
  std::string when;
  std::string equals;
  http::Fault fault = http::Fault::none;
  std::uint32_t bytes_per_second = 0;  // of Fault::slow
};

struct ServiceDefinition {
  std::filesystem::path folder;
  std::filesystem::path file;    // the service.wz that all line numbers count in
  std::filesystem::path script;  // script.c; empty when there is none
  std::string name;
  int line = 0;                      // of wz_service
  std::vector<std::string> methods;  // upper case, in the order written
  std::string url;                   // path without query, starts with '/'
  ServiceTime service_time;
  std::vector<VariableDefinition> variables;
  std::vector<ResponseDefinition> responses;
};

}  // namespace vsd
