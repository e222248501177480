#include <fstream>
#include <stdexcept>

#include "libwzfaker/generator/lists.h"

namespace wz::faker::generator {
namespace {

void read_list_file(const std::filesystem::path& file, std::map<std::string, List>& lists) {
  List* list = nullptr;
  for (const std::string& line : read_lines(file)) {
    if (line.empty() || line.starts_with("# ")) {  // a bare '#' is a digit to fill in
      continue;
    }
    if (line.front() == '[' && line.back() == ']') {
      list = &lists[line.substr(1, line.size() - 2)];
      list->is_template = true;
      continue;
    }
    if (list == nullptr) {
      throw std::runtime_error(file.string() + ": a value before the first list");
    }
    for (std::string& value : split(line, '|')) {
      list->rows.push_back({std::move(value)});
    }
  }
}

}  // namespace

std::vector<std::string> read_lines(const std::filesystem::path& file) {
  std::ifstream stream(file);
  if (!stream) {
    throw std::runtime_error("cannot read " + file.string());
  }
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(std::move(line));
  }
  return lines;
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t end = text.find(separator); end != std::string::npos;
       end = text.find(separator, start)) {
    parts.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  parts.push_back(text.substr(start));
  return parts;
}

void read_own_lists(const std::filesystem::path& folder, Lists& lists) {
  for (std::size_t locale = 0; locale < kLocales.size(); ++locale) {
    read_list_file(folder / (std::string(kLocales[locale]) + ".txt"), lists[locale]);
  }
  read_list_file(folder / "common.txt", lists[0]);
}

}  // namespace wz::faker::generator
