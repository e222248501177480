// Small string functions that every parser shares. All work in place on NUL-terminated bytes and
// none allocates. Character classes are those of ASCII, whatever the locale.
#include <wz/wzlb_util.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool is_trimmed(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

void convert_in_place(char* text, int (*convert)(int)) {
  for (; *text != '\0'; ++text) {
    *text = static_cast<char>(convert(static_cast<unsigned char>(*text)));
  }
}

// Reads the digits at `text` and moves behind them; false when there are none. Huge numbers stay
// at a value that no caller's range includes.
bool read_digits(const char*& text, std::int64_t& number) {
  constexpr std::int64_t kHuge = std::int64_t{1} << 40;
  if (!is_digit(*text)) {
    return false;
  }
  for (number = 0; is_digit(*text); ++text) {
    number = std::min(number * 10 + (*text - '0'), kHuge);
  }
  return true;
}

int clamp_to_int(std::int64_t number) {
  return static_cast<int>(std::clamp<std::int64_t>(number, INT_MIN, INT_MAX));
}

}  // namespace

int wz_is_numeric(char* str) {
  if (str == nullptr) {
    return 0;
  }
  return str[std::strspn(str, "0123456789")] == '\0' ? 1 : 0;
}

int wz_is_numeric_for_negative(char* str) {
  if (str == nullptr) {
    return 0;
  }
  return wz_is_numeric(*str == '-' ? str + 1 : str);
}

int wz_is_float(char* str) {
  if (str == nullptr || str[std::strspn(str, "0123456789.")] != '\0') {
    return 0;
  }
  return std::strchr(str, '.') == std::strrchr(str, '.') ? 1 : 0;
}

char* wzlb_ltrim(char* src) {
  if (src == nullptr) {
    return nullptr;
  }
  while (is_trimmed(*src)) {
    ++src;
  }
  return src;
}

char* wzlb_rtrim(char* src) {
  if (src == nullptr) {
    return nullptr;
  }
  for (char* end = src + std::strlen(src); end > src && is_trimmed(end[-1]); --end) {
    end[-1] = '\0';
  }
  return src;
}

char* wzlb_trim(char* ptr) {
  return wzlb_rtrim(wzlb_ltrim(ptr));
}

char* wzlb_strupper(char* src) {
  if (src != nullptr) {
    convert_in_place(src, std::toupper);
  }
  return src;
}

char* wzlb_strlower(char* src) {
  if (src != nullptr) {
    convert_in_place(src, std::tolower);
  }
  return src;
}

char* wzlb_strrev(char* dest, char* src, int amount_to_save) {
  const auto amount = static_cast<std::size_t>(std::max(amount_to_save, 0));
  const std::size_t length = strnlen(src, amount);
  std::memmove(dest, src, length);
  std::memset(dest + length, 0, amount - length + 1);
  std::reverse(dest, dest + length);
  return dest;
}

int validate_var(char* name) {
  if (name == nullptr || !is_letter(*name)) {
    return -1;
  }
  const bool valid = std::all_of(name, name + std::strlen(name),
                                 [](char c) { return is_letter(c) || is_digit(c) || c == '_'; });
  return valid ? 0 : -1;
}

int get_time_from_format(char* str) {
  if (str == nullptr) {
    return -1;
  }
  const char* text = str;
  std::int64_t field = 0;
  std::int64_t seconds = 0;
  int fields = 0;
  while (fields < 3 && read_digits(text, field)) {
    seconds = std::min<std::int64_t>(seconds * 60 + field, INT_MAX);
    ++fields;
    if (fields == 3 || *text != ':') {
      break;
    }
    ++text;
  }
  if (fields == 0) {
    return -1;
  }
  std::int64_t milliseconds = 0;
  if (fields == 3 && *text == '.') {
    ++text;
    read_digits(text, milliseconds);
  }
  return clamp_to_int(seconds * 1000 + milliseconds);
}

int wzlb_atoi(const char* str, int* num) {
  const char* text = str + std::strspn(str, " \t");
  const bool negative = *text == '-';
  if (*text == '-' || *text == '+') {
    ++text;
  }
  std::int64_t number = 0;
  read_digits(text, number);
  if (*text != '\0') {
    std::fprintf(stderr, "Error: Input contains non-numeric data %c on given string = %s\n", *text,
                 str);
    return -1;
  }
  *num = clamp_to_int(negative ? -number : number);
  return 0;
}

char* wzlb_fgets(char* buffer, int size, FILE* file) {
  if (size < 1) {
    return nullptr;
  }
  int length = 0;
  while (length < size - 1) {
    const int c = std::getc(file);
    if (c == EOF) {
      if (std::ferror(file) != 0 && errno == EINTR) {
        std::clearerr(file);
        continue;
      }
      break;
    }
    buffer[length++] = static_cast<char>(c);
    if (c == '\n') {
      break;
    }
  }
  buffer[length] = '\0';
  return length > 0 ? buffer : nullptr;
}
