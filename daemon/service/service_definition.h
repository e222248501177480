// What the operator wrote about a service, read and checked, before it becomes part of the shared
// service image.
#pragma once

#include <wz/vsd_host.h>
#include <wz/wzlb_search_vars.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "daemon/data_source/data_source_definition.h"
#include "daemon/http/message.h"
#include "daemon/problem.h"
#include "daemon/raw/endpoint.h"
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
  bool once_per_session = true;  // REFRESH=SESSION; otherwise each use gets a value of its own
  int min_days = 0;              // with max_days: a random day in this range
  int max_days = 0;
};

// wz_random_number_var, wz_random_string_var, wz_unique_number_var: made up when it is used.
struct GeneratedSource {
  short kind = VSD_RANDOM_NUMBER_VAR;  // enum vsd_var_kind
  std::string text;                    // format of a number, character set of a string
  int min = 0;                         // of a random number; shortest string
  int max = 0;                         // inclusive
  int digits = 0;                      // of a unique number
  int faker_class = -1;                // of a string with a class, its arguments included
  bool once_per_session = true;        // as for dates
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

// wz_global_index_var: writes a column of the row that another variable selects.
struct GlobalIndexSource {
  std::string data_source;
  std::string key_variable;
  std::string column;
};

struct VariableDefinition {
  std::string name;
  int line = 0;
  std::variant<ScratchSource, SearchSource, QuerySource, RequestSource, DateSource, GeneratedSource,
               IndexSource, GlobalIndexSource>
      source;
  short kind = SCRATCH_VAR;  // enum vsd_var_kind
  bool is_array = false;
};

// What a condition looks at.
enum class ConditionSubject : std::uint8_t {
  query,         // a parameter of the URL's query, decoded; any of its occurrences
  header,        // a request header; any of its occurrences
  cookie,        // a cookie of the request
  part,          // a part of the request as a whole
  between,       // what lies between two boundaries of a part
  xpath,         // what an XPath expression finds in an XML body
  json_pointer,  // what a JSON pointer finds in a JSON body
};

// What a condition asks of it.
enum class ConditionTest : std::uint8_t { present, equals, contains, regex };

// wz_match, or the condition on a wz_response line.
struct ConditionDefinition {
  int line = 0;
  std::string response;  // the response that it chooses; empty: the service itself
  ConditionSubject subject = ConditionSubject::part;
  std::string name;  // of parameter, header or cookie; the XPath expression or JSON pointer
  RequestPart part = RequestPart::body;
  SearchSource between;                 // for ConditionSubject::between
  std::vector<std::string> namespaces;  // for ConditionSubject::xpath: "prefix=URI"
  ConditionTest test = ConditionTest::present;
  std::string value;  // what the test compares with
  bool ignore_case = false;
  bool negated = false;
};

// The backend that answers instead of a response.
struct ForwardDefinition {
  std::string origin;    // "http://host:port"; empty for our own listener
  bool is_self = false;  // our own listener
  std::string host;      // "self" for our own
  std::uint16_t port = 0;
  bool is_tls = false;
  std::string target;       // a template; empty: the request's own
  int connect_timeout = 0;  // milliseconds
  int read_timeout = 0;     // milliseconds without a byte
  bool verifies_peer = true;
};

struct ResponseDefinition {
  std::string name;
  int line = 0;
  std::filesystem::path file;
  std::string text;  // the file's content, a template
  int status = 200;
  int trace_level = -1;  // of its script's trace log; below 0: the service's
  std::string content_type;
  std::vector<std::string> headers;  // further header lines, without CR LF
  bool has_when = false;             // asks that the expansion of `when` equals `equals`
  std::string when;
  std::string equals;
  http::Fault fault = http::Fault::none;
  std::uint32_t bytes_per_second = 0;           // of Fault::slow
  std::optional<ForwardDefinition> forward;     // goes before the text, if the service allows
  std::vector<ConditionDefinition> conditions;  // which the request must fulfil too

  [[nodiscard]] bool is_conditional() const { return has_when || !conditions.empty(); }
};

struct ServiceDefinition {
  std::filesystem::path folder;
  std::filesystem::path file;       // the service.wz that all line numbers count in
  std::filesystem::path script;     // script.c; empty when there is none
  std::filesystem::path kept_rows;  // folder of data sources that are kept
  std::string name;
  int line = 0;                         // of wz_service
  std::vector<std::string> methods;     // upper case, in the order written
  int trace_level = -1;                 // of the trace log; below 0: the daemon's
  std::optional<raw::Declaration> raw;  // of another protocol than HTTP; `url` is its path then
  std::string url;                      // path without query, starts with '/'; or an expression
  bool url_is_regex = false;            // that the whole path must match
  int priority = 0;                     // higher is tried first
  std::vector<ConditionDefinition> conditions;  // which a request must fulfil
  ServiceTime service_time;
  std::vector<DataSourceDefinition> data_sources;
  std::vector<VariableDefinition> variables;
  std::vector<ResponseDefinition> responses;
  bool is_former_version = false;  // what is in the folder now has errors
};

}  // namespace vsd
