// Names and addresses on the internet. Domains are those set aside for examples, so that nothing
// made here reaches anybody.
#include "libwzfaker/faker_class.h"

namespace wz::faker {
namespace {

constexpr Rule kIpv4Rules[] = {choice(Key::kind, "any|private|documentation", "any")};
constexpr Rule kPasswordRules[] = {whole(Key::min, 1, 1000, 12), whole(Key::max, 1, 1000, 20)};
constexpr std::string_view kHexDigits = "0123456789abcdef";
constexpr std::string_view kPasswordCharacters =
    "abcdefghijkmnopqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ23456789!#$%*+-.:=?@_";

void make_user_name(Draw& draw) {
  append_plain_of(draw, '.', [&draw] {
    append_from(draw, Section::given_name);
    draw.out += draw.random.below(2) == 0 ? ' ' : '\'';  // the latter leaves no trace
    append_from(draw, Section::family_name);
  });
  if (draw.random.below(2) == 0) {
    append_number(draw.out, draw.random.between(1, 99));
  }
}

void make_nickname(Draw& draw) {
  append_from(draw, Section::nickname);
  append_number(draw.out, draw.random.between(1, 9999));
}

void make_email(Draw& draw) {
  make_user_name(draw);
  draw.out += '@';
  append_from(draw, Section::mail_domain);
}

void make_label(Draw& draw) {
  append_plain_of(draw, '-', [&draw] { append_from(draw, Section::company_root); });
}

void make_domain(Draw& draw) {
  make_label(draw);
  draw.out += '.';
  append_from(draw, Section::top_domain);
}

void make_host(Draw& draw) {
  constexpr std::string_view kHosts[] = {"www", "api", "mail", "shop", "app", "cdn"};
  draw.out += kHosts[draw.random.below(std::size(kHosts))];
  draw.out += '.';
  make_domain(draw);
}

void make_slug(Draw& draw) {
  append_plain_of(draw, '-', [&draw] {
    append_from(draw, Section::product_adjective);
    draw.out += ' ';
    append_from(draw, Section::product_material);
    draw.out += ' ';
    append_from(draw, Section::product_thing);
  });
}

void make_url(Draw& draw) {
  append_from(draw, Section::scheme);
  draw.out += "://";
  make_host(draw);
  draw.out += '/';
  make_slug(draw);
}

void append_octets(Draw& draw, int count) {
  for (int i = 0; i < count; ++i) {
    draw.out += '.';
    append_number(draw.out, draw.random.between(i + 1 == count ? 1 : 0, 254));
  }
}

void make_ipv4(Draw& draw) {
  const std::string_view kind = draw.arguments.text(Key::kind);
  if (kind == "documentation") {
    constexpr std::string_view kNetworks[] = {"192.0.2", "198.51.100", "203.0.113"};
    draw.out += kNetworks[draw.random.below(std::size(kNetworks))];
    append_octets(draw, 1);
  } else if (kind == "private") {
    const bool large = draw.random.below(2) == 0;
    draw.out += large ? "10" : "192.168";
    append_octets(draw, large ? 3 : 2);
  } else {
    std::int64_t first = draw.random.between(1, 222);
    first += first >= 127 ? 1 : 0;  // no loopback
    append_number(draw.out, first);
    append_octets(draw, 3);
  }
}

void append_groups(Draw& draw, int groups, std::size_t digits) {
  for (int i = 0; i < groups; ++i) {
    draw.out += ':';
    append_characters(draw, kHexDigits, digits);
  }
}

void make_ipv6(Draw& draw) {
  draw.out += "2001:0db8";  // the network for documentation
  append_groups(draw, 6, 4);
}

void make_mac(Draw& draw) {
  draw.out += "02";  // locally administered
  append_groups(draw, 5, 2);
}

void make_port(Draw& draw) {
  append_number(draw.out, draw.random.between(1024, 65535));
}

void make_password(Draw& draw) {
  const auto length =
      draw.random.between(draw.arguments.integer(Key::min), draw.arguments.integer(Key::max));
  append_characters(draw, kPasswordCharacters, static_cast<std::size_t>(length));
}

constexpr ClassDefinition kClasses[] = {
    {"internet.user_name", "user name from a person's name", make_user_name, kLocaleRule},
    {"internet.nickname", "short user name", make_nickname},
    {"internet.email", "e-mail address", make_email, kLocaleRule},
    {"internet.password", "password of min to max characters", make_password, kPasswordRules},
    {"internet.domain", "domain", make_domain},
    {"internet.host", "host name", make_host},
    {"internet.url", "URL", make_url},
    {"internet.slug", "words of a URL", make_slug},
    {"internet.ipv4", "IPv4 address", make_ipv4, kIpv4Rules},
    {"internet.ipv6", "IPv6 address", make_ipv6},
    {"internet.mac", "MAC address", make_mac},
    {"internet.port", "port above 1023", make_port},
    {"internet.user_agent", "User-Agent of a browser", from_list<Section::user_agent>},
    {"internet.http_method", "HTTP method", from_list<Section::http_method>},
    {"internet.http_status", "HTTP status code", from_list<Section::http_status>},
};

}  // namespace

std::span<const ClassDefinition> internet_classes() {
  return kClasses;
}

}  // namespace wz::faker
