// People.
#include "libwzfaker/faker_class.h"

namespace wz::faker {
namespace {

constexpr Rule kPersonRules[] = {choice(Key::locale, kLocaleNames, "en"),
                                 choice(Key::gender, "any|female|male", "any")};
constexpr Rule kAgeRules[] = {whole(Key::min, 0, 150, 18), whole(Key::max, 0, 150, 90)};

// A maker whose list depends on the gender.
template <Section any, Section female, Section male>
void by_gender(Draw& draw) {
  const std::string_view gender = draw.arguments.text(Key::gender);
  append_from(draw, gender == "female" ? female : gender == "male" ? male : any);
}

void make_initials(Draw& draw) {
  expand(draw, "?.?.");
}

void make_age(Draw& draw) {
  append_number(draw.out, draw.random.between(draw.arguments.integer(Key::min),
                                              draw.arguments.integer(Key::max)));
}

constexpr ClassDefinition kClasses[] = {
    {"person.name", "given and family name",
     by_gender<Section::name, Section::name_female, Section::name_male>, kPersonRules},
    {"person.formal_name", "name with a form of address", from_list<Section::formal_name>,
     kLocaleRule},
    {"person.given_name", "given name",
     by_gender<Section::given_name, Section::given_female, Section::given_male>, kPersonRules},
    {"person.family_name", "family name", from_list<Section::family_name>, kLocaleRule},
    {"person.prefix", "form of address",
     by_gender<Section::prefix, Section::prefix_female, Section::prefix_male>, kPersonRules},
    {"person.initials", "two initials", make_initials},
    {"person.gender", "female or male", from_list<Section::gender>},
    {"person.age", "age in years", make_age, kAgeRules},
    {"person.nationality_code", "country of citizenship, two letters",
     from_list<Section::country, 1>},
    {"person.language", "name of a language", from_list<Section::language>, kLocaleRule},
    {"person.language_code", "language, two letters", from_list<Section::language, 1>},
};

}  // namespace

std::span<const ClassDefinition> person_classes() {
  return kClasses;
}

}  // namespace wz::faker
