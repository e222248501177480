// The classes of fake data, one table per subject.
#pragma once

#include <span>
#include <string_view>

#include "libwzfaker/draw.h"

namespace wz::faker {

using Maker = void (*)(Draw&);

struct ClassDefinition {
  const char* name;
  const char* description;
  Maker make;
  Rules rules = {};
};

// A maker that takes a column of a list.
template <Section section, std::size_t column = 0>
void from_list(Draw& draw) {
  append_from(draw, section, column);
}

[[nodiscard]] std::span<const ClassDefinition> person_classes();
[[nodiscard]] std::span<const ClassDefinition> place_classes();
[[nodiscard]] std::span<const ClassDefinition> business_classes();
[[nodiscard]] std::span<const ClassDefinition> finance_classes();
[[nodiscard]] std::span<const ClassDefinition> internet_classes();
[[nodiscard]] std::span<const ClassDefinition> code_classes();
[[nodiscard]] std::span<const ClassDefinition> date_classes();
[[nodiscard]] std::span<const ClassDefinition> text_classes();
[[nodiscard]] std::span<const ClassDefinition> number_classes();

}  // namespace wz::faker
