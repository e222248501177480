// Numbers out of variables, the two fixed slots of a connection, and the bounded copy that scripts
// are given in place of strcpy.
#include <wz/wz_script.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vsd/string_api/context.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

constexpr std::size_t kReferenceNameLimit = 4096;

// The text of `{var}`; null, after a message on standard output, when `var` cannot be a name.
const char* evaluate_name(const char* function, const char* var) noexcept {
  if (var == nullptr) {
    return nullptr;
  }
  const std::size_t length = std::strlen(var);
  if (length >= kReferenceNameLimit) {
    std::printf("%s: too big WZ variable name (%s)\n", function, var);
    return nullptr;
  }
  if (std::strchr(var, '{') != nullptr) {
    std::printf("Invalid WZ variable name (%s) contains {\n", var);
    return nullptr;
  }
  std::array<char, kReferenceNameLimit + 2> reference;
  std::snprintf(reference.data(), reference.size(), "{%s}", var);
  return wz_eval_string(reference.data());
}

double double_value(const char* function, const char* var) noexcept {
  const char* text = evaluate_name(function, var);
  return text != nullptr ? std::strtod(text, nullptr) : -1.0;
}

// Fills one of the connection's fixed slots; returns whether there was something to keep. Longer
// texts are cut to the slot.
template <std::size_t kSize>
bool fill_slot(char (&slot)[kSize], const char* text) noexcept {
  if (text == nullptr || *text == '\0') {
    return false;
  }
  const std::size_t length = strnlen(text, kSize - 1);
  std::memmove(slot, text, length);
  slot[length] = '\0';
  return true;
}

}  // namespace
}  // namespace wz::script

int wz_get_int_val(char* var) {
  const char* text = wz::script::evaluate_name(__func__, var);
  return text != nullptr ? static_cast<int>(std::strtol(text, nullptr, 10)) : -1;
}

double wz_get_float_val(char* var) {
  return wz::script::double_value(__func__, var);
}

double wz_get_double_val(char* var) {
  return wz::script::double_value(__func__, var);
}

int wz_chk_strcpy(char* dest, char* src, int dest_len) {
  using namespace wz::script;
  if (dest == nullptr || src == nullptr) {
    return -1;
  }
  const int source_length = to_int(std::strlen(src));
  VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Method called. src_len = %d, dest_buf_len = %d, src = %s",
            source_length, dest_len, src);
  if (source_length < dest_len) {
    std::memmove(dest, src, static_cast<std::size_t>(source_length) + 1);
    return 0;
  }
  if (dest_len <= 0) {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Destination length (%d) is not correct", dest_len);
    *dest = '\0';
    return -1;
  }
  VSD_TRACE(WZLB_LEVEL_1, kModuleApi,
            "Destination is truncated as source length (%d) is greater than destination buffer "
            "length (%d)",
            source_length, dest_len);
  std::memmove(dest, src, static_cast<std::size_t>(dest_len) - 1);
  dest[dest_len - 1] = '\0';
  return 1;
}

void wz_save_value_to_cptr(char* buff) {
  using namespace wz::script;
  connection* cptr = current_connection();
  if (cptr != nullptr && fill_slot(cptr->callback_variable, buff)) {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Saving value [%s], to cptr->callback_variable", buff);
  }
}

void wz_save_value1_to_cptr(char* buff) {
  using namespace wz::script;
  connection* cptr = current_connection();
  if (cptr != nullptr && fill_slot(cptr->callback_variable1, buff)) {
    VSD_TRACE(WZLB_LEVEL_3, kModuleApi, "Saving value [%s], to cptr->callback_variable1", buff);
  }
}

char* wz_get_value_from_cptr(void) {
  connection* cptr = wz::script::current_connection();
  return cptr != nullptr ? cptr->callback_variable : nullptr;
}

char* wz_get_value1_from_cptr(void) {
  connection* cptr = wz::script::current_connection();
  return cptr != nullptr ? cptr->callback_variable1 : nullptr;
}
