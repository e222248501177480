// EBCDIC by table. The tables are not a full code page: they carry printable ASCII and what the
// terminals behind the recorded services send for brackets, caret and bar.
#include <wz/wzlb_encode_decode.h>

#include <array>
#include <string_view>

#include "libwzcore/wzlb_encode_decode/tracked_buffer.h"

namespace wz {
namespace {

using TranslationTable = std::array<unsigned char, 256>;

constexpr unsigned char kFirstPrintable = 0x20;

// IBM code page 037 for the printable ASCII characters, 0x20 to 0x7E.
constexpr std::array<unsigned char, 95> kCodePage037 = {
    // clang-format off
    0x40, 0x5A, 0x7F, 0x7B, 0x5B, 0x6C, 0x50, 0x7D, 0x4D, 0x5D, 0x5C, 0x4E, 0x6B, 0x60, 0x4B, 0x61,
    0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0x7A, 0x5E, 0x4C, 0x7E, 0x6E, 0x6F,
    0x7C, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6,
    0xD7, 0xD8, 0xD9, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8, 0xE9, 0xBA, 0xE0, 0xBB, 0xB0, 0x6D,
    0x79, 0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x91, 0x92, 0x93, 0x94, 0x95, 0x96,
    0x97, 0x98, 0x99, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xC0, 0x4F, 0xD0, 0xA1,
    // clang-format on
};

constexpr TranslationTable ASCII_translate_EBCDIC = [] {
  TranslationTable table{};
  table.fill(0x4B);
  for (unsigned char code = 0; code < kFirstPrintable; ++code) {
    table[code] = code;
  }
  for (std::size_t index = 0; index < kCodePage037.size(); ++index) {
    table[kFirstPrintable + index] = kCodePage037[index];
  }
  table['['] = 0xAD;
  table[']'] = 0xBD;
  table['^'] = 0x5F;
  table['`'] = 0x7D;  // the code of the apostrophe, so a backquote comes back as one
  table['|'] = 0x6A;
  return table;
}();

constexpr TranslationTable EBCDIC_translate_ASCII = [] {
  TranslationTable table{};
  table.fill('.');
  for (unsigned char code = 0; code < 0x40; ++code) {
    table[code] = code;
  }
  table[0x30] = table[0x31] = table[0x3E] = '.';
  for (std::size_t index = 0; index < kCodePage037.size(); ++index) {
    table[kCodePage037[index]] = static_cast<unsigned char>(kFirstPrintable + index);
  }
  table[0x5F] = '^';
  table[0x6A] = '|';
  table[0xAD] = '[';
  table[0xBD] = ']';
  return table;
}();

// Writes `length` bytes and a NUL behind them; nothing for no bytes.
void translate(const unsigned char* input, int length, char* output,
               const TranslationTable& table) noexcept {
  for (std::size_t index = 0; index < positive(length); ++index) {
    output[index] = static_cast<char>(table[input[index]]);
  }
  if (length > 0) {
    output[length] = '\0';
  }
}

}  // namespace
}  // namespace wz

void EBCDIC_to_ASCII(unsigned char* input, int len, char* output, int* /*con_len*/) {
  wz::translate(input, len, output, wz::EBCDIC_translate_ASCII);
}

void ASCII_to_EBCDIC(unsigned char* input, int len, char* output, int* /*con_len*/) {
  wz::translate(input, len, output, wz::ASCII_translate_EBCDIC);
}

// Both report twice the real length, from the hex form that they replaced: callers take it as an
// upper bound.
char* wzlb_ebcdic_to_ascii(char* in, int len, int* con_len) {
  *con_len = static_cast<int>(2L * len);
  char* text = wz::tracked_buffer(2L * len + 1, "Malloc buffer for encodeing EBCDIC TO ASCII");
  EBCDIC_to_ASCII(reinterpret_cast<unsigned char*>(in), len, text, con_len);
  return text;
}

char* wzlb_ascii_to_ebcdic(char* in, int len, int* con_len) {
  *con_len = static_cast<int>(2L * len);
  char* text = wz::tracked_buffer(2L * len + 1, "Malloc buffer for encodeing ASCII TO EBCDIC");
  ASCII_to_EBCDIC(reinterpret_cast<unsigned char*>(in), len, text, con_len);
  return text;
}
