// Keyword lines that configure the logs: LIB_DEBUG, the module mask and LIB_DO_EXIT. Each parser
// gets the whole line and skips the keyword's own name; none ends the process.
#include <strings.h>
#include <wz/wzlb_log.h>
#include <wz/wzlb_util.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "libwzcore/internal/trace.h"

constinit int lib_backtrace_size = 0;

const char* const lib_module_mask_name[WZLB_MODULE_KEYWORDS] = {
    "ALL", "SEARCH", "HESSIAN", "HASH", "AUTH", "API", "MISC", "MEMORY", "TOPO",
};
const unsigned long long lib_module_mask_bit[WZLB_MODULE_KEYWORDS] = {
    ~0ULL,           WZLB_MODULE_SEARCH, WZLB_MODULE_HESSIAN, WZLB_MODULE_HASH, WZLB_MODULE_AUTH,
    WZLB_MODULE_API, WZLB_MODULE_MISC,   WZLB_MODULE_MEMORY,  WZLB_MODULE_TOPO,
};

namespace {

constexpr std::size_t kFieldSize = 1024;
constexpr int kMaxMaskFields = 100;
constexpr int kMaxBacktraceSize = 1024;
constexpr int kDefaultBacktraceSize = 100;

// Keyword values 1 to 4 stand for the masks of that many levels; any other number is a mask itself.
int level_mask(int value) {
  switch (value) {
    case 1:
      return 0xFF;
    case 2:
      return 0xFFFF;
    case 3:
      return 0xFFFFFF;
    case 4:
      return -1;
    default:
      return value;
  }
}

// A null line counts as empty.
const char* line_of(const char* buf) {
  return buf != nullptr ? buf : "";
}

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

const unsigned long long* find_module(const char* name) {
  for (std::size_t i = 0; i < WZLB_MODULE_KEYWORDS; ++i) {
    if (strcasecmp(lib_module_mask_name[i], name) == 0) {
      return &lib_module_mask_bit[i];
    }
  }
  return nullptr;
}

// Reads a field that is not a module name: hexadecimal behind "0x", else decimal.
unsigned long long mask_number(const char* field) {
  if (field[0] == '0' && field[1] == 'x') {
    return std::strtoull(field, nullptr, 16);
  }
  return static_cast<unsigned long long>(std::strtoll(field, nullptr, 10));
}

// Folds one field of a mask line into the mask; false for an unknown module name.
bool apply_mask_field(const char* field, bool negate, unsigned long long& mask) {
  unsigned long long value = 0;
  if (is_letter(field[0])) {
    const unsigned long long* bit = find_module(field);
    if (bit == nullptr) {
      return false;
    }
    value = *bit;
  } else {
    value = mask_number(field);
  }
  if (negate) {
    mask &= ~value;
  } else {
    mask += value;  // an addition, deliberately: a module named twice adds its bit twice
  }
  return true;
}

}  // namespace

int set_wzlb_debug(char* buf) {
  char keyword[kFieldSize] = "";
  char value[kFieldSize] = "";
  char rest[kFieldSize] = "";
  if (std::sscanf(line_of(buf), "%1023s %1023s %1023s", keyword, value, rest) < 2) {
    // Goes on: a missing value is an empty one, which reads as 0.
    std::fprintf(stderr,
                 "Invalid argument to keyword %s, should be atleast two (LIB_DEBUG <level>)\n",
                 keyword);
  }
  if (wz_is_numeric(value) == 0) {
    std::fputs("Error: Value of LIB_DEBUG is not numeric", stderr);
    return -1;
  }
  const int mask = level_mask(static_cast<int>(std::strtol(value, nullptr, 10)));
  wzlb_util_set_debug_log_level(mask);
  hessian_set_debug_log_level(mask);
  return 0;
}

int set_wzlb_modulemask(char* buf, char* err_msg) {
  std::string line(line_of(buf));
  if (!line.empty() && line.back() == '\n') {
    line.pop_back();
  }
  std::array<char*, kMaxMaskFields> fields{};
  const int count = get_tokens(line.data(), fields.data(), wz::mutable_text(" "), kMaxMaskFields);
  unsigned long long mask = 0;
  bool negate = false;
  for (int i = 1; i < count; ++i) {
    const char* field = fields[static_cast<std::size_t>(i)];
    if (strcasecmp(field, "~") == 0) {
      negate = true;
    } else if (!apply_mask_field(field, negate, mask)) {
      if (err_msg != nullptr) {
        std::snprintf(err_msg, WZLB_MODULEMASK_ERROR_SIZE,
                      "ZelErr[1011357]: Provided Modulemask '%s' is not a valid modulemask.",
                      field);
      }
      return -1;
    }
  }
  wzlb_util_set_modulemask(mask);
  return 0;
}

int kw_set_lib_do_exit(char* buf) {
  WZLB_TRACE(WZLB_LEVEL_1, WZLB_MODULE_MISC, "METHOD called");
  char keyword[kFieldSize] = "";
  char number[kFieldSize] = "";
  std::sscanf(line_of(buf), "%1023s %1023s", keyword, number);
  char* end = number;
  const long size = std::strtol(number, &end, 10);
  WZLB_TRACE(WZLB_LEVEL_1, WZLB_MODULE_MISC, "Keyword=[%s], size =[%d]", keyword,
             static_cast<int>(size));
  if (end == number || size < 0 || size > kMaxBacktraceSize) {
    std::fputs("Invalid value for num in keyword LIB_DO_EXIT. Hence setting default value to 100\n",
               stderr);
    lib_backtrace_size = kDefaultBacktraceSize;
    return 0;
  }
  lib_backtrace_size = static_cast<int>(size);
  return 0;
}
