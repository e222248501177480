// Lists from the packages iso-codes (countries and their parts, languages, currencies, and their
// names in other languages), miscfiles (cities, airports, capitals, given names), tzdata (time
// zones) and the word lists wamerican, wngerman, wfrench, wspanish and witalian.
#include <algorithm>
#include <boost/property_tree/json_parser.hpp>
#include <set>
#include <stdexcept>

#include "libwzfaker/generator/lists.h"
#include "libwzfaker/generator/message_catalogue.h"

namespace wz::faker::generator {
namespace {

namespace fs = std::filesystem;
using boost::property_tree::ptree;

constexpr std::array<const char*, kLocales.size()> kWordLists = {"american-english", "ngerman",
                                                                 "french", "spanish", "italian"};
constexpr std::size_t kWordsPerLocale = 2000;

// A kind of code in iso-codes and the members of its entries that become columns. The first one is
// the name, which is translated.
struct IsoCodes {
  const char* list;
  const char* standard;
  const char* catalogue;
  std::vector<const char*> members;
};

// An entry without one of the members makes no row.
List read_iso_codes(const fs::path& share, const IsoCodes& codes) {
  ptree document;
  read_json((share / "iso-codes/json" / ("iso_" + std::string(codes.standard) + ".json")).string(),
            document);
  List list;
  for (const auto& [unused, entry] : document.get_child(codes.standard)) {
    Row row;
    for (const char* member : codes.members) {
      if (auto text = entry.get_optional<std::string>(member)) {
        row.push_back(text->substr(0, text->find(';')));  // "Catalan; Valencian"
      }
    }
    if (row.size() == codes.members.size()) {
      list.rows.push_back(std::move(row));
    }
  }
  return list;
}

void add_iso_codes(const fs::path& share, const IsoCodes& codes, Lists& lists) {
  const List english = read_iso_codes(share, codes);
  lists[0][codes.list] = english;
  for (std::size_t locale = 1; locale < kLocales.size(); ++locale) {
    const auto names = read_message_catalogue(share / "locale" / kLocales[locale] / "LC_MESSAGES" /
                                              codes.catalogue);
    if (names.empty()) {
      continue;
    }
    List translated = english;
    for (Row& row : translated.rows) {
      const auto found = names.find(row[0]);
      if (found != names.end() && !found->second.empty()) {
        row[0] = found->second.substr(0, found->second.find(';'));
      }
    }
    lists[locale][codes.list] = std::move(translated);
  }
}

// "Madrid, Comunidad de" is sorted by its second part.
std::string in_reading_order(const std::string& name) {
  const std::size_t comma = name.find(", ");
  return comma == std::string::npos ? name : name.substr(comma + 2) + " " + name.substr(0, comma);
}

// The parts of each locale's country, with the code that is used inside the country.
void add_states(const fs::path& share, Lists& lists) {
  struct Parts {
    const char* prefix;
    const char* type;
  };
  constexpr std::array<Parts, kLocales.size()> kParts = {{{"US-", "State"},
                                                          {"DE-", "Land"},
                                                          {"FR-", "Metropolitan region"},
                                                          {"ES-", "Autonomous community"},
                                                          {"IT-", "Region"}}};
  const List all =
      read_iso_codes(share, {"state", "3166-2", "iso_3166-2.mo", {"name", "code", "type"}});
  for (std::size_t locale = 0; locale < kLocales.size(); ++locale) {
    const auto& [prefix, type] = kParts[locale];
    List& names = lists[locale]["state"];
    List& codes = lists[locale]["state_code"];
    for (const Row& row : all.rows) {
      if (row[1].starts_with(prefix) && row[2] == type) {
        names.rows.push_back({in_reading_order(row[0])});
        codes.rows.push_back({row[1].substr(3)});
      }
    }
    if (names.rows.empty()) {
      throw std::runtime_error(std::string("iso-codes has no ") + type + " of " + prefix);
    }
  }
}

// Columns of the lines of a file, which stand between colons; comment lines begin with '#'. The
// columns are taken in the order given, and rows without one of them dropped.
List read_columns(const fs::path& file, char separator, const std::vector<std::size_t>& columns) {
  List list;
  for (const std::string& line : read_lines(file)) {
    const Row fields = split(line, separator);
    if (line.starts_with('#')) {
      continue;
    }
    Row row;
    for (const std::size_t column : columns) {
      if (column < fields.size() && !fields[column].empty()) {
        row.push_back(fields[column]);
      }
    }
    if (row.size() == columns.size()) {
      list.rows.push_back(std::move(row));
    }
  }
  std::sort(list.rows.begin(), list.rows.end());
  list.rows.erase(std::unique(list.rows.begin(), list.rows.end()), list.rows.end());
  return list;
}

std::string trimmed(const std::string& text) {
  const std::size_t start = text.find_first_not_of(' ');
  return start == std::string::npos ? ""
                                    : text.substr(start, text.find_last_not_of(' ') + 1 - start);
}

// Records of `key : value` lines, each of which `//` ends: name, latitude and longitude of cities.
List read_cities(const fs::path& file) {
  List list;
  std::map<std::string, std::string> record;
  for (const std::string& line : read_lines(file)) {
    if (line == "//") {
      if (record["Type"] == "City" && !record["Latitude"].empty() && !record["Longitude"].empty()) {
        list.rows.push_back({record["Name"], record["Latitude"], record["Longitude"]});
      }
      record.clear();
    } else if (const std::size_t colon = line.find(':'); colon != std::string::npos) {
      record[trimmed(line.substr(0, colon))] = trimmed(line.substr(colon + 1));
    }
  }
  return list;
}

// Words of 3 to 10 letters, evenly taken from the whole list. Capitalised words are names in most
// languages, but nouns in German.
List read_words(const fs::path& file, bool capitalised) {
  std::vector<std::string> words;
  for (const std::string& line : read_lines(file)) {
    const bool has_other = std::any_of(
        line.begin(), line.end(), [](unsigned char c) { return c < 0x80 && std::isalpha(c) == 0; });
    const bool has_capital = !line.empty() && std::isupper(static_cast<unsigned char>(line[0]));
    const bool shouts = line.size() > 1 && std::isupper(static_cast<unsigned char>(line[1]));
    if (line.size() >= 3 && line.size() <= 10 && !has_other && !shouts &&
        (capitalised || !has_capital)) {
      words.push_back(line);
    }
  }
  List list;
  const std::size_t count = std::min(kWordsPerLocale, words.size());
  for (std::size_t i = 0; i < count; ++i) {
    list.rows.push_back({words[i * words.size() / count]});
  }
  return list;
}

List lower_case(List list) {
  for (Row& row : list.rows) {
    for (char& c : row[0]) {
      c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
  }
  return list;
}

}  // namespace

void read_package_lists(const fs::path& share, const fs::path& unpacked, Lists& lists) {
  add_iso_codes(
      share,
      {"country", "3166-1", "iso_3166-1.mo", {"name", "alpha_2", "alpha_3", "numeric", "flag"}},
      lists);
  add_iso_codes(share, {"currency", "4217", "iso_4217.mo", {"name", "alpha_3", "numeric"}}, lists);
  add_iso_codes(share, {"language", "639-2", "iso_639-2.mo", {"name", "alpha_2", "alpha_3"}},
                lists);
  add_states(share, lists);
  for (std::size_t locale = 0; locale < kLocales.size(); ++locale) {
    const bool german = std::string_view(kLocales[locale]) == "de";
    lists[locale]["word"] = read_words(share / "dict" / kWordLists[locale], german);
  }
  auto& english = lists[0];
  english["time_zone"] = read_columns(share / "zoneinfo/zone1970.tab", '\t', {2});
  english["city"] = read_columns(unpacked / "na.phone", ':', {1});
  english["airport"] = read_columns(unpacked / "airport", ':', {1, 0, 2});
  english["capital"] = read_columns(unpacked / "countries", ':', {4, 3});
  english["world_city"] = read_cities(unpacked / "cities.dat");
  english["nickname"] = lower_case(read_columns(unpacked / "propernames", '\n', {0}));
}

}  // namespace wz::faker::generator
