// Check digits of account, card and article numbers.
#pragma once

#include <string>
#include <string_view>

namespace wz::faker {

// The digit that makes `digits` and it pass the Luhn check.
constexpr char luhn_digit(std::string_view digits) {
  int sum = 0;
  bool doubled = true;  // counted from the right, beginning beside the check digit
  for (std::size_t i = digits.size(); i-- > 0; doubled = !doubled) {
    const int value = (digits[i] - '0') * (doubled ? 2 : 1);
    sum += value > 9 ? value - 9 : value;
  }
  return static_cast<char>('0' + (10 - sum % 10) % 10);
}

// The last digit of an EAN-8 or EAN-13 that begins with `digits`.
constexpr char ean_digit(std::string_view digits) {
  int sum = 0;
  int weight = 3;
  for (std::size_t i = digits.size(); i-- > 0; weight = 4 - weight) {
    sum += (digits[i] - '0') * weight;
  }
  return static_cast<char>('0' + (10 - sum % 10) % 10);
}

// The last character of an ISBN-10 that begins with nine digits.
constexpr char isbn10_digit(std::string_view digits) {
  int sum = 0;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    sum += (digits[i] - '0') * (10 - static_cast<int>(i));
  }
  const int rest = (11 - sum % 11) % 11;
  return rest == 10 ? 'X' : static_cast<char>('0' + rest);
}

// The remainder modulo 97 of a number written in digits and letters, of which A counts as 10.
constexpr int mod97(std::string_view characters, int start = 0) {
  int rest = start;
  for (const char c : characters) {
    rest = c >= 'A' ? (rest * 100 + (c - 'A' + 10)) % 97 : (rest * 10 + (c - '0')) % 97;
  }
  return rest;
}

// The two check digits of the IBAN of a country (two letters) and an account.
constexpr int iban_check(std::string_view country, std::string_view account) {
  return 98 - mod97("00", mod97(country, mod97(account)));
}

}  // namespace wz::faker
