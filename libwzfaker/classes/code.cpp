// Identifiers, versions, files and colours.
#include "libwzfaker/classes/check_digits.h"
#include "libwzfaker/faker_class.h"

namespace wz::faker {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";
constexpr std::string_view kUlidDigits = "0123456789ABCDEFGHJKMNPQRSTVWXYZ";
constexpr Rule kHexRules[] = {whole(Key::length, 1, 4096, 16)};

template <std::size_t length>
void make_hex(Draw& draw) {
  append_characters(draw, kHexDigits, length);
}

void make_hex_of_length(Draw& draw) {
  append_characters(draw, kHexDigits,
                    static_cast<std::size_t>(draw.arguments.integer(Key::length)));
}

void make_uuid(Draw& draw) {
  make_hex<8>(draw);
  draw.out += '-';
  make_hex<4>(draw);
  draw.out += "-4";  // the version: random
  make_hex<3>(draw);
  draw.out += '-';
  draw.out += draw.random.one_of("89ab");  // the variant
  make_hex<3>(draw);
  draw.out += '-';
  make_hex<12>(draw);
}

void make_ulid(Draw& draw) {
  draw.out += "01";  // of these years
  append_characters(draw, kUlidDigits, 24);
}

// Digits behind `start`, `length` with the check digit.
void make_checked(Draw& draw, std::string_view start, std::size_t length,
                  char (*check)(std::string_view)) {
  const std::size_t begin = draw.out.size();
  draw.out += start;
  append_digits(draw, length - 1 - start.size());
  draw.out += check(std::string_view(draw.out).substr(begin));
}

void make_ean13(Draw& draw) {
  make_checked(draw, "2", 13, ean_digit);  // 2: for use within a shop
}

void make_ean8(Draw& draw) {
  make_checked(draw, "2", 8, ean_digit);
}

void make_isbn13(Draw& draw) {
  make_checked(draw, "978", 13, ean_digit);
}

void make_isbn10(Draw& draw) {
  make_checked(draw, "", 10, isbn10_digit);
}

void make_imei(Draw& draw) {
  make_checked(draw, "35", 15, luhn_digit);
}

void make_version(Draw& draw) {
  append_number(draw.out, draw.random.between(0, 9));
  draw.out += '.';
  append_number(draw.out, draw.random.between(0, 30));
  draw.out += '.';
  append_number(draw.out, draw.random.between(0, 99));
}

// The list's values are an extension, a blank and its media type.
void append_file_kind(Draw& draw, bool extension) {
  const std::size_t start = draw.out.size();
  append_from(draw, Section::file_kind);
  const std::size_t blank = draw.out.find(' ', start);
  if (extension) {
    draw.out.resize(blank);
  } else {
    draw.out.erase(start, blank + 1 - start);
  }
}

void make_extension(Draw& draw) {
  append_file_kind(draw, true);
}

void make_media_type(Draw& draw) {
  append_file_kind(draw, false);
}

void make_file_name(Draw& draw) {
  append_from(draw, Section::lorem);
  draw.out += '_';
  append_from(draw, Section::lorem);
  draw.out += '.';
  make_extension(draw);
}

void make_path(Draw& draw) {
  append_from(draw, Section::folder);
  draw.out += '/';
  make_file_name(draw);
}

void make_color_hex(Draw& draw) {
  draw.out += '#';
  make_hex<6>(draw);
}

void make_color_rgb(Draw& draw) {
  draw.out += "rgb(";
  for (int i = 0; i < 3; ++i) {
    draw.out += i == 0 ? "" : ",";
    append_number(draw.out, draw.random.between(0, 255));
  }
  draw.out += ')';
}

constexpr ClassDefinition kClasses[] = {
    {"id.uuid", "UUID, version 4", make_uuid},
    {"id.ulid", "26 characters that sort as text", make_ulid},
    {"id.hex", "hexadecimal digits", make_hex_of_length, kHexRules},
    {"id.md5", "looks like an MD5 digest", make_hex<32>},
    {"id.sha1", "looks like an SHA-1 digest", make_hex<40>},
    {"id.sha256", "looks like an SHA-256 digest", make_hex<64>},
    {"id.ean13", "article number with a valid check digit", make_ean13},
    {"id.ean8", "short article number with a valid check digit", make_ean8},
    {"id.isbn13", "book number with a valid check digit", make_isbn13},
    {"id.isbn10", "old book number with a valid check digit", make_isbn10},
    {"id.imei", "device number with a valid check digit", make_imei},
    {"software.version", "semantic version", make_version},
    {"file.name", "file name", make_file_name},
    {"file.extension", "extension of a file name", make_extension},
    {"file.path", "absolute path", make_path},
    {"file.mime_type", "media type", make_media_type},
    {"color.hex", "colour as # and six digits", make_color_hex},
    {"color.rgb", "colour as rgb(r,g,b)", make_color_rgb},
};

}  // namespace

std::span<const ClassDefinition> code_classes() {
  return kClasses;
}

}  // namespace wz::faker
