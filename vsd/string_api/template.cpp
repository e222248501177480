// Template evaluation: `{name}` in a text stands for the value of a variable of the service.
//
// A reference is a `{`, a name, optional further text and the first `}` behind it; the name ends at
// a comma, a blank, a tab or the `}`. A reference to nothing is copied as it stands. Nothing here
// fails as a whole: each problem costs one reference and is reported in the host's debug log.
#include <wz/wz_script.h>

#include <charconv>
#include <cstdio>
#include <cstring>

#include "vsd/string_api/context.h"
#include "vsd/string_api/output_buffer.h"
#include "vsd/string_api/template_values.h"
#include "vsd/string_api/url_codec.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

// Copies bytes behind the `used` bytes of the output buffer; returns how many were written, which
// is none when the buffer could not grow.
inline int append_bytes(const char* bytes, int length, int used) noexcept {
  if (length <= 0 || used < 0 || !output_buffer.reserve(used, length)) {
    return 0;
  }
  std::memcpy(output_buffer.data() + used, bytes, static_cast<std::size_t>(length));
  return length;
}

int append_coded(const char* value, int length, int flag, int used) noexcept {
  const UrlText coded = url_coded(value, length, flag);
  if (coded == nullptr) {
    return 0;
  }
  const int coded_length = to_int(std::strlen(coded.get()));
  if (flag == WZ_FLAG_URL_ENCODE) {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Encoded variable value = %s, variable length = %d",
              coded.get(), coded_length);
  } else {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Decoded variable value = %s, variable length = %d",
              coded.get(), coded_length);
  }
  return append_bytes(coded.get(), coded_length, used);
}

// Writes one value as the encoding flag says; returns the bytes written.
int append_value(Value value, int flag, int used) noexcept {
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called");
  if (value.text == nullptr) {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi,
              "Value of parameter is NULL. It will not go in buffer, returning from here");
    return 0;
  }
  return is_coding_flag(flag) ? append_coded(value.text, value.length, flag, used)
                              : append_bytes(value.text, value.length, used);
}

// One reference of a template.
struct Reference {
  char* open;      // its `{`
  char* name_end;  // the character that ended the name
  char* close;     // its `}`

  Reference(char* open_brace, char* close_brace) noexcept
      : open(open_brace), name_end(open_brace + 1), close(close_brace) {
    while (name_end != close && *name_end != ',' && *name_end != ' ' && *name_end != '\t') {
      ++name_end;
    }
  }

  [[nodiscard]] std::string_view name() const noexcept {
    return {open + 1, static_cast<std::size_t>(name_end - open - 1)};
  }
};

class Evaluation {
 public:
  explicit Evaluation(int flag) noexcept : context_(Context::current()), flag_(flag) {}

  // Expands `text` into the output buffer and returns the buffer.
  char* run(char* text, std::size_t length) noexcept;

 private:
  void expand(const Reference& reference) noexcept;
  void expand_direct(const Reference& reference, int hash_code) noexcept;
  void expand_count(const UserVarEntry& entry) noexcept;
  void expand_element(const Reference& reference, const VarTransTableEntry& variable,
                      int index) noexcept;

  void write(const char* bytes, std::ptrdiff_t length) noexcept {
    used_ += append_bytes(bytes, to_int(static_cast<std::size_t>(length)), used_);
  }
  void write_value(Value value) noexcept { used_ += append_value(value, flag_, used_); }
  void write_unchanged(const Reference& reference) noexcept {
    write(reference.open, reference.close + 1 - reference.open);
  }
  // Every reservation leaves a byte behind it, so the NUL fits even when growth fails here.
  void terminate() noexcept {
    (void)output_buffer.reserve(used_, 0);
    output_buffer.data()[used_] = '\0';
  }

  Context context_;
  int flag_;
  int used_ = 0;
};

char* Evaluation::run(char* text, std::size_t length) noexcept {
  char* const end = text + length;
  char* read = text;
  const auto find = [end](char* from, char brace) {
    return static_cast<char*>(std::memchr(from, brace, static_cast<std::size_t>(end - from)));
  };
  while (char* open = find(read, '{')) {
    char* close = find(open, '}');
    if (close == nullptr) {
      break;  // no reference: the rest is literal text
    }
    write(read, open - read);
    expand(Reference(open, close));
    read = close + 1;
  }
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "copy_length = %d",
            to_int(static_cast<std::size_t>(end - read)));
  write(read, end - read);
  terminate();
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Returning string = %s, length = %d", output_buffer.data(),
            used_);
  return output_buffer.data();
}

void Evaluation::expand(const Reference& reference) noexcept {
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "var_name = %s", NameText(reference.name()).text);
  const int hash_code = context_.find(reference.name());
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "var_hashcode = %ld", static_cast<long>(hash_code));
  if (hash_code != kNotFound) {
    expand_direct(reference, hash_code);
    return;
  }
  const ArrayReference array = find_array_reference(context_, reference.name());
  if (array.hash_code == kNotFound || array.index == 0) {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "hashcode not found");
    write_unchanged(reference);
    return;
  }
  const VarTransTableEntry& variable = context_.variable(array.hash_code);
  if (array.index == kCountIndex) {
    expand_count(*context_.value_entry(variable));
  } else {
    expand_element(reference, variable, array.index);
  }
}

void Evaluation::expand_direct(const Reference& reference, int hash_code) noexcept {
  const VarTransTableEntry& variable = context_.variable(hash_code);
  if (variable.var_type == VSD_GLOBAL_INDEX_VAR) {
    VSD_TRACE(WZLB_LEVEL_4, kModuleIndexVar, "GLOBAL INDEX VAR PARAMETER IN wz_eval_string");
    return;
  }
  if (const UserVarEntry* entry = context_.value_entry(variable); is_array(entry)) {
    write_value(element_value(*entry, 1));
    return;
  }
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Variable %s is not an array variable",
            NameText(reference.name()).text);
  ValueStorage storage;
  write_value(variable_value(context_, variable, reference.name_end, storage));
}

void Evaluation::expand_count(const UserVarEntry& entry) noexcept {
  if (is_array(&entry)) {
    // An empty array's count is deliberately the empty text, not "0": templates use it as "none".
    char digits[16];
    const auto end = std::to_chars(digits, digits + sizeof digits, entry.length).ptr;
    const std::ptrdiff_t length = entry.length > 0 ? end - digits : 0;
    write(digits, length);
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "in count case and var length is %d",
              static_cast<int>(length));
    return;
  }
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Variable is not an array variable and used with _count");
  if (entry.value.value != nullptr) {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi,
              "Variable is not an array variable and used with _count, value in user var table is "
              "found");
    write("1", 1);
  } else {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi,
              "Variable is not an array variable and used with _count, value in user var table not "
              "found");
    write("0", 1);
  }
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "value of buf_ptr=%s",
            entry.value.value != nullptr ? "1" : "0");
}

void Evaluation::expand_element(const Reference& reference, const VarTransTableEntry& variable,
                                int index) noexcept {
  const UserVarEntry& entry = *context_.value_entry(variable);
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi,
            "Variable %s is an array variable. array_idx = %d, "
            "cur_cptr->uvtable[uservar_idx].length = %d",
            NameText(reference.name()).text, index, static_cast<int>(entry.length));
  if (static_cast<unsigned>(index) > entry.length) {
    std::fprintf(stderr, "Invalid index of the variable. Index = %d, Count = %d\n", index,
                 static_cast<int>(entry.length));
    write_unchanged(reference);
    return;
  }
  write_value(element_value(entry, index));
}

}  // namespace
}  // namespace wz::script

char* wz_eval_string_ex(char* string, int flag) {
  using namespace wz::script;
  char none[1] = "";
  char* text = string != nullptr ? string : none;
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called. string = %s, flag = %d", text, flag);
  const std::size_t length = std::strlen(text);
  TrackedText copy;
  if (output_buffer.holds(text)) {
    // The result of an earlier evaluation is a template of its own: keep it from its successor.
    copy = copy_text(text, static_cast<long>(length), WZ_BLOCK_OWNER("template"));
    text = copy != nullptr ? copy.get() : none;
    return Evaluation(flag).run(text, copy != nullptr ? length : 0);
  }
  return Evaluation(flag).run(text, length);
}

char* wz_eval_string(char* string) {
  return wz_eval_string_ex(string, WZ_FLAG_NONE);
}

char* wz_eval_string_buf(char* string, char* buff) {
  using namespace wz::script;
  constexpr int kMaxLength = 4096;
  if (buff == nullptr) {
    return nullptr;
  }
  const char* expanded = wz_eval_string(string);
  const std::size_t length = strnlen(expanded, kMaxLength + 1);
  if (length > kMaxLength) {
    VSD_TRACE(WZLB_LEVEL_1, kModuleApi,
              "ERROR: parameter value is more than %d, so ignoring remaining value", kMaxLength);
  }
  const std::size_t kept = length < kMaxLength ? length : kMaxLength;
  std::memcpy(buff, expanded, kept);
  std::memset(buff + kept, 0, kMaxLength + 1 - kept);
  return buff;
}

int apply_encode_decode(char* value, int len, char* /*buf_ptr*/, int flag, int total_copied) {
  return wz::script::append_value({.text = value, .length = len}, flag, total_copied);
}
