// What the readers of declarations share: taking the line apart, the variable's name, options that
// are one of a few words, and how each of them is reported.
#pragma once

#include <cstring>
#include <memory>
#include <new>

#include "libwzcore/parameters/wzlb_vars_common.h"

namespace wz {

inline constexpr const char* kTagCopyFailed = "ZelErr[1000018]: ";
inline constexpr const char* kTagBadName = "ZelErr[1012009]: ";
inline constexpr const char* kTagUnknownOption = "ZelErr[1012027]: ";
inline constexpr const char* kTagBadFormat = "ZelErr[1012039]: ";
inline constexpr const char* kTagNoNumber = "ZelErr[1012043]: ";
inline constexpr const char* kTagBadBounds = "ZelErr[1012044]: ";
inline constexpr const char* kTagNameMissing = "ZelErr[1012053]: ";
inline constexpr const char* kTagOptionMissing = "ZelErr[1012132]: ";

// One of the exact words that an option may have.
struct Option {
  const char* word;
  int value;
};
inline constexpr Option kRefreshOptions[] = {{"SESSION", 1}, {"USE", 2}};

// The fields of `line`; null when it is not in correct format, which is reported by the rule that
// all declaration errors follow, under the tag "-1".
[[nodiscard]] std::unique_ptr<WZApi> parse_declaration(char* line, const DeclarationPlace& place,
                                                       const SourcePlace& source);

// The steps of reading one declaration. Each returns false when reading has to stop with -1, and
// reports what is wrong in the name of `source`, its caller.
class DeclarationReader {
 protected:
  // `parameter` is the type's name in messages.
  DeclarationReader(const DeclarationPlace& place, const char* parameter)
      : place_(place), parameter_(parameter) {}

  // The first field: checked and stored in the host's buffer.
  bool read_name(char* name, wz_bigbuf_t& target, const SourcePlace& source) const;
  // What every further field asks first: is there a name?
  [[nodiscard]] bool require_name(wz_bigbuf_t name, const SourcePlace& source) const;
  // Stores `length` bytes of a text, 0 for all of it.
  bool store(char* text, int length, wz_bigbuf_t& target, const SourcePlace& source) const;
  // Reports that the option `label` has no value; the result is that of every step.
  [[nodiscard]] bool option_missing(const char* label, const SourcePlace& source) const;
  // The same of a value that the option `label` does not know.
  [[nodiscard]] bool unknown_option(const char* value, const char* label,
                                    const SourcePlace& source) const;

  template <std::size_t Count>
  bool read_option(const char* value, const Option (&options)[Count], const char* label,
                   int& target, const SourcePlace& source) const {
    for (const Option& option : options) {
      if (std::strcmp(value, option.word) == 0) {
        target = option.value;
        return true;
      }
    }
    return unknown_option(value, label, source);
  }
  bool read_refresh(const char* value, int& target, const SourcePlace& source) const {
    return read_option(value, kRefreshOptions, "Update Value On", target, source);
  }

  // A field of digits alone, which also bounds it from below.
  bool read_digits(char* value, const char* label, int& target, const SourcePlace& source) const;

  // The option `format` of numbers: a printf format with one integer conversion, see
  // integer_format.h. Its length goes to `length`.
  bool read_integer_format(const char* value, const char* variable, wz_bigbuf_t& target,
                           int& length, const SourcePlace& source) const;

  [[nodiscard]] const DeclarationPlace& place() const { return place_; }
  [[nodiscard]] const char* parameter() const { return parameter_; }

 private:
  const DeclarationPlace& place_;
  const char* parameter_;
};

// Reads one declaration into `row` with a Reader; 0 or -1.
template <typename Reader, typename Row>
int input_declaration(Row* row, char* line, int sess_idx, const DeclarationPlace& place,
                      const SourcePlace& source) noexcept {
  if (row == nullptr || line == nullptr) {
    return -1;
  }
  try {
    const auto api = parse_declaration(line, place, source);
    return api != nullptr && Reader(*row, place).read(*api, sess_idx) ? 0 : -1;
  } catch (const std::bad_alloc&) {
    return -1;
  }
}

}  // namespace wz
