#include "libwzcore/parameters/declaration.h"

#include <wz/wzlb_random_number.h>
#include <wz/wzlb_util.h>

#include <cstdlib>
#include <string>

#include "libwzcore/parameters/integer_format.h"

namespace wz {

std::unique_ptr<WZApi> parse_declaration(char* line, const DeclarationPlace& place,
                                         const SourcePlace& source) {
  auto api = std::make_unique_for_overwrite<WZApi>();
  const char* file = place.script_filename != nullptr ? place.script_filename : "";
  // The parser's message repeats the line and may repeat a value of it too.
  std::string message(2 * std::strlen(line) + std::strlen(file) + 1024, '\0');
  if (parse_api_ex(api.get(), line, place.script_filename, message.data(), place.line_number, 1,
                   1) == 0) {
    return api;
  }
  // The message holds what the script's author wrote, so it is data and no format. This error ends
  // the declaration in every mode.
  static_cast<void>(report_declaration_error(place, source, "-1", "%s", message.c_str()));
  return nullptr;
}

bool DeclarationReader::read_name(char* name, wz_bigbuf_t& target,
                                  const SourcePlace& source) const {
  if (validate_var(name) != 0 &&
      report_declaration_error(place_, source, kTagBadName,
                               "Invalid variable '%s'. It should contain only alphanumeric "
                               "character and '_'. Also, first character should be an alphabet.",
                               name)) {
    return false;
  }
  return store(name, 0, target, source);
}

bool DeclarationReader::require_name(wz_bigbuf_t name, const SourcePlace& source) const {
  return name != WZ_BIGBUF_UNSET ||
         !report_declaration_error(place_, source, kTagNameMissing,
                                   "%s parameter name is missing. It should be at very first "
                                   "position in API.",
                                   parameter_);
}

bool DeclarationReader::store(char* text, int length, wz_bigbuf_t& target,
                              const SourcePlace& source) const {
  target = store_text(text, length);
  return target != WZ_BIGBUF_UNSET ||
         !report_declaration_error(place_, source, kTagCopyFailed,
                                   "Failed to copy string '%s' into the memory.", text);
}

bool DeclarationReader::option_missing(const char* label, const SourcePlace& source) const {
  return !report_declaration_error(place_, source, kTagOptionMissing,
                                   "'%s' option value is not provided in %s parameter.", label,
                                   parameter_);
}

bool DeclarationReader::unknown_option(const char* value, const char* label,
                                       const SourcePlace& source) const {
  return !report_declaration_error(place_, source, kTagUnknownOption,
                                   "Unknown '%s' option provided for '%s' in %s parameter.", value,
                                   label, parameter_);
}

bool DeclarationReader::read_digits(char* value, const char* label, int& target,
                                    const SourcePlace& source) const {
  if (*value == '\0') {
    return option_missing(label, source);
  }
  if (isStringDigits(value) == 0) {
    return !report_declaration_error(place_, source, kTagNoNumber,
                                     "'%s' option can only have numeric value.", label);
  }
  target = std::atoi(value);
  return true;
}

bool DeclarationReader::read_integer_format(const char* value, const char* variable,
                                            wz_bigbuf_t& target, int& length,
                                            const SourcePlace& source) const {
  std::string format;
  switch (scan_integer_format(value, variable, format)) {
    case FormatScan::good:
      length = static_cast<int>(format.size());
      return store(format.data(), length, target, source);
    case FormatScan::no_conversion:
      return !report_declaration_error(place_, source, kTagBadFormat,
                                       "Invalid value for 'Format' option is provided in %s "
                                       "parameter.",
                                       parameter_);
    case FormatScan::refused:
      break;
  }
  return false;
}

}  // namespace wz
