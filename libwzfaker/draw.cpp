#include "libwzfaker/draw.h"

#include <array>
#include <charconv>
#include <cstdio>

#include "libwzfaker/reference.h"

namespace wz::faker {
namespace {

constexpr std::string_view kCapitals = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";

// U+00C0 to U+00FF without accents, in lower case.
constexpr std::array<std::string_view, 64> kLatin = {
    "a", "a", "a", "a", "ae", "a", "ae", "c", "e", "e", "e", "e", "i",  "i", "i",  "i",
    "d", "n", "o", "o", "o",  "o", "oe", "",  "o", "u", "u", "u", "ue", "y", "th", "ss",
    "a", "a", "a", "a", "ae", "a", "ae", "c", "e", "e", "e", "e", "i",  "i", "i",  "i",
    "d", "n", "o", "o", "o",  "o", "oe", "",  "o", "u", "u", "u", "ue", "y", "th", "y"};

char digit(Random& random) {
  return static_cast<char>('0' + random.below(10));
}

}  // namespace

void expand(Draw& draw, std::string_view text) {
  for (const char c : text) {
    switch (c) {
      case '#':
        draw.out += digit(draw.random);
        break;
      case '%':
        draw.out += static_cast<char>('1' + draw.random.below(9));
        break;
      case '?':
        draw.out += draw.random.one_of(kCapitals);
        break;
      default:
        draw.out += c;
    }
  }
}

void append_from(Draw& draw, Section section, std::size_t column) {
  const Table& table = table_of(section, draw.arguments.locale());
  std::string_view cell =
      table.cell(static_cast<std::size_t>(draw.random.below(table.rows)), column);
  if (!table.is_template) {
    draw.out += cell;
    return;
  }
  // The generator has seen to it that a number follows each announcement.
  for (std::size_t at = cell.find(kReference); at != std::string_view::npos;
       at = cell.find(kReference)) {
    expand(draw, cell.substr(0, at));
    const int number = static_cast<unsigned char>(cell[at + 1]) - kReferenceBase;
    append_from(draw, static_cast<Section>(number));
    cell.remove_prefix(at + 2);
  }
  expand(draw, cell);
}

void append_digits(Draw& draw, std::size_t count) {
  for (; count > 0; --count) {
    draw.out += digit(draw.random);
  }
}

void append_characters(Draw& draw, std::string_view characters, std::size_t count) {
  for (; count > 0; --count) {
    draw.out += draw.random.one_of(characters);
  }
}

void append_number(std::string& out, std::int64_t number, int width) {
  std::array<char, 24> text{};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), number);
  const std::string_view digits(text.data(), static_cast<std::size_t>(end - text.data()));
  for (auto length = static_cast<int>(digits.size()); length < width; ++length) {
    out += '0';
  }
  out += digits;
}

void append_decimal(std::string& out, double number, int digits) {
  std::array<char, 400> text{};  // the largest double has 309 digits ahead of the point
  std::snprintf(text.data(), text.size(), "%.*f", digits, number);
  out += text.data();
}

void append_plain(std::string& out, std::string_view text, char other) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
      out += c;
    } else if (c >= 'A' && c <= 'Z') {
      out += static_cast<char>(c | 0x20);
    } else if (c == '\xc3' && i + 1 < text.size()) {
      out += kLatin[static_cast<unsigned char>(text[++i]) & 0x3fU];
    } else if (other != '\0' && !out.ends_with(other) && c != '\'' &&
               static_cast<unsigned char>(c) < 0x80) {
      out += other;
    }
  }
  while (other != '\0' && out.ends_with(other)) {
    out.pop_back();
  }
}

}  // namespace wz::faker
