#include "daemon/service/generated_declarations.h"

#include <wz/wzlb_random_number.h>
#include <wz/wzlb_random_string.h>
#include <wz/wzlb_unique_number.h>

#include <utility>

#include "daemon/service/library_declaration.h"

namespace vsd {
namespace {

constexpr int kRefreshPerSession = 1;

// The library says on standard error what is wrong with a format, and to nobody else.
constexpr const char* kBadFormat =
    "format= must have exactly one integer conversion: %d, %o, %x, %X, or l or h and one of u, d, "
    "x, X, o";

std::string read_number(std::string line, int line_number, GeneratedSource& source) {
  RandomVarTableEntry row{};
  LibraryReading reading =
      read_with_library(wzlb_input_randomNum_data, std::move(line), line_number, row, kBadFormat);
  source.kind = VSD_RANDOM_NUMBER_VAR;
  source.min = row.min;
  source.max = row.max;
  source.text = reading.text(row.format);
  source.once_per_session = row.refresh == kRefreshPerSession;
  return std::move(reading.problem);
}

std::string read_string(std::string line, int line_number, GeneratedSource& source) {
  RandomStringTableEntry row{};
  LibraryReading reading =
      read_with_library(wzlb_input_randomString_data, std::move(line), line_number, row,
                        "the declaration is not in correct format");
  source.kind = VSD_RANDOM_STRING_VAR;
  source.min = row.min;
  source.max = row.max;
  source.text = reading.text(row.char_set);
  source.faker_class = row.faker_class_id;
  source.once_per_session = row.refresh == kRefreshPerSession;
  return std::move(reading.problem);
}

std::string read_unique(std::string line, int line_number, GeneratedSource& source) {
  UniqueVarTableEntry row{};
  LibraryReading reading =
      read_with_library(wzlb_input_uniquevar_data, std::move(line), line_number, row, kBadFormat);
  source.kind = VSD_UNIQUE_NUMBER_VAR;
  source.digits = row.num_digits;
  source.text = reading.text(row.format);
  source.once_per_session = row.refresh == kRefreshPerSession;
  return std::move(reading.problem);
}

}  // namespace

std::string read_generated_declaration(std::string_view api, std::string line, int line_number,
                                       GeneratedSource& source) {
  if (api == "wz_random_number_var") {
    return read_number(std::move(line), line_number, source);
  }
  return api == "wz_random_string_var" ? read_string(std::move(line), line_number, source)
                                       : read_unique(std::move(line), line_number, source);
}

}  // namespace vsd
