// Reads the declaration of a random string into its row.
#include <strings.h>
#include <wz/wzlb_random_string.h>

#include <cstring>
#include <new>

#include "libwzcore/parameters/declaration.h"
#include "libwzcore/parameters/faker_library.h"

namespace wz {
namespace {

constexpr const char* kTagInvalidOption = "ZelErr[1012130]: ";
constexpr const char* kTagNoVariables = "ZelErr[1012177]: ";
constexpr const char* kTagBadClass = "ZelErr[1012179]: ";
constexpr const char* kParameter = "Random String";
constexpr int kNameWanted = 1;  // states of a declaration
constexpr int kNameTaken = 2;
constexpr int kUnset = -1;

void reset(RandomStringTableEntry& row) {
  row.max = kUnset;
  row.min = 0;
  row.char_set = WZ_BIGBUF_UNSET;
  row.refresh = 1;
  row.faker_class_id = kUnset;
  row.faker_class_args = WZ_BIGBUF_UNSET;
}

bool begins_with(const char* text, std::string_view word) {
  return strncasecmp(text, word.data(), word.size()) == 0;
}

// The fields of one declaration. Each step returns false when its field is refused.
class StringDeclaration : DeclarationReader {
 public:
  StringDeclaration(RandomStringTableEntry* table, int rnum, const DeclarationPlace& place)
      : DeclarationReader(place, kParameter),
        row_(table != nullptr && rnum >= 0 ? table + rnum : nullptr) {}

  bool set_name(char* name, int* state) {
    if (state == nullptr) {
      return false;
    }
    if (*state == kNameTaken) {
      return !WZ_DECLARATION_ERROR(place(), kTagInvalidOption,
                                   "Option %s is invalid in %s parameter.", name, kParameter);
    }
    if (row_ == nullptr || !read_name(name, row_->name, WZ_HERE)) {
      return false;
    }
    reset(*row_);
    *state = kNameTaken;
    return true;
  }

  bool set_length(char* value, const char* label, int RandomStringTableEntry::*length, int state) {
    return may_set(state) && read_digits(value, label, row_->*length, WZ_HERE);
  }

  bool set_charset(char* value, int state) {
    if (!may_set(state)) {
      return false;
    }
    return *value == '\0' ? option_missing("Character Set", WZ_HERE)
                          : store(value, 0, row_->char_set, WZ_HERE);
  }

  // Deliberate: unlike the other parameters' this option is compared by its first letters in any
  // case, so that "session" and "USED" pass.
  bool set_refresh(const char* value, int state) {
    if (!has_name(state)) {
      return false;
    }
    if (row_ == nullptr) {
      static_cast<void>(WZ_DECLARATION_ERROR(
          place(), kTagNoVariables,
          "Must have variables for the declaration in Random String parameter.%s", ""));
      return false;
    }
    for (const Option& option : kRefreshOptions) {
      if (begins_with(value, option.word)) {
        row_->refresh = option.value;
        return true;
      }
    }
    return unknown_option(value, "Update Value On", WZ_HERE);
  }

  bool set_class(char* value, int state) {
    if (!may_set(state)) {
      return false;
    }
    if (*value == '\0') {
      return option_missing("Class", WZ_HERE);
    }
    const FakerLibrary& faker = faker_library();
    row_->faker_class_id = faker.class_to_id != nullptr ? faker.class_to_id(value) : kUnset;
    if (row_->faker_class_id == kUnset &&
        WZ_DECLARATION_ERROR(
            place(), kTagBadClass,
            "'Class' option value is not in correct format for Random Parameter, Value - %s",
            value)) {
      return false;
    }
    char* semicolon = std::strchr(value, ';');
    return semicolon == nullptr || store(semicolon + 1, 0, row_->faker_class_args, WZ_HERE);
  }

  // What only the whole declaration shows.
  [[nodiscard]] bool check_whole() {
    if (row_->faker_class_id != kUnset) {
      return true;
    }
    if (!require_name(row_->name, WZ_HERE) ||
        (row_->min == 0 && !option_missing("Minimum", WZ_HERE)) ||
        (row_->max == kUnset && !option_missing("Maximum", WZ_HERE)) ||
        (row_->char_set == WZ_BIGBUF_UNSET && !option_missing("Character Set", WZ_HERE))) {
      return false;
    }
    return row_->max >= row_->min ||
           !WZ_DECLARATION_ERROR(
               place(), kTagBadBounds,
               "Minimum option value should be less than Maximum option value in %s parameter.",
               kParameter);
  }

 private:
  bool has_name(int state) {
    return require_name(state == kNameTaken ? 0 : WZ_BIGBUF_UNSET, WZ_HERE);
  }
  bool may_set(int state) { return has_name(state) && row_ != nullptr; }

  RandomStringTableEntry* row_;
};

// Where a declaration stands that a handler is told of.
struct Context {
  int line_number;
  char* sess_name;
  char* sess_name_with_project;
  char* script_filename;
};

// Hands one field to the handler that its keyword names.
void read_field(RandomStringTableEntry* row, WZApiFields& field, int& state,
                const Context& context) {
  using Handler = decltype(wzlb_set_min_value);
  struct Keyword {
    std::string_view name;
    Handler* handler;
  };
  constexpr Keyword keywords[] = {{"Min", wzlb_set_min_value},
                                  {"Max", wzlb_set_max_value},
                                  {"REFRESH", wzlb_set_refresh},
                                  {"Charset", wzlb_set_charset},
                                  {"Class", wzlb_set_faker_class}};
  const auto& [line_number, sess_name, with_project, script_filename] = context;
  for (const Keyword& keyword : keywords) {
    if (has_keyword(field.keyword, keyword.name)) {
      keyword.handler(row, field.value, 0, state, line_number, sess_name, with_project,
                      script_filename);
      return;
    }
  }
  char buffer[1];
  wzlb_set_name_option(row, field.keyword, field.value, buffer, 0, &state, line_number, sess_name,
                       with_project, script_filename);
}

}  // namespace
}  // namespace wz

int wzlb_input_randomString_data(RandomStringTableEntry* randomStringTable, char* line,
                                 int line_number, int sess_idx, char* sess_name,
                                 char* sess_name_with_proj_subproj, char* script_filename) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER,
             "Method called. line = %s, line_number = %d, sess_idx = %d, sess_name = %s",
             line != nullptr ? line : "", line_number, sess_idx,
             sess_name_with_proj_subproj != nullptr ? sess_name_with_proj_subproj : "");
  if (randomStringTable == nullptr || line == nullptr) {
    return -1;
  }
  try {
    const wz::DeclarationPlace place{script_filename, sess_name, line_number, __func__};
    const auto api = wz::parse_declaration(line, place, WZ_HERE);
    if (api == nullptr) {
      return -1;
    }
    RandomStringTableEntry& row = *randomStringTable;
    row.name = WZ_BIGBUF_UNSET;
    row.sess_idx = sess_idx;
    wz::reset(row);
    int state = wz::kNameWanted;
    for (int i = 0; i < api->num_tokens; ++i) {
      wz::read_field(&row, api->api_fields[i], state,
                     {line_number, sess_name, sess_name_with_proj_subproj, script_filename});
    }
    return wz::StringDeclaration(&row, 0, place).check_whole() ? 0 : -1;
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

int wzlb_set_name_option(RandomStringTableEntry* randomStringTable, char* keyword, char*, char*,
                         int rnum, int* state, int line_number, char* sess_name, char*,
                         char* script_filename) {
  const wz::DeclarationPlace place{script_filename, sess_name, line_number, __func__};
  return keyword != nullptr &&
                 wz::StringDeclaration(randomStringTable, rnum, place).set_name(keyword, state)
             ? 0
             : -1;
}

int wzlb_set_min_value(RandomStringTableEntry* randomStringTable, char* value, int rnum, int state,
                       int line_number, char* sess_name, char*, char* script_filename) {
  const wz::DeclarationPlace place{script_filename, sess_name, line_number, __func__};
  return value != nullptr && wz::StringDeclaration(randomStringTable, rnum, place)
                                 .set_length(value, "Minimum", &RandomStringTableEntry::min, state)
             ? 0
             : -1;
}

int wzlb_set_max_value(RandomStringTableEntry* randomStringTable, char* value, int rnum, int state,
                       int line_number, char* sess_name, char*, char* script_filename) {
  const wz::DeclarationPlace place{script_filename, sess_name, line_number, __func__};
  return value != nullptr && wz::StringDeclaration(randomStringTable, rnum, place)
                                 .set_length(value, "Maximum", &RandomStringTableEntry::max, state)
             ? 0
             : -1;
}

int wzlb_set_charset(RandomStringTableEntry* randomStringTable, char* value, int rnum, int state,
                     int line_number, char* sess_name, char*, char* script_filename) {
  const wz::DeclarationPlace place{script_filename, sess_name, line_number, __func__};
  return value != nullptr &&
                 wz::StringDeclaration(randomStringTable, rnum, place).set_charset(value, state)
             ? 0
             : -1;
}

int wzlb_set_refresh(RandomStringTableEntry* randomStringTable, char* value, int rnum, int state,
                     int line_number, char* sess_name, char*, char* script_filename) {
  const wz::DeclarationPlace place{script_filename, sess_name, line_number, __func__};
  return value != nullptr &&
                 wz::StringDeclaration(randomStringTable, rnum, place).set_refresh(value, state)
             ? 0
             : -1;
}

int wzlb_set_faker_class(RandomStringTableEntry* randomStringTable, char* value, int rnum,
                         int state, int line_number, char* sess_name, char*,
                         char* script_filename) {
  const wz::DeclarationPlace place{script_filename, sess_name, line_number, __func__};
  return value != nullptr &&
                 wz::StringDeclaration(randomStringTable, rnum, place).set_class(value, state)
             ? 0
             : -1;
}
