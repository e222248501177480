#include "daemon/service/raw_declaration.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace vsd {
namespace {

using raw::Framing;

constexpr int kHttp = -1;
constexpr NamedValue kProtocols[] = {{"http", kHttp},
                                     {"tcp", static_cast<int>(Transport::tcp)},
                                     {"udp", static_cast<int>(Transport::udp)}};
constexpr NamedValue kPrefixes[] = {{"1", 1}, {"2", 2}, {"4", 4}, {"8", 8}};
constexpr NamedValue kByteOrders[] = {{"BIG", 1}, {"LITTLE", 0}};
constexpr std::array<std::string_view, 5> kRules = {"delimiter", "delimiter_hex", "length",
                                                    "prefix", "to_end"};
constexpr int kLongestFixed = 1 << 30;

// The bytes of "0D0A"; empty when the text is no such number of digits.
std::string bytes_of_hex(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    unsigned value = 0;
    const char* const digits = text.data() + i;
    if (std::from_chars(digits, digits + 2, value, 16).ptr != digits + 2) {
      return {};
    }
    bytes += static_cast<char>(value);
  }
  return text.size() % 2 == 0 ? bytes : std::string();
}

void read_delimiter(DeclarationFields& fields, const DeclarationFields::Report& report,
                    Framing& framing) {
  framing.kind = Framing::Kind::delimiter;
  if (fields.has("delimiter")) {
    framing.delimiter = fields.required_text("delimiter");
    return;
  }
  framing.delimiter = bytes_of_hex(fields.required_text("delimiter_hex"));
  if (framing.delimiter.empty()) {
    report("delimiter_hex= is wrong: it must be pairs of hexadecimal digits");
  }
}

void read_rule(DeclarationFields& fields, const DeclarationFields::Report& report,
               Framing& framing) {
  if (fields.has("length")) {
    framing.kind = Framing::Kind::length;
    framing.length = static_cast<std::size_t>(fields.number("length", 1, kLongestFixed, 1));
  } else if (fields.has("prefix")) {
    framing.kind = Framing::Kind::prefix;
    framing.prefix = static_cast<std::size_t>(fields.choice("prefix", kPrefixes, 1));
    framing.is_big_endian = fields.choice("byte_order", kByteOrders, 1) != 0;
  } else if (!fields.has("to_end")) {
    read_delimiter(fields, report, framing);
  } else if (!fields.yes_no("to_end", true)) {
    report("to_end=NO says of no message where it ends");
  }
}

Framing read_framing(DeclarationFields& fields, const DeclarationFields::Report& report) {
  Framing framing;
  const auto given = std::count_if(kRules.begin(), kRules.end(),
                                   [&](std::string_view rule) { return fields.has(rule); });
  if (given == 1) {
    read_rule(fields, report, framing);
  } else {
    report("protocol=tcp needs one of delimiter=, delimiter_hex=, length=, prefix= and to_end=YES");
    std::for_each(kRules.begin(), kRules.end(), [&](std::string_view rule) { fields.allow(rule); });
  }
  return framing;
}

}  // namespace

std::optional<raw::Declaration> read_raw_declaration(DeclarationFields& fields,
                                                     const DeclarationFields::Report& report) {
  const int protocol = fields.choice("protocol", kProtocols, kHttp);
  if (protocol == kHttp) {
    return std::nullopt;
  }
  raw::Declaration declared;
  declared.transport = static_cast<Transport>(protocol);
  const std::string listen = fields.required_text("listen");
  if (std::string problem = listen.empty() ? "" : parse_listen_address(listen, declared.listen);
      !problem.empty()) {
    report("listen=" + listen + " is wrong: " + problem);
  }
  if (declared.transport == Transport::tcp) {
    declared.framing = read_framing(fields, report);
  }
  return declared;
}

}  // namespace vsd
