#include "daemon/data_source/data_source_definition.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
#include <utility>

namespace vsd {
namespace {

constexpr std::size_t kMinCache = std::size_t{1} << 20U;
constexpr std::size_t kMaxChosenCache = std::size_t{256} << 20U;  // beyond it has to be asked for

std::uint64_t fingerprint_of(const DataSourceDefinition& source, std::string_view content) {
  std::string text = source.file.string() + '\n' + source.format.delimiter + '\n' +
                     std::to_string(source.format.first_line) + '\n' +
                     (source.is_kept ? "kept" : "");
  for (const std::string& column : source.format.columns) {
    text += '\n' + column;
  }
  const std::hash<std::string_view> hash;
  return hash(text) ^ (source.is_kept ? 0 : hash(content) * 31);
}

}  // namespace

RowSet load_rows(DataSourceDefinition& source, std::vector<Problem>& problems) {
  std::error_code ignored;
  const bool from_kept = source.is_kept && std::filesystem::exists(source.kept_file, ignored);
  const std::filesystem::path& path = from_kept ? source.kept_file : source.file;
  RowSet set;
  std::ifstream file;
  if (std::filesystem::is_regular_file(path, ignored)) {
    file.open(path, std::ios::binary);
  }
  if (!file.is_open()) {
    problems.push_back({path, 0, "the file is missing or cannot be read"});
    return set;
  }
  std::string text{std::istreambuf_iterator<char>(file), {}};
  source.fingerprint = fingerprint_of(source, text);
  if (source.cache_bytes == 0) {
    source.cache_bytes = std::clamp(text.size() * 2, kMinCache, kMaxChosenCache);
  }
  const RowReport report = [&](int line, std::string problem) {
    if (from_kept) {
      problem += "; to begin anew with " + source.file.string() + ", move this file away";
    }
    std::replace(problem.begin(), problem.end(), '\n', ' ');  // a key may hold line ends
    problems.push_back({path, line, std::move(problem)});
  };
  (from_kept ? read_kept_rows : read_rows)(std::move(text), source.format, report, set);
  return set;
}

}  // namespace vsd
