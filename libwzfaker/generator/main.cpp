// Writes the tables of fake data: sections.h with an enumerator per list, and tables.cpp with the
// lists of every locale. Every list must exist in English, and every reference must name a list.
// usage: wzfaker_generator OWN_LISTS SHARE UNPACKED OUTPUT
#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>

#include "libwzfaker/generator/lists.h"
#include "libwzfaker/reference.h"

namespace wz::faker::generator {
namespace {

class Writer {
 public:
  explicit Writer(const Lists& lists) : lists_(lists) {
    for (const auto& [name, list] : lists[0]) {
      sections_.push_back(name);
    }
    for (const auto& locale : lists) {
      for (const auto& [name, list] : locale) {
        if (list.rows.empty() || !lists[0].contains(name)) {
          throw std::runtime_error("list " + name + " is empty or missing in English");
        }
      }
    }
  }

  void write_sections(std::ostream& out) const {
    out << "// Generated: the lists of fake data.\n#pragma once\n\nnamespace wz::faker {\n\n"
        << "enum class Section : unsigned char {\n";
    for (const std::string& section : sections_) {
      out << "  " << section << ",\n";
    }
    out << "};\ninline constexpr unsigned kSectionCount = " << sections_.size()
        << ";\n\n}  // namespace wz::faker\n";
  }

  void write_tables(std::ostream& out) const {
    out << "// Generated: the texts of fake data.\n#include \"libwzfaker/table.h\"\n\n"
        << "namespace wz::faker {\nnamespace {\n\n";
    for (std::size_t locale = 0; locale < kLocales.size(); ++locale) {
      for (const auto& [name, list] : lists_[locale]) {
        write_list(out, std::string(kLocales[locale]) + "_" + name, list);
      }
    }
    out << "constexpr Table kTables[kLocaleCount][kSectionCount] = {\n";
    for (std::size_t locale = 0; locale < kLocales.size(); ++locale) {
      out << "    {\n";
      for (const std::string& section : sections_) {
        const std::size_t owner = lists_[locale].contains(section) ? locale : 0;
        const List& list = lists_[owner].at(section);
        const std::string name = std::string(kLocales[owner]) + "_" + section;
        out << "        {" << name << "_text, " << name << "_offsets, " << list.rows.size() << ", "
            << list.rows[0].size() << ", " << (list.is_template ? "true" : "false") << "},\n";
      }
      out << "    },\n";
    }
    out << "};\n\n}  // namespace\n\n"
        << "const Table& table_of(Section section, Locale locale) {\n"
        << "  return kTables[static_cast<unsigned>(locale)][static_cast<unsigned>(section)];\n}\n\n"
        << "}  // namespace wz::faker\n";
  }

 private:
  void write_list(std::ostream& out, const std::string& name, const List& list) const {
    std::string offsets;
    std::size_t offset = 0;
    out << "constexpr char " << name << "_text[] =\n";
    for (const Row& row : list.rows) {
      for (const std::string& value : row) {
        const std::string cell = list.is_template ? resolved(value) : value;
        out << "    \"" << escaped(cell) << "\\0\"\n";
        offsets += std::to_string(offset) + ", ";
        offset += cell.size() + 1;
      }
    }
    out << "    ;\nconstexpr std::uint32_t " << name << "_offsets[] = {" << offsets << offset
        << "};\n\n";
  }

  // `value` with each {name} as a reference.
  [[nodiscard]] std::string resolved(std::string value) const {
    for (std::size_t open = value.find('{'); open != std::string::npos; open = value.find('{')) {
      const std::size_t close = value.find('}', open);
      const std::string name = value.substr(open + 1, close - open - 1);
      const auto found = std::lower_bound(sections_.begin(), sections_.end(), name);
      if (close == std::string::npos || found == sections_.end() || *found != name) {
        throw std::runtime_error("unknown list in " + value);
      }
      const auto number = static_cast<int>(found - sections_.begin());
      value.replace(open, close + 1 - open,
                    {kReference, static_cast<char>(number + kReferenceBase)});
    }
    return value;
  }

  // As it stands in a C++ literal; octal escapes end after three digits, whatever follows.
  [[nodiscard]] static std::string escaped(const std::string& text) {
    std::string literal;
    for (const char c : text) {
      const auto byte = static_cast<unsigned char>(c);
      if (byte >= 0x20 && byte < 0x7f && c != '"' && c != '\\' && c != '?') {
        literal += c;
      } else {
        literal += '\\';
        literal += static_cast<char>('0' + byte / 64);
        literal += static_cast<char>('0' + byte / 8 % 8);
        literal += static_cast<char>('0' + byte % 8);
      }
    }
    return literal;
  }

  const Lists& lists_;
  std::vector<std::string> sections_;  // sorted; the position is the section's number
};

void generate(char** arguments) {
  Lists lists;
  read_own_lists(arguments[1], lists);
  read_package_lists(arguments[2], arguments[3], lists);
  const Writer writer(lists);
  const std::filesystem::path output = arguments[4];
  std::ofstream sections(output / "sections.h");
  writer.write_sections(sections);
  std::ofstream tables(output / "tables.cpp");
  writer.write_tables(tables);
  if (!sections.flush() || !tables.flush()) {
    throw std::runtime_error("cannot write to " + output.string());
  }
}

}  // namespace
}  // namespace wz::faker::generator

int main(int argc, char** argv) {
  try {
    if (argc != 5) {
      throw std::runtime_error("usage: wzfaker_generator OWN_LISTS SHARE UNPACKED OUTPUT");
    }
    wz::faker::generator::generate(argv);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "wzfaker_generator: %s\n", error.what());
    return 1;
  }
}
