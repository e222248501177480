// Lays out one service: the record, the compiled-variable block with its tables, the daemon's own
// rows and, last, the string pool, whose texts all the others name by offset.
#include <wz/vsd_host.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>
#include <unordered_map>

#include "daemon/service/name_table.h"
#include "daemon/service/service_image_layout.h"

namespace vsd {
namespace {

struct SystemVariable {
  std::string_view name;
  short kind;
};
// Names that every service has unless it declares them otherwise.
constexpr SystemVariable kSystemVariables[] = {
    {"http_method", SYS_VAR_HTTP_METHOD_TYPE},
    {"fwd_hostname", SYS_VAR_FWD_HOSTNAME},
    {"fwd_port", SYS_VAR_FWD_PORT},
    {"fwd_protocol", SYS_VAR_FWD_PROTOCOL},
};

class StringPool {
 public:
  TextRef add(std::string_view text) {
    constexpr std::size_t limit = std::numeric_limits<std::uint32_t>::max();
    if (text.size() >= limit - bytes_.size()) {
      throw std::length_error("the texts of a service exceed 4 GiB");
    }
    const TextRef ref{static_cast<std::uint32_t>(bytes_.size()),
                      static_cast<std::uint32_t>(text.size())};
    bytes_ += text;
    bytes_ += '\0';
    return ref;
  }
  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

class ServiceBuilder {
 public:
  ServiceBuilder(ImageArena& arena, const ServiceDefinition& service, ExpressionNumbers& numbers)
      : arena_(arena),
        service_(service),
        numbers_(numbers),
        start_(arena.append(&record_, sizeof record_)) {}

  std::size_t build() {
    // The library writes to the block of a service whose script asks it to.
    block_start_ = service_.script.empty() ? arena_.append(&block_, sizeof block_)
                                           : arena_.append_alone(&block_, sizeof block_);
    record_.cr_scptr_idx = from_record(block_start_);
    add_head();
    number_variables();
    for (std::size_t i = 0; i < service_.variables.size(); ++i) {
      current_ = static_cast<int>(i);
      std::visit([this](const auto& source) { add_source(source); }, service_.variables[i].source);
    }
    add_rows();
    add_responses();
    const std::string& pool = pool_.bytes();
    record_.string_big_buf_idx = from_record(arena_.append(pool.data(), pool.size()));
    record_.service_name_idx = record_.string_big_buf_idx + record_.name.offset;
    arena_.put(block_start_, block_);
    arena_.put(start_, record_);
    return start_;
  }

 private:
  long from_record(std::size_t position) const { return static_cast<long>(position - start_); }
  long from_block(std::size_t position) const {
    return static_cast<long>(position) - static_cast<long>(block_start_);
  }

  template <typename Row>
  Rows<Row> place(const std::vector<Row>& rows) {
    return {from_record(arena_.append(rows)), rows.size()};
  }

  void add_head() {
    record_.name = pool_.add(service_.name);
    record_.file = pool_.add(service_.file.string());
    record_.script = pool_.add(service_.script.string());
    record_.url = pool_.add(service_.url);
    record_.is_raw = service_.raw.has_value();
    record_.trace_log_per_url = service_.trace_level;
    const auto subproject = service_.folder.parent_path().parent_path();
    record_.project = pool_.add(subproject.parent_path().filename().string()).offset;
    record_.subproject = pool_.add(subproject.filename().string()).offset;
    record_.folder = pool_.add(service_.folder.filename().string()).offset;
    std::vector<TextRef> methods;
    for (const std::string& method : service_.methods) {
      methods.push_back(pool_.add(method));
    }
    record_.methods = place(methods);
    record_.service_time = service_.service_time;
    record_.url_regex = service_.url_is_regex ? numbers_.regexes++ : kNotCompiled;
    record_.conditions = add_conditions(service_.conditions);
  }

  Rows<ConditionRow> add_conditions(const std::vector<ConditionDefinition>& conditions) {
    std::vector<ConditionRow> rows;
    for (const ConditionDefinition& condition : conditions) {
      ConditionRow& row = rows.emplace_back();
      row.subject = condition.subject;
      row.test = condition.test;
      row.part = condition.part;
      row.ignore_case = condition.ignore_case;
      row.negated = condition.negated;
      row.name = pool_.add(condition.name);
      row.value = pool_.add(condition.value);
      row.between = search_row(condition.between, "");
      row.regex = condition.test == ConditionTest::regex ? numbers_.regexes++ : kNotCompiled;
      row.xpath = condition.subject == ConditionSubject::xpath ? numbers_.xpaths++ : kNotCompiled;
      std::vector<NamespaceRow> namespaces;
      for (const std::string& text : condition.namespaces) {
        const std::string_view declared = text;
        const std::size_t sign = declared.find('=');
        namespaces.push_back(
            {pool_.add(declared.substr(0, sign)), pool_.add(declared.substr(sign + 1))});
      }
      row.namespaces = place(namespaces);
    }
    return place(rows);
  }

  // A variable's hash code is its position: the declared ones first, then the system's. Those need
  // no values of their own and share the last entry of a connection's variable table, because the
  // library looks at the entry's array flag whatever the kind.
  void number_variables() {
    std::vector<std::string_view> names;
    for (const VariableDefinition& variable : service_.variables) {
      names.emplace_back(variable.name);
      const auto slot = static_cast<unsigned short>(translations_.size());
      translations_.push_back({variable.kind, 0, slot});
    }
    const auto shared_slot = static_cast<unsigned short>(translations_.size());
    for (const SystemVariable& system : kSystemVariables) {
      if (std::find(names.begin(), names.end(), system.name) == names.end()) {
        names.push_back(system.name);
        translations_.push_back({system.kind, 0, shared_slot});
      }
    }
    record_.table_size = service_.variables.size() + 1;
    for (std::size_t code = 0; code < names.size(); ++code) {
      codes_.emplace(names[code], static_cast<int>(code));
    }
    NameTable table = build_name_table(names);
    const std::size_t position = arena_.append(table.bytes);
    arena_.put(position, NameTableHeader{-from_record(position)});
    block_.var_hash_table_idx = from_block(position);
    block_.var_hash_table_next_state = table.slots;
  }

  void add_source(const ScratchSource& scratch) {
    const bool is_array = service_.variables[static_cast<std::size_t>(current_)].is_array;
    prototypes_.push_back({is_array, scratch.elements});
  }

  SearchRow search_row(const SearchSource& search, std::string_view name) {
    SearchRow row;
    row.name = pool_.add(name);
    row.left = pool_.add(search.left);
    row.right = pool_.add(search.right);
    row.methods = pool_.add(search.methods);
    row.part = search.part;
    row.convert = static_cast<char>(search.convert);
    row.ignore_case = search.ignore_case;
    row.left_is_regex = search.left_is_regex;
    row.right_is_regex = search.right_is_regex;
    row.ordinal = search.ordinal;
    row.save_offset = search.save_offset;
    row.save_length = search.save_length;
    return row;
  }

  void add_source(const SearchSource& search) {
    prototypes_.push_back({search.ordinal == WZ_ORD_ALL, 0});
    set_table_index(searches_.size());
    SearchRow row = search_row(search, service_.variables[static_cast<std::size_t>(current_)].name);
    row.hash_code = current_;
    row.in_hash_code = search.in_variable.empty() ? kNoVariable : codes_.at(search.in_variable);
    searches_.push_back(row);
    if (row.in_hash_code != kNoVariable) {
      SearchInParamTable definition{};
      definition.hash_code = row.hash_code;
      definition.search_in_var_hashcode = row.in_hash_code;
      definition.lb = row.left.offset;
      definition.rb = row.right.offset;
      definition.ord = row.ordinal;
      definition.start_offset = row.save_offset;
      definition.save_len = row.save_length;
      definition.ignore_case = row.ignore_case ? 1 : 0;
      dependents_.push_back(definition);
    }
  }

  void add_source(const QuerySource& query) {
    prototypes_.push_back({});
    set_table_index(queries_.size());
    queries_.push_back({pool_.add(query.parameter), current_, query.decode});
  }

  void add_source(const RequestSource& request) {
    prototypes_.push_back({});
    set_table_index(requests_.size());
    requests_.push_back({current_, request.part});
  }

  void add_source(const DateSource& date) {
    prototypes_.push_back({});
    set_table_index(dates_.size());
    DateRow row;
    row.format = pool_.add(date.format);
    row.hash_code = current_;
    row.day_offset = date.day_offset;
    row.time_offset = date.time_offset;
    row.day_type = date.day_type;
    row.min_days = date.min_days;
    row.max_days = date.max_days;
    row.unique = date.unique;
    row.once_per_session = date.once_per_session;
    dates_.push_back(row);
  }

  void add_source(const GeneratedSource& generated) {
    prototypes_.push_back({});
    set_table_index(generated_.size());
    generated_.push_back({pool_.add(generated.text), generated.kind, generated.min, generated.max,
                          generated.digits, generated.faker_class, generated.once_per_session});
  }

  void add_source(const IndexSource& index) {
    prototypes_.push_back({});
    set_table_index(indexes_.size());
    std::vector<TextRef> keys;
    std::vector<PointerTableEntry> values;
    for (const IndexSource::Row& row : index.rows) {
      keys.push_back(pool_.add(row.key));
      values.push_back({pool_.add(row.value).offset, static_cast<int>(row.value.size())});
    }
    indexes_.push_back({codes_.at(index.key_variable), place(keys)});
    index_values_.push_back(arena_.append(values));
  }

  // The loader has checked that source and column are there.
  void add_source(const GlobalIndexSource& index) {
    prototypes_.push_back({});
    set_table_index(global_indexes_.size());
    const auto& sources = service_.data_sources;
    const auto source = std::find_if(sources.begin(), sources.end(), [&](const auto& candidate) {
      return candidate.name == index.data_source;
    });
    const auto& columns = source->format.columns;
    GlobalIndexVarTable row{};
    row.var_name = pool_.add(service_.variables[static_cast<std::size_t>(current_)].name).offset;
    row.idx_ds_index_table =
        static_cast<int>(numbers_.data_sources) + static_cast<int>(source - sources.begin());
    row.index_var_name = pool_.add(index.key_variable).offset;
    row.hash_code = current_;
    row.param_seq_no =
        static_cast<int>(std::find(columns.begin(), columns.end(), index.column) - columns.begin());
    global_indexes_.push_back(row);
  }

  void set_table_index(std::size_t index) {
    translations_[static_cast<std::size_t>(current_)].table_idx = static_cast<int>(index);
  }

  void add_rows() {
    block_.vars_trans_table_idx = from_block(arena_.append(translations_));
    block_.searchInParam_start_idx = from_block(arena_.append(dependents_));
    block_.num_searchInParam_entries = static_cast<int>(dependents_.size());
    record_.variables = place(prototypes_);
    record_.searches = place(searches_);
    record_.queries = place(queries_);
    record_.requests = place(requests_);
    record_.dates = place(dates_);
    record_.generated = place(generated_);
    record_.indexes = place(indexes_);

    std::vector<VarTableEntry> descriptors(indexes_.size());
    const std::size_t start = arena_.append(descriptors);
    for (std::size_t i = 0; i < descriptors.size(); ++i) {
      const std::size_t own = start + i * sizeof(VarTableEntry);
      descriptors[i].value_start_ptr = static_cast<long>(index_values_[i]) - static_cast<long>(own);
      descriptors[i].num_rows = static_cast<int>(indexes_[i].keys.count);
      arena_.put(own, descriptors[i]);
    }
    block_.indexvar_start_idx = from_block(start);
    block_.g_indexvar_start_idx = from_block(arena_.append(global_indexes_));
    numbers_.data_sources += static_cast<std::uint32_t>(service_.data_sources.size());
  }

  // How long the value that a reference finds stays the same.
  Steadiness steadiness_of(int code) const {
    const auto index = static_cast<std::size_t>(code);
    if (index >= service_.variables.size()) {
      return Steadiness::none;
    }
    const auto& source = service_.variables[index].source;
    if (const auto* generated = std::get_if<GeneratedSource>(&source)) {
      return generated->once_per_session ? Steadiness::session : Steadiness::none;
    }
    const auto* date = std::get_if<DateSource>(&source);
    if (date == nullptr) {
      return Steadiness::none;
    }
    if (date->once_per_session) {
      return Steadiness::session;
    }
    const bool is_steady = !date->unique && date->max_days == 0 &&
                           date->format.find("%MS") == std::string::npos &&
                           date->format.find("%ms") == std::string::npos;
    return is_steady ? Steadiness::second : Steadiness::none;
  }

  Rows<TemplatePiece> compile(std::string_view text) {
    return place(compile_template(text, [this](std::string_view name) {
      const auto found = codes_.find(name);
      if (found == codes_.end()) {
        return std::optional<VariableTarget>();
      }
      const VarTransTableEntry& entry = translations_[static_cast<std::size_t>(found->second)];
      return std::optional(
          VariableTarget{entry.var_type, entry.user_var_table_idx, steadiness_of(found->second)});
    }));
  }

  ForwardRow forward_row(const ForwardDefinition& forward, bool has_text) {
    ForwardRow row;
    row.is_set = true;
    row.on_request = has_text;
    row.is_tls = forward.is_tls;
    row.verifies_peer = forward.verifies_peer;
    row.origin = pool_.add(forward.origin);
    row.target = pool_.add(forward.target);
    row.target_pieces = compile(forward.target);
    row.connect_timeout = forward.connect_timeout;
    row.read_timeout = forward.read_timeout;
    return row;
  }

  void add_responses() {
    std::vector<ResponseRow> rows;
    const TextRef no_host = pool_.add("");
    for (const ResponseDefinition& response : service_.responses) {
      std::string headers;
      for (const std::string& header : response.headers) {
        headers += header + "\r\n";
      }
      ResponseRow& row = rows.emplace_back();
      row.name = pool_.add(response.name);
      row.content_type_line = pool_.add("Content-Type: " + response.content_type + "\r\n");
      row.headers = pool_.add(headers);
      row.body = pool_.add(response.text);
      row.body_pieces = compile(response.text);
      row.has_when = response.has_when;
      row.when = pool_.add(response.when);
      row.when_pieces = compile(response.when);
      row.equals = pool_.add(response.equals);
      row.conditions = add_conditions(response.conditions);
      row.status = response.status;
      row.seen_by_library = {no_host.offset, 0, 0, response.trace_level};
      if (const auto& forward = response.forward) {
        row.forward = forward_row(*forward, !response.file.empty());
        const TextRef host = pool_.add(forward->host);
        row.seen_by_library.backend_host_name = host.offset;
        row.seen_by_library.backend_host_name_len = static_cast<int>(host.length);
        row.seen_by_library.backend_port = forward->port;
      }
      row.fault = response.fault;
      row.bytes_per_second = response.bytes_per_second;
    }
    // Conditions are tried before the fallback, wherever that was declared.
    std::stable_partition(rows.begin(), rows.end(),
                          [](const ResponseRow& row) { return row.is_conditional(); });
    record_.responses = place(rows);
    std::vector<Cr_file_seg> seen_by_library;
    seen_by_library.reserve(rows.size());
    for (const ResponseRow& row : rows) {
      seen_by_library.push_back(row.seen_by_library);
    }
    record_.cr_resp_file_idx = from_record(arena_.append(seen_by_library));
  }

  ImageArena& arena_;
  const ServiceDefinition& service_;
  ExpressionNumbers& numbers_;
  ServiceRecord record_{};
  cr_scontents block_{};
  std::size_t start_;
  std::size_t block_start_ = 0;
  int current_ = 0;  // hash code of the variable being added
  StringPool pool_;
  std::unordered_map<std::string_view, int> codes_;
  std::vector<VarTransTableEntry> translations_;
  std::vector<SearchInParamTable> dependents_;
  std::vector<VariablePrototype> prototypes_;
  std::vector<SearchRow> searches_;
  std::vector<QueryRow> queries_;
  std::vector<RequestRow> requests_;
  std::vector<DateRow> dates_;
  std::vector<GeneratedRow> generated_;
  std::vector<IndexRow> indexes_;
  std::vector<GlobalIndexVarTable> global_indexes_;
  std::vector<std::size_t> index_values_;  // where each one's PointerTableEntry rows start
};

}  // namespace

std::size_t append_service(ImageArena& arena, const ServiceDefinition& service,
                           ExpressionNumbers& numbers) {
  return ServiceBuilder(arena, service, numbers).build();
}

}  // namespace vsd
