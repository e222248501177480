// Template evaluation: `{name}` in a text stands for the value of a variable of the service.
//
// A reference is a `{`, a name, optional further text and the first `}` behind it; the name ends at
// a comma, a blank, a tab or the `}`. A reference to nothing is copied as it stands. Nothing here
// fails as a whole: each problem costs one reference and is reported in the host's debug log.
//
// Scripts evaluate a template per request, so the usual reference, a scalar that is there, takes a
// short way: one lookup, one copy, and nothing but the position in the output kept between pieces.
#include <wz/wz_script.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "vsd/string_api/context.h"
#include "vsd/string_api/output_buffer.h"
#include "vsd/string_api/template_scan.h"
#include "vsd/string_api/template_values.h"
#include "vsd/string_api/url_codec.h"
#include "vsd/trace.h"

// A trace of evaluation. The masks are tested once per evaluation, not once per line, and the line
// is made outside of the function that is traced, which so stays small.
#define TRACE_IF(traced, function, ...)                                \
  do {                                                                 \
    if (traced) [[unlikely]] {                                         \
      [=]() __attribute__((noinline, cold)) {                          \
        VSD_TRACE_AS(function, WZLB_LEVEL_3, kModuleApi, __VA_ARGS__); \
      }                                                                \
      ();                                                              \
    }                                                                  \
  } while (0)
#define EVAL_TRACE(traced, ...) TRACE_IF(traced, "wz_eval_string_ex", __VA_ARGS__)

namespace wz::script {
namespace {

bool evaluation_is_traced() noexcept {
  return tracing(WZLB_LEVEL_3, kModuleApi);
}

// Copies bytes behind the `used` bytes of the output buffer; returns how many were written, which
// is none when the buffer could not grow.
[[gnu::noinline]] std::size_t append_bytes(const char* bytes, std::size_t length,
                                           std::size_t used) noexcept {
  if (!output_buffer.reserve(static_cast<long>(used), static_cast<long>(length))) [[unlikely]] {
    return 0;
  }
  copy_bytes(output_buffer.data() + used, bytes, length);
  return length;
}

// The value as the flag says, in a text of its own; null when there is no memory for it.
[[gnu::noinline]] UrlText code_value(Value value, int flag) noexcept {
  UrlText coded = url_coded(value.text, to_int(value.length), flag);
  if (coded == nullptr) {
    return coded;
  }
  const int length = to_int(std::strlen(coded.get()));
  if (flag == WZ_FLAG_URL_ENCODE) {
    VSD_TRACE_AS("apply_encode_decode", WZLB_LEVEL_3, kModuleApi,
                 "Encoded variable value = %s, variable length = %d", coded.get(), length);
  } else {
    VSD_TRACE_AS("apply_encode_decode", WZLB_LEVEL_3, kModuleApi,
                 "Decoded variable value = %s, variable length = %d", coded.get(), length);
  }
  return coded;
}

[[gnu::noinline]] std::size_t append_coded(Value value, int flag, std::size_t used) noexcept {
  const UrlText coded = code_value(value, flag);
  return coded != nullptr ? append_bytes(coded.get(), std::strlen(coded.get()), used) : 0;
}

// Tells in the trace that a value is taken, or that there is none.
inline bool has_value(Value value, bool traced) noexcept {
  TRACE_IF(traced, "apply_encode_decode", "Method called");
  if (value.text == nullptr) {
    TRACE_IF(traced, "apply_encode_decode",
             "Value of parameter is NULL. It will not go in buffer, returning from here");
    return false;
  }
  return true;
}

// Writes one value as the encoding flag says; returns the bytes written.
inline std::size_t append_value(Value value, int flag, std::size_t used, bool traced) noexcept {
  if (!has_value(value, traced)) {
    return 0;
  }
  return is_coding_flag(flag) ? append_coded(value, flag, used)
                              : append_bytes(value.text, value.length, used);
}

// Where an expansion writes next. Kept apart from the buffer, whose fields any byte written might
// change for all that the compiler knows.
class Writer {
 public:
  // Behind the first `used` bytes of the output buffer.
  explicit Writer(std::size_t used) noexcept
      : at_(output_buffer.data() + used), room_(output_buffer.room(static_cast<long>(used))) {}

  [[nodiscard]] char* at() const noexcept { return at_; }
  [[nodiscard]] std::size_t used() const noexcept {
    return static_cast<std::size_t>(at_ - output_buffer.data());
  }

  // Bytes that the buffer cannot take are left out whole.
  void append(const char* bytes, std::size_t length) noexcept {
    if (static_cast<long>(length) > room_) [[unlikely]] {
      *this = Writer(used() + append_bytes(bytes, length, used()));
      return;
    }
    copy_bytes(at_, bytes, length);
    advance(static_cast<long>(length));
  }

  // Appends the text before the next `{` and returns it; appends all up to `end` and returns null
  // when there is none.
  char* append_literal(char* read, char* end) noexcept {
    const long rest = end - read;
    const long length = std::min(rest, room_);
    if (length >= kScanBlock) {
      char* open = copy_to_brace(read, length, at_);
      if (open != nullptr || length == rest) [[likely]] {
        advance(open != nullptr ? open - read : rest);
        return open;
      }
    }
    char* open = find(read, end, '{');
    append(read, static_cast<std::size_t>(open != nullptr ? open - read : rest));
    return open;
  }

 private:
  void advance(long length) noexcept {
    at_ += length;
    room_ -= length;
  }

  char* at_;
  long room_;
};

// One reference of a template.
struct Reference {
  char* open;      // its `{`
  char* name_end;  // the character that ended the name
  char* close;     // its `}`; null when there is none

  [[nodiscard]] std::string_view name() const noexcept {
    return {open + 1, static_cast<std::size_t>(name_end - open - 1)};
  }
};

// Each expand function writes what a reference stands for behind the `used` bytes of the output
// buffer and returns the bytes written.
class Evaluation {
 public:
  Evaluation(int flag, const char* text) noexcept
      : context_(Context::current()),
        flag_(flag),
        traced_(evaluation_is_traced()),
        is_plain_(!traced_ && !is_coding_flag(flag)) {
    EVAL_TRACE(traced_, "Method called. string = %s, flag = %d", text, flag);
  }

  // Expands `text` into the output buffer and returns the buffer.
  char* run(char* text) const noexcept;

 private:
  std::size_t expand(const Reference& reference, int hash_code, std::size_t used) const noexcept;
  std::size_t expand_computed(const Reference& reference, const VarTransTableEntry& variable,
                              std::size_t used) const noexcept;
  std::size_t expand_indexed(const Reference& reference, std::size_t used) const noexcept;
  std::size_t expand_count(const UserVarEntry& entry, std::size_t used) const noexcept;
  std::size_t expand_element(const Reference& reference, const UserVarEntry& entry, int index,
                             std::size_t used) const noexcept;

  std::size_t append(Value value, std::size_t used) const noexcept {
    return append_value(value, flag_, used, traced_);
  }
  static std::size_t append_unchanged(const Reference& reference, std::size_t used) noexcept {
    return append_bytes(reference.open,
                        static_cast<std::size_t>(reference.close + 1 - reference.open), used);
  }

  // The value that is written as it stands, with nothing to tell about it; null for other cases.
  [[nodiscard]] const UserVarEntry* plain_scalar(int hash_code) const noexcept {
    if (!is_plain_ || hash_code == kNotFound) {
      return nullptr;
    }
    const UserVarEntry* entry = context_.value_entry(context_.variable(hash_code));
    return entry != nullptr && !is_array(entry) && entry->value.value != nullptr ? entry : nullptr;
  }

  Context context_;
  int flag_;
  bool traced_;
  bool is_plain_;  // values are neither coded nor traced
};

char* Evaluation::run(char* text) const noexcept {
  char* const end = text + std::strlen(text);
  char* read = text;
  Writer writer(0);
  char* open = writer.append_literal(read, end);
  while (open != nullptr) {
    char* const name = open + 1;
    const auto [name_end, close] = find_reference_end(name, end);
    if (close == nullptr) {
      break;  // no reference: the rest is literal text
    }
    const int hash_code = context_.find({name, static_cast<std::size_t>(name_end - name)});
    if (const UserVarEntry* entry = plain_scalar(hash_code); entry != nullptr) [[likely]] {
      writer.append(entry->value.value, entry->length);
    } else {
      const Reference reference{.open = open, .name_end = name_end, .close = close};
      const std::size_t used = writer.used();
      writer = Writer(used + expand(reference, hash_code, used));
    }
    read = close + 1;
    open = writer.append_literal(read, end);
  }
  EVAL_TRACE(traced_, "copy_length = %d", to_int(static_cast<std::size_t>(end - read)));
  if (open != nullptr) {
    writer.append(open, static_cast<std::size_t>(end - open));
  }
  // Every growth leaves a byte behind what is written, so the NUL fits even when the last failed.
  *writer.at() = '\0';
  EVAL_TRACE(traced_, "Returning string = %s, length = %d", output_buffer.data(),
             to_int(writer.used()));
  return output_buffer.data();
}

[[gnu::noinline]] std::size_t Evaluation::expand(const Reference& reference, int hash_code,
                                                 std::size_t used) const noexcept {
  EVAL_TRACE(traced_, "var_name = %s", NameText(reference.name()).text);
  EVAL_TRACE(traced_, "var_hashcode = %ld", static_cast<long>(hash_code));
  if (hash_code == kNotFound) [[unlikely]] {
    return expand_indexed(reference, used);
  }
  const VarTransTableEntry& variable = context_.variable(hash_code);
  const UserVarEntry* entry = context_.value_entry(variable);
  if (entry == nullptr) {
    return expand_computed(reference, variable, used);
  }
  if (is_array(entry)) {
    return append(element_value(*entry, 1), used);
  }
  const Value value{.text = entry->value.value, .length = entry->length};
  EVAL_TRACE(traced_, "Variable %s is not an array variable", NameText(reference.name()).text);
  EVAL_TRACE(traced_, "Evalutaled str is %s, len = %d",
             value.text != nullptr ? value.text : "(null)", to_int(value.length));
  return append(value, used);
}

[[gnu::noinline]] std::size_t Evaluation::expand_computed(const Reference& reference,
                                                          const VarTransTableEntry& variable,
                                                          std::size_t used) const noexcept {
  if (variable.var_type == VSD_GLOBAL_INDEX_VAR) {
    VSD_TRACE_AS("wz_eval_string_ex", WZLB_LEVEL_4, kModuleIndexVar,
                 "GLOBAL INDEX VAR PARAMETER IN wz_eval_string");
    return 0;
  }
  // The flag of the entry counts before the kind, except for dates.
  const UserVarEntry* entry = context_.any_entry(variable);
  if (is_array(entry) && variable.var_type != VSD_DATE_VAR) {
    return append(element_value(*entry, 1), used);
  }
  EVAL_TRACE(traced_, "Variable %s is not an array variable", NameText(reference.name()).text);
  ValueStorage storage;
  return append(computed_value(context_, variable, reference.name_end, storage), used);
}

[[gnu::noinline]] std::size_t Evaluation::expand_indexed(const Reference& reference,
                                                         std::size_t used) const noexcept {
  const ArrayReference array = find_array_reference(context_, reference.name());
  if (array.hash_code == kNotFound || array.index == 0) {
    EVAL_TRACE(traced_, "hashcode not found");
    return append_unchanged(reference, used);
  }
  const UserVarEntry& entry = *context_.value_entry(context_.variable(array.hash_code));
  return array.index == kCountIndex ? expand_count(entry, used)
                                    : expand_element(reference, entry, array.index, used);
}

std::size_t Evaluation::expand_count(const UserVarEntry& entry, std::size_t used) const noexcept {
  if (is_array(&entry)) {
    // An empty array's count is deliberately the empty text, not "0": templates use it as "none".
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, entry.length).ptr;
    const auto length = entry.length > 0 ? static_cast<std::size_t>(end - digits) : 0;
    EVAL_TRACE(traced_, "in count case and var length is %d", to_int(length));
    return append_bytes(digits, length, used);
  }
  EVAL_TRACE(traced_, "Variable is not an array variable and used with _count");
  const bool has_value = entry.value.value != nullptr;
  if (has_value) {
    EVAL_TRACE(traced_,
               "Variable is not an array variable and used with _count, value in user var table is "
               "found");
  } else {
    EVAL_TRACE(traced_,
               "Variable is not an array variable and used with _count, value in user var table "
               "not found");
  }
  const char* text = has_value ? "1" : "0";
  EVAL_TRACE(traced_, "value of buf_ptr=%s", text);
  return append_bytes(text, 1, used);
}

std::size_t Evaluation::expand_element(const Reference& reference, const UserVarEntry& entry,
                                       int index, std::size_t used) const noexcept {
  EVAL_TRACE(traced_,
             "Variable %s is an array variable. array_idx = %d, "
             "cur_cptr->uvtable[uservar_idx].length = %d",
             NameText(reference.name()).text, index, static_cast<int>(entry.length));
  if (static_cast<unsigned>(index) > entry.length) {
    std::fprintf(stderr, "Invalid index of the variable. Index = %d, Count = %d\n", index,
                 static_cast<int>(entry.length));
    return append_unchanged(reference, used);
  }
  return append(element_value(entry, index), used);
}

// The result of an earlier evaluation is a template of its own: keep it from its successor.
[[gnu::noinline, gnu::cold]] char* evaluate_copy(const Evaluation& evaluation,
                                                 const char* text) noexcept {
  const TrackedText copy =
      copy_text(text, static_cast<long>(std::strlen(text)), WZ_BLOCK_OWNER("template"));
  char none[1] = "";
  return evaluation.run(copy != nullptr ? copy.get() : none);
}

char* evaluate(char* string, int flag) noexcept {
  char none[1] = "";
  char* text = string != nullptr ? string : none;
  const Evaluation evaluation(flag, text);
  static_cast<void>(output_buffer.reserve(0, 0));  // even nothing is written to a buffer
  return output_buffer.holds(text) ? evaluate_copy(evaluation, text) : evaluation.run(text);
}

}  // namespace
}  // namespace wz::script

char* wz_eval_string_ex(char* string, int flag) {
  return wz::script::evaluate(string, flag);
}

char* wz_eval_string(char* string) {
  return wz::script::evaluate(string, WZ_FLAG_NONE);
}

char* wz_eval_string_buf(char* string, char* buff) {
  using namespace wz::script;
  constexpr std::size_t kMaxLength = 4096;
  if (buff == nullptr) {
    return nullptr;
  }
  const char* expanded = evaluate(string, WZ_FLAG_NONE);
  const std::size_t length = strnlen(expanded, kMaxLength + 1);
  if (length > kMaxLength) {
    VSD_TRACE_AS("wz_eval_string_buf", WZLB_LEVEL_1, kModuleApi,
                 "ERROR: parameter value is more than %d, so ignoring remaining value",
                 to_int(kMaxLength));
  }
  const std::size_t kept = length < kMaxLength ? length : kMaxLength;
  std::memcpy(buff, expanded, kept);
  std::memset(buff + kept, 0, kMaxLength + 1 - kept);
  return buff;
}

// Writes to the caller's position as long as the evaluation buffer has not to grow for the value.
int apply_encode_decode(char* value, int len, char* buf_ptr, int flag, int total_copied) {
  using namespace wz::script;
  if (len < 0 || total_copied < 0 ||
      !has_value({.text = value, .length = static_cast<std::size_t>(len)},
                 evaluation_is_traced())) {
    return 0;
  }
  UrlText coded;
  if (is_coding_flag(flag)) {
    coded = code_value({.text = value, .length = static_cast<std::size_t>(len)}, flag);
    if (coded == nullptr) {
      return 0;
    }
    value = coded.get();
    len = to_int(std::strlen(value));
  }
  if (buf_ptr == nullptr && output_buffer.data() != nullptr) {
    buf_ptr = output_buffer.data() + total_copied;
  }
  char* const at = check_string_buf(total_copied, len, buf_ptr);
  if (at == nullptr) {
    return 0;
  }
  std::memcpy(at, value, static_cast<std::size_t>(len));
  return len;
}
