// Addresses, telephones and the world.
#include "libwzfaker/faker_class.h"

namespace wz::faker {
namespace {

constexpr Rule kLatitudeRules[] = {real(Key::min, -90, 90, -90), real(Key::max, -90, 90, 90),
                                   whole(Key::digits, 0, 12, 6)};
constexpr Rule kLongitudeRules[] = {real(Key::min, -180, 180, -180), real(Key::max, -180, 180, 180),
                                    whole(Key::digits, 0, 12, 6)};

void make_coordinate(Draw& draw) {
  append_decimal(draw.out,
                 draw.random.real(draw.arguments.number(Key::min), draw.arguments.number(Key::max)),
                 static_cast<int>(draw.arguments.integer(Key::digits)));
}

void make_coordinates(Draw& draw) {
  append_decimal(draw.out, draw.random.real(-90, 90), 6);
  draw.out += ',';
  append_decimal(draw.out, draw.random.real(-180, 180), 6);
}

constexpr ClassDefinition kClasses[] = {
    {"address.full", "street, number, postcode and city", from_list<Section::address>, kLocaleRule},
    {"address.street_address", "street and number", from_list<Section::street_address>,
     kLocaleRule},
    {"address.street", "street", from_list<Section::street>, kLocaleRule},
    {"address.building_number", "house number", from_list<Section::building>, kLocaleRule},
    {"address.city", "city of the locale's country", from_list<Section::city>, kLocaleRule},
    {"address.postcode", "postcode", from_list<Section::postcode>, kLocaleRule},
    {"address.state", "state or region of the locale's country", from_list<Section::state>,
     kLocaleRule},
    {"address.state_code", "its code", from_list<Section::state_code>, kLocaleRule},
    {"address.country", "name of a country", from_list<Section::country>, kLocaleRule},
    {"address.country_code", "country, two letters", from_list<Section::country, 1>},
    {"address.country_code3", "country, three letters", from_list<Section::country, 2>},
    {"address.country_number", "country, three digits", from_list<Section::country, 3>},
    {"address.country_flag", "flag of a country", from_list<Section::country, 4>},
    {"address.capital", "capital of a country", from_list<Section::capital>},
    {"address.world_city", "large city of the world", from_list<Section::world_city>},
    {"address.time_zone", "time zone", from_list<Section::time_zone>},
    {"address.airport", "airport", from_list<Section::airport>},
    {"address.airport_code", "airport, three letters", from_list<Section::airport, 1>},
    {"address.latitude", "degrees north", make_coordinate, kLatitudeRules},
    {"address.longitude", "degrees east", make_coordinate, kLongitudeRules},
    {"address.coordinates", "latitude and longitude", make_coordinates},
    {"phone.number", "telephone number", from_list<Section::phone>, kLocaleRule},
    {"phone.mobile", "mobile telephone number", from_list<Section::mobile>, kLocaleRule},
    {"phone.international", "telephone number with country code",
     from_list<Section::phone_international>, kLocaleRule},
};

}  // namespace

std::span<const ClassDefinition> place_classes() {
  return kClasses;
}

}  // namespace wz::faker
