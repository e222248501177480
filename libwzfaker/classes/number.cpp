// Numbers.
#include "libwzfaker/faker_class.h"

namespace wz::faker {
namespace {

constexpr Rule kIntegerRules[] = {whole(Key::min, -kLargestWhole, kLargestWhole, 0),
                                  whole(Key::max, -kLargestWhole, kLargestWhole, 1000000)};
constexpr Rule kDecimalRules[] = {real(Key::min, -1e15, 1e15, 0), real(Key::max, -1e15, 1e15, 1000),
                                  whole(Key::digits, 0, 15, 2)};
constexpr Rule kDigitsRules[] = {whole(Key::length, 1, 4096, 6)};

void make_integer(Draw& draw) {
  append_number(draw.out, draw.random.between(draw.arguments.integer(Key::min),
                                              draw.arguments.integer(Key::max)));
}

void make_decimal(Draw& draw) {
  append_decimal(draw.out,
                 draw.random.real(draw.arguments.number(Key::min), draw.arguments.number(Key::max)),
                 static_cast<int>(draw.arguments.integer(Key::digits)));
}

void make_digits(Draw& draw) {
  append_digits(draw, static_cast<std::size_t>(draw.arguments.integer(Key::length)));
}

void make_boolean(Draw& draw) {
  draw.out += draw.random.below(2) == 0 ? "false" : "true";
}

void make_percentage(Draw& draw) {
  append_number(draw.out, draw.random.between(0, 100));
}

constexpr ClassDefinition kClasses[] = {
    {"number.integer", "whole number from min to max", make_integer, kIntegerRules},
    {"number.decimal", "number with digits behind the point", make_decimal, kDecimalRules},
    {"number.digits", "digits, zeros ahead too", make_digits, kDigitsRules},
    {"number.boolean", "true or false", make_boolean},
    {"number.percentage", "0 to 100", make_percentage},
};

}  // namespace

std::span<const ClassDefinition> number_classes() {
  return kClasses;
}

}  // namespace wz::faker
