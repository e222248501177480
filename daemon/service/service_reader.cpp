// Reads the declarations of one service.wz. Every declaration is read to its end, whatever was
// wrong before, so that the operator sees all errors at once.
#include <wz/wzlb_parse_api.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <memory>

#include "daemon/http/message.h"
#include "daemon/service/behaviour_declarations.h"
#include "daemon/service/data_source_declarations.h"
#include "daemon/service/declaration_fields.h"
#include "daemon/service/declaration_splitter.h"
#include "daemon/service/forward_declaration.h"
#include "daemon/service/match/condition_declaration.h"
#include "daemon/service/match/url_pattern.h"
#include "daemon/service/raw_declaration.h"
#include "daemon/service/service_loader.h"
#include "daemon/service/variable_declarations.h"

namespace vsd {
namespace {

namespace fs = std::filesystem;

// The variable table is indexed by 16 bits, and the system variables need a few entries.
constexpr std::size_t kMaxVariables = 65000;
constexpr int kMaxPriority = 1000000;
constexpr int kMaxTraceLevel = 4;

bool is_method(std::string_view method) {
  return !method.empty() && method.size() <= http::kMaxMethodLength &&
         std::all_of(method.begin(), method.end(),
                     [](char c) { return (c >= 'A' && c <= 'Z') || c == '-'; });
}

// "Name: value" without line ends. Length and framing are the daemon's to write.
bool is_header_line(std::string_view line) {
  const std::size_t colon = line.find(':');
  return colon != std::string_view::npos && colon > 0 &&
         line.find_first_of("\r\n") == std::string_view::npos &&
         line.substr(0, colon).find_first_of(" \t") == std::string_view::npos;
}

std::string type_of(const fs::path& file) {
  constexpr std::pair<std::string_view, std::string_view> types[] = {
      {".xml", "text/xml"},  {".json", "application/json"}, {".html", "text/html"},
      {".htm", "text/html"}, {".txt", "text/plain"},        {".js", "text/javascript"},
      {".css", "text/css"},  {".csv", "text/csv"},
  };
  const std::string extension = file.extension();
  for (const auto& [known, type] : types) {
    if (equal_ignoring_case(known, extension)) {
      return std::string(type);
    }
  }
  return "application/octet-stream";
}

// The library's message repeats the place and the line; the problem record has both.
std::string short_parse_message(const std::string& message) {
  constexpr std::string_view lead = "is not in correct format - ";
  const std::size_t start = message.find(lead);
  const std::size_t begin = start == std::string::npos ? 0 : start + lead.size();
  return message.substr(begin, message.find("\nLine = [", begin) - begin);
}

class ServiceReader {
 public:
  ServiceReader(ServiceDefinition& service, std::vector<Problem>& problems)
      : service_(service), problems_(problems) {}

  void read(std::string_view text) {
    for (DeclarationText& declaration : split_declarations(text)) {
      line_ = declaration.line;
      if (declaration.problem.empty()) {
        read_declaration(declaration.text);
      } else {
        report_(std::move(declaration.problem));
        note_unread(declaration.text);
      }
    }
    check_whole();
  }

 private:
  // A declaration that cannot be read is not missing as well.
  void note_unread(std::string_view text) {
    service_is_unread_ = service_is_unread_ || text.starts_with("wz_service");
    response_is_unread_ = response_is_unread_ || text.starts_with("wz_response");
  }

  void read_declaration(std::string& text) {
    std::string file = service_.file.string();
    // The message repeats the line and, for some errors, a value of it.
    std::string message(2 * text.size() + file.size() + 1024, '\0');
    if (parse_api_ex(parsed_.get(), text.data(), file.data(), message.data(), line_, 1, 1) != 0) {
      message.resize(message.find('\0'));
      report_(short_parse_message(message));
      note_unread(text);
      return;
    }
    const std::string_view api = parsed_->api_name;
    const VariableReader read_variable = find_variable_reader(api);
    const bool is_service_time = api == "wz_svc_time";
    const bool is_match = api == "wz_match";
    const bool is_data_source = api == "wz_index_datasource";
    if (api != "wz_service" && api != "wz_response" && !is_service_time && !is_match &&
        !is_data_source && read_variable == nullptr) {
      report_("unknown declaration '" + std::string(api) + "'");
      return;
    }
    current_ = std::string(api);
    DeclarationFields fields(*parsed_, report_, !is_service_time && !is_match);
    if (is_service_time) {
      set_service_time(fields);
    } else if (read_variable != nullptr) {
      add_variable(fields, text, read_variable);
    } else if (api == "wz_service") {
      set_service(fields);
    } else if (is_match) {
      add_condition(fields);
    } else if (is_data_source) {
      add_data_source(fields);
    } else {
      add_response(fields);
    }
    fields.finish();
    current_.clear();
  }

  void set_service(DeclarationFields& fields) {
    if (service_.line != 0) {
      report_("is given more than once");
    }
    service_.line = line_;
    service_.name = fields.name();
    service_.trace_level = fields.number("trace", 0, kMaxTraceLevel, -1);
    service_.priority = fields.number("priority", -kMaxPriority, kMaxPriority, 0);
    service_.raw = read_raw_declaration(fields, report_);
    if (service_.raw) {
      service_.methods = {to_string(service_.raw->transport)};
      service_.url = raw::path_of_key(service_.raw->key(service_.name));
    } else {
      set_methods(fields);
      set_url(fields);
    }
  }

  void set_methods(DeclarationFields& fields) {
    service_.methods.clear();
    const std::string methods = fields.text("method").value_or("GET");
    for (const std::string_view part : split(methods, '|')) {
      const std::string method(trim_blanks(part));
      if (!is_method(method)) {
        report_("method=" + methods + " is wrong: it must be a list, separated by '|', of " +
                "upper-case method names of at most 8 letters");
        break;
      }
      service_.methods.push_back(method);
    }
  }

  void set_url(DeclarationFields& fields) {
    service_.url_is_regex = fields.has("url_regex");
    if (service_.url_is_regex && fields.has("url")) {
      report_("url= and url_regex= exclude each other");
    }
    service_.url = fields.required_text(service_.url_is_regex ? "url_regex" : "url");
    fields.allow("url");
    if (service_.url.empty()) {
      return;
    }
    const std::string fault =
        service_.url_is_regex ? regex_fault(service_.url) : url_fault(service_.url);
    if (!fault.empty()) {
      report_((service_.url_is_regex ? "url_regex=" : "url=") + service_.url +
              " is wrong: " + fault);
    }
  }

  void add_condition(DeclarationFields& fields) {
    auto condition = read_condition(fields, "header", report_);
    if (!condition) {
      report_("there is nothing to match; one of " + std::string(kConditionSubjects) +
              " is needed");
      return;
    }
    condition->line = line_;
    condition->response = fields.text("response").value_or("");
    conditions_.push_back(*std::move(condition));
  }

  void set_service_time(DeclarationFields& fields) {
    if (service_time_is_set_) {
      report_("is given more than once");
    }
    service_time_is_set_ = true;
    service_.service_time = read_service_time(fields, report_);
  }

  void add_variable(DeclarationFields& fields, const std::string& text,
                    VariableReader read_fields) {
    VariableDefinition variable;
    variable.name = fields.name();
    variable.line = line_;
    read_fields(fields, {service_.folder, text, line_}, report_, variable);
    const VariableDefinition* first = find_variable(variable.name);
    if (first != nullptr && !variable.name.empty()) {
      report_("variable '" + variable.name + "' is declared already on line " +
              std::to_string(first->line));
    } else if (service_.variables.size() == kMaxVariables) {
      report_("the service has more than " + std::to_string(kMaxVariables) + " variables");
    }
    service_.variables.push_back(std::move(variable));
  }

  void add_data_source(DeclarationFields& fields) {
    DataSourceDefinition source =
        read_data_source(fields, service_.folder, service_.kept_rows, report_, problems_);
    source.line = line_;
    const DataSourceDefinition* first = find_data_source(source.name);
    if (first != nullptr && !source.name.empty()) {
      report_("data source '" + source.name + "' is declared already on line " +
              std::to_string(first->line));
    }
    service_.data_sources.push_back(std::move(source));
  }

  const DataSourceDefinition* find_data_source(std::string_view name) const {
    const auto found =
        std::find_if(service_.data_sources.begin(), service_.data_sources.end(),
                     [name](const DataSourceDefinition& other) { return other.name == name; });
    return found == service_.data_sources.end() ? nullptr : &*found;
  }

  void add_response(DeclarationFields& fields) {
    ResponseDefinition response;
    response.name = fields.name();
    response.line = line_;
    read_fault(fields, report_, response);
    read_forward(fields, report_, response);
    if ((needs_template(response.fault) && !response.forward) || fields.has("file")) {
      response.text = read_named_file(fields, "file", service_.folder, report_, response.file);
    }
    response.trace_level = fields.number("trace", 0, kMaxTraceLevel, -1);
    response.status = fields.number("status", 200, 599, 200);
    response.content_type = fields.text("type").value_or(type_of(response.file));
    if (response.content_type.empty() ||
        response.content_type.find_first_of("\r\n") != std::string::npos) {
      report_("type= must be a media type");
    }
    response.headers = fields.texts("header");
    for (const std::string& header : response.headers) {
      if (!is_header_line(header)) {
        report_("header=" + header + " is wrong: it must be a name, a colon and a value");
      }
    }
    add_choice(fields, response);
    for (const ResponseDefinition& other : service_.responses) {
      if (other.name == response.name && !response.name.empty()) {
        report_("response '" + response.name + "' is declared already on line " +
                std::to_string(other.line));
      }
    }
    service_.responses.push_back(std::move(response));
  }

  // What a response is chosen by, as far as its own line says it.
  void add_choice(DeclarationFields& fields, ResponseDefinition& response) {
    auto condition = read_condition(fields, "request_header", report_);
    const auto when = fields.text("when");
    if (condition && when) {
      report_(
          "when= and a condition on the request need lines of their own; "
          "wz_match(response=NAME, ...) adds conditions to a response");
    }
    if (condition) {
      condition->line = line_;
      response.conditions.push_back(*std::move(condition));
      return;
    }
    const auto equals = fields.text("equals");
    if (when.has_value() != equals.has_value()) {
      report_("when= and equals= belong together");
    }
    response.has_when = when.has_value();
    response.when = when.value_or("");
    response.equals = equals.value_or("");
  }

  const VariableDefinition* find_variable(std::string_view name) const {
    const auto found =
        std::find_if(service_.variables.begin(), service_.variables.end(),
                     [name](const VariableDefinition& other) { return other.name == name; });
    return found == service_.variables.end() ? nullptr : &*found;
  }

  // What only the declarations together tell.
  void check_whole() {
    line_ = 0;
    if (service_.line == 0 && !service_is_unread_) {
      report_("there is no wz_service declaration");
    }
    for (const VariableDefinition& variable : service_.variables) {
      line_ = variable.line;
      check_references(variable);
    }
    if (service_.raw) {
      check_raw();
    }
    place_conditions();
    check_responses();
  }

  // What only HTTP has.
  void check_raw() {
    const auto check = [this](const ConditionDefinition& condition) {
      line_ = condition.line;
      if (condition.subject == ConditionSubject::query ||
          condition.subject == ConditionSubject::header ||
          condition.subject == ConditionSubject::cookie) {
        report_("a message of this protocol has neither query nor headers to be matched");
      }
    };
    std::for_each(conditions_.begin(), conditions_.end(), check);
    for (const ResponseDefinition& response : service_.responses) {
      std::for_each(response.conditions.begin(), response.conditions.end(), check);
      line_ = response.line;
      if (response.forward) {
        report_("only HTTP is forwarded");
      }
      if (response.fault == http::Fault::slow && service_.raw->transport == Transport::udp) {
        report_("a datagram is sent in one piece, so fault=slow cannot be");
      }
    }
  }

  // Conditions may stand before the response that they belong to.
  void place_conditions() {
    for (ConditionDefinition& condition : conditions_) {
      const auto response =
          std::find_if(service_.responses.begin(), service_.responses.end(),
                       [&](const ResponseDefinition& r) { return r.name == condition.response; });
      line_ = condition.line;
      if (condition.response.empty()) {
        service_.conditions.push_back(std::move(condition));
      } else if (response != service_.responses.end()) {
        response->conditions.push_back(std::move(condition));
      } else if (!response_is_unread_) {
        report_("wz_match: there is no response '" + condition.response + "'");
      }
    }
  }

  void check_references(const VariableDefinition& variable) {
    if (const auto* search = std::get_if<SearchSource>(&variable.source);
        search != nullptr && !search->in_variable.empty()) {
      const VariableDefinition* in = find_variable(search->in_variable);
      if (in == nullptr) {
        report_("wz_search_var: in=" + search->in_variable +
                " is neither body, head, url nor a variable");
      } else if (in->kind != SCRATCH_VAR || in->is_array) {
        report_("wz_search_var: in=" + search->in_variable +
                " is no scratch variable; only those can be searched");
      }
    }
    if (const auto* index = std::get_if<IndexSource>(&variable.source);
        index != nullptr && !index->key_variable.empty()) {
      const VariableDefinition* key = find_variable(index->key_variable);
      if (key == nullptr || key->is_array || key->kind == VSD_DATE_VAR ||
          key->kind == VSD_INDEX_VAR || key->kind == VSD_GLOBAL_INDEX_VAR) {
        report_("wz_index_var: key=" + index->key_variable +
                " is no search, query, request or scratch variable");
      }
    }
    if (const auto* global = std::get_if<GlobalIndexSource>(&variable.source)) {
      check_global_index(*global);
    }
  }

  void check_global_index(const GlobalIndexSource& index) {
    const VariableDefinition* key = find_variable(index.key_variable);
    if (!index.key_variable.empty() &&
        (key == nullptr || key->is_array || key->kind == VSD_GLOBAL_INDEX_VAR)) {
      report_("wz_global_index_var: key=" + index.key_variable +
              " is no variable that has one value");
    }
    const DataSourceDefinition* source = find_data_source(index.data_source);
    if (source == nullptr) {
      if (!index.data_source.empty()) {
        report_("wz_global_index_var: source=" + index.data_source +
                " is no wz_index_datasource of this service");
      }
      return;
    }
    const auto& columns = source->format.columns;
    const auto column = std::find(columns.begin(), columns.end(), index.column);
    if (!index.column.empty() && (column == columns.end() || column == columns.begin())) {
      report_("wz_global_index_var: column=" + index.column + " is no column of '" +
              index.data_source + "' behind its key");
    }
  }

  void check_responses() {
    const ResponseDefinition* fallback = nullptr;
    for (const ResponseDefinition& response : service_.responses) {
      line_ = response.line;
      if (response.is_conditional()) {
        continue;
      }
      if (fallback != nullptr) {
        report_("wz_response: '" + response.name + "' would never be chosen, because '" +
                fallback->name + "' has no condition either");
      } else {
        fallback = &response;
      }
    }
    line_ = 0;
    if (fallback == nullptr && !response_is_unread_) {
      report_(service_.responses.empty() ? "there is no wz_response declaration"
                                         : "every wz_response has a condition; one must have none");
    }
  }

  ServiceDefinition& service_;
  std::vector<Problem>& problems_;
  int line_ = 0;
  bool service_time_is_set_ = false;
  bool service_is_unread_ = false;
  bool response_is_unread_ = false;
  std::vector<ConditionDefinition> conditions_;
  std::string current_;  // name of the declaration being read
  DeclarationFields::Report report_ = [this](std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    problems_.push_back(
        {service_.file, line_, current_.empty() ? std::move(text) : current_ + ": " + text});
  };
  std::unique_ptr<WZApi> parsed_ = std::make_unique<WZApi>();
};

}  // namespace

bool read_service(std::string_view text, ServiceDefinition& service,
                  std::vector<Problem>& problems) {
  const std::size_t before = problems.size();
  ServiceReader(service, problems).read(text);
  return problems.size() == before;
}

}  // namespace vsd
