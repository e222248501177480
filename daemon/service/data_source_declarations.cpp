#include "daemon/service/data_source_declarations.h"

#include <algorithm>
#include <utility>

#include "daemon/data_source/csv_reader.h"

namespace vsd {
namespace {

using Report = DeclarationFields::Report;

constexpr int kMaxLine = 1000000;
constexpr int kMaxCacheMegabytes = 65536;
constexpr int kMinColumns = 2;
constexpr NamedValue kPersistModes[] = {{"0", VSD_PERSIST_NONE}, {"2", VSD_PERSIST_EACH_CHANGE}};

char read_delimiter(DeclarationFields& fields, const Report& report) {
  const std::string delimiter = fields.text("delimiter").value_or(",");
  if (delimiter.size() != 1 || std::string_view("\"\r\n").find(delimiter) != std::string::npos) {
    report("delimiter= must be one character, and neither a quote nor a line end");
    return ',';
  }
  return delimiter[0];
}

std::vector<std::string> read_columns(DeclarationFields& fields, char delimiter,
                                      const Report& report) {
  std::vector<std::string> columns;
  const std::string list = fields.required_text("columns");
  if (list.empty()) {
    return columns;
  }
  for (const std::string_view part : split(list, delimiter)) {
    std::string name(trim_blanks(part));
    const bool is_printable = std::none_of(
        name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; });
    if (name.empty() || name.size() >= sizeof db_col{}.col_name || !is_printable) {
      report("columns=" + list + " is wrong: a name has 1 to 127 printable characters");
    } else if (std::find(columns.begin(), columns.end(), name) != columns.end()) {
      report(std::string("columns=")
                 .append(list)
                 .append(" is wrong: '")
                 .append(name)
                 .append("' stands there twice"));
    }
    columns.push_back(std::move(name));
  }
  if (columns.size() < kMinColumns) {
    report("columns=" + list + " is wrong: there must be a key and at least one more column, " +
           "separated by the delimiter");
  }
  return columns;
}

int first_line(DeclarationFields& fields) {
  return fields.number("FirstDataLine", 1, kMaxLine, 1);
}

// Each line of the file has columns; the first one is the key. Lines may have different numbers of
// columns as long as the one that is wanted is there.
std::vector<IndexSource::Row> read_index_rows(std::string_view text, char delimiter, int line,
                                              int column, const std::string& file,
                                              const Report& report) {
  std::vector<IndexSource::Row> rows;
  CsvReader reader(text, delimiter, line);
  CsvRecord record;
  const auto wanted = static_cast<std::size_t>(column) - 1;
  for (auto result = reader.next(record); result != CsvReader::Result::end;
       result = reader.next(record)) {
    if (result == CsvReader::Result::bad_record) {
      report(file + ":" + std::to_string(record.line) + ": " + reader.problem());
      break;
    }
    if (record.fields.size() > wanted) {
      rows.push_back({std::string(record.fields[0]), std::string(record.fields[wanted])});
    }
  }
  const auto by_key = [](const auto& a, const auto& b) { return a.key < b.key; };
  const auto same_key = [](const auto& a, const auto& b) { return a.key == b.key; };
  std::stable_sort(rows.begin(), rows.end(), by_key);
  rows.erase(std::unique(rows.begin(), rows.end(), same_key), rows.end());
  return rows;
}

}  // namespace

DataSourceDefinition read_data_source(DeclarationFields& fields,
                                      const std::filesystem::path& folder,
                                      const std::filesystem::path& kept_folder,
                                      const Report& report, std::vector<Problem>& problems) {
  bool is_good = true;
  const Report note = [&](std::string text) {
    is_good = false;
    report(std::move(text));
  };
  DataSourceDefinition source;
  source.name = fields.name();
  source.format.delimiter = read_delimiter(fields, note);
  source.format.columns = read_columns(fields, source.format.delimiter, note);
  source.format.first_line = first_line(fields);
  source.is_kept = fields.choice("persist", kPersistModes, 0) != VSD_PERSIST_NONE;
  source.cache_bytes =
      static_cast<std::size_t>(fields.number("CacheSize", 1, kMaxCacheMegabytes, 0)) << 20U;
  const std::string file = fields.required_text("file");
  source.file = folder / file;
  std::error_code ignored;
  if (!file.empty() && !std::filesystem::is_regular_file(source.file, ignored)) {
    note("file " + file + " is missing or cannot be read");
  }
  source.kept_file = kept_folder / (source.name + ".csv");
  if (source.kept_file.string().size() >= sizeof vsdIndexDataSource{}.file_name) {
    note("the path of " + source.kept_file.string() + " is too long");
  }
  if (is_good && !file.empty() && !source.name.empty()) {
    static_cast<void>(load_rows(source, problems));
  }
  return source;
}

void read_index(DeclarationFields& fields, const DeclarationPlace& place, const Report& report,
                VariableDefinition& variable) {
  IndexSource index;
  index.key_variable = fields.required_text("key");
  const char delimiter = read_delimiter(fields, report);
  const int column = fields.number("column", 2, WZ_API_MAX_VALUE, 2);
  const int line = first_line(fields);
  std::filesystem::path path;
  const std::string text = read_named_file(fields, "file", place.folder, report, path);
  index.rows = read_index_rows(text, delimiter, line, column, path.filename().string(), report);
  variable.kind = VSD_INDEX_VAR;
  variable.source = std::move(index);
}

void read_global_index(DeclarationFields& fields, const DeclarationPlace&, const Report&,
                       VariableDefinition& variable) {
  GlobalIndexSource index;
  index.data_source = fields.required_text("source");
  index.key_variable = fields.required_text("key");
  index.column = fields.required_text("column");
  variable.kind = VSD_GLOBAL_INDEX_VAR;
  variable.source = std::move(index);
}

}  // namespace vsd
