// One draw of a value, and the steps that classes share.
#pragma once

#include <string>
#include <string_view>

#include "libwzfaker/arguments.h"
#include "libwzfaker/random.h"

namespace wz::faker {

// What a class makes its value from, and where it goes.
struct Draw {
  Random& random;
  const Arguments& arguments;
  std::string& out;
};

// Appends `text` with its placeholders filled: '#' is a digit, '%' a digit above 0, '?' a capital
// letter.
void expand(Draw& draw, std::string_view text);

// Appends a random value of a list: a column of one of its rows. Placeholders and references (see
// reference.h) in our own lists are filled.
void append_from(Draw& draw, Section section, std::size_t column = 0);

void append_digits(Draw& draw, std::size_t count);
void append_characters(Draw& draw, std::string_view characters, std::size_t count);
// Appends `number`, with zeros ahead up to `width`.
void append_number(std::string& out, std::int64_t number, int width = 1);
void append_decimal(std::string& out, double number, int digits);

// Appends `text` in the letters of names on the internet: lower case, accents dropped ("ß" is
// "ss"), everything else but digits replaced by `other`, or left out when that is NUL.
void append_plain(std::string& out, std::string_view text, char other);

// The same of what `append` appends.
template <typename Append>
void append_plain_of(Draw& draw, char other, Append append) {
  const std::size_t start = draw.out.size();
  append();
  const std::string text = draw.out.substr(start);
  draw.out.resize(start);
  append_plain(draw.out, text, other);
}

}  // namespace wz::faker
