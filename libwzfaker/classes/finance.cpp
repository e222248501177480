// Money: accounts, cards, currencies. Numbers pass their checks and belong to nobody that we know.
#include <algorithm>

#include "libwzfaker/classes/check_digits.h"
#include "libwzfaker/faker_class.h"

namespace wz::faker {
namespace {

// The account part of an IBAN by country: '#' is a digit, '?' a letter.
struct IbanForm {
  std::string_view country;
  std::string_view account;
};
constexpr IbanForm kIbanForms[] = {
    {"AT", "################"},         {"BE", "##########"},  // and its own two check digits
    {"CH", "#################"},        {"DE", "##################"},
    {"DK", "##############"},           {"FI", "##############"},
    {"GB", "????##############"},       {"IE", "????##############"},
    {"LU", "################"},         {"NL", "????##########"},
    {"PL", "########################"}, {"SE", "####################"},
};
constexpr std::string_view kIbanCountries = "any|AT|BE|CH|DE|DK|FI|GB|IE|LU|NL|PL|SE";

struct CardBrand {
  std::string_view name;
  std::string_view start;
  std::size_t length;
  std::size_t code_length;  // of the code on the card
};
constexpr CardBrand kCardBrands[] = {
    {"visa", "4", 16, 3},        {"mastercard", "5%", 16, 3}, {"amex", "37", 15, 4},
    {"discover", "6011", 16, 3}, {"jcb", "3528", 16, 3},
};
constexpr std::string_view kBrandNames = "any|visa|mastercard|amex|discover|jcb";

constexpr Rule kIbanRules[] = {choice(Key::country, kIbanCountries, "any")};
constexpr Rule kCardRules[] = {choice(Key::brand, kBrandNames, "any")};
constexpr Rule kAmountRules[] = {real(Key::min, -1e12, 1e12, 1), real(Key::max, -1e12, 1e12, 1000),
                                 whole(Key::digits, 0, 8, 2)};
constexpr Rule kAccountRules[] = {whole(Key::length, 1, 64, 10)};

// The row whose member is `wanted`, or any.
template <typename Row, std::size_t Count>
const Row& choose(Draw& draw, const Row (&rows)[Count], std::string_view Row::*member,
                  std::string_view wanted) {
  const auto* found = std::find_if(std::begin(rows), std::end(rows),
                                   [&](const Row& row) { return row.*member == wanted; });
  return found != std::end(rows) ? *found : rows[draw.random.below(Count)];
}

void make_iban(Draw& draw) {
  const IbanForm& form =
      choose(draw, kIbanForms, &IbanForm::country, draw.arguments.text(Key::country));
  draw.out += form.country;
  const std::size_t check_at = draw.out.size();
  expand(draw, form.account);
  if (form.country == "BE") {
    const int rest = mod97(std::string_view(draw.out).substr(check_at));
    append_number(draw.out, rest == 0 ? 97 : rest, 2);
  }
  std::string check;
  append_number(check, iban_check(form.country, std::string_view(draw.out).substr(check_at)), 2);
  draw.out.insert(check_at, check);
}

void make_bic(Draw& draw) {
  expand(draw, "????");
  append_from(draw, Section::country, 1);
  expand(draw, "??");
  if (draw.random.below(2) == 0) {
    draw.out += "XXX";
  }
}

const CardBrand& choose_brand(Draw& draw) {
  return choose(draw, kCardBrands, &CardBrand::name, draw.arguments.text(Key::brand));
}

void make_card(Draw& draw) {
  const CardBrand& brand = choose_brand(draw);
  const std::size_t start = draw.out.size();
  if (brand.start == "5%") {
    draw.out += '5';
    draw.out += draw.random.one_of("12345");
  } else {
    draw.out += brand.start;
  }
  append_digits(draw, brand.length - 1 - (draw.out.size() - start));
  draw.out += luhn_digit(std::string_view(draw.out).substr(start));
}

void make_card_code(Draw& draw) {
  append_digits(draw, choose_brand(draw).code_length);
}

void make_card_expiry(Draw& draw) {
  append_number(draw.out, draw.random.between(1, 12), 2);
  draw.out += '/';
  append_number(draw.out, draw.random.between(30, 49), 2);
}

void make_card_brand(Draw& draw) {
  draw.out += kCardBrands[draw.random.below(std::size(kCardBrands))].name;
}

void make_amount(Draw& draw) {
  append_decimal(draw.out,
                 draw.random.real(draw.arguments.number(Key::min), draw.arguments.number(Key::max)),
                 static_cast<int>(draw.arguments.integer(Key::digits)));
}

void make_account(Draw& draw) {
  append_digits(draw, static_cast<std::size_t>(draw.arguments.integer(Key::length)));
}

constexpr ClassDefinition kClasses[] = {
    {"finance.iban", "account number with valid check digits", make_iban, kIbanRules},
    {"finance.bic", "bank identifier", make_bic},
    {"finance.account_number", "account number without a check", make_account, kAccountRules},
    {"finance.credit_card", "card number with a valid check digit", make_card, kCardRules},
    {"finance.card_brand", "brand of a card", make_card_brand},
    {"finance.card_code", "code on the back of a card", make_card_code, kCardRules},
    {"finance.card_expiry", "month and year to come", make_card_expiry},
    {"finance.amount", "amount of money", make_amount, kAmountRules},
    {"finance.currency", "name of a currency", from_list<Section::currency>, kLocaleRule},
    {"finance.currency_code", "currency, three letters", from_list<Section::currency, 1>},
    {"finance.currency_number", "currency, three digits", from_list<Section::currency, 2>},
    {"finance.transaction", "kind of transaction", from_list<Section::transaction>},
};

}  // namespace

std::span<const ClassDefinition> finance_classes() {
  return kClasses;
}

}  // namespace wz::faker
