#include "daemon/forward/forward_headers.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>

#include "daemon/http/token.h"

namespace vsd {
namespace {

constexpr std::string_view kOwnHop = "vsd";  // as Via names us

constexpr auto kOfOneConnection = std::to_array<std::string_view>(
    {"Connection", "Keep-Alive", "Proxy-Connection", "Proxy-Authenticate", "Proxy-Authorization",
     "TE", "Trailer", "Transfer-Encoding", "Upgrade"});

bool equals_ignoring_case(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::string lower_case(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
  return lower;
}

// Names of header lines, those of one connection among them. A message may name thousands more, and
// has thousands of lines to be looked up: the others are in order.
class Names {
 public:
  void add(std::string_view name) { others_.push_back(lower_case(name)); }
  void sort() { std::sort(others_.begin(), others_.end()); }

  [[nodiscard]] bool contains(std::string_view name) const {
    return std::any_of(kOfOneConnection.begin(), kOfOneConnection.end(),
                       [name](std::string_view own) { return equals_ignoring_case(name, own); }) ||
           (!others_.empty() &&
            std::binary_search(others_.begin(), others_.end(), lower_case(name)));
  }

 private:
  std::vector<std::string> others_;
};

std::string_view trim(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  return text.substr(0, text.find_last_not_of(" \t") + 1);
}

struct Line {
  std::string_view name;   // empty: this is no header line
  std::string_view value;  // trimmed
  std::string_view text;   // without its line end
};

Line parse_line(std::string_view text) {
  const auto* const end = std::find_if_not(text.begin(), text.end(), http::is_token_character);
  const auto length = static_cast<std::size_t>(end - text.begin());
  const bool is_header =
      length > 0 && length < text.size() && text[length] == ':' &&
      text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
  return is_header ? Line{text.substr(0, length), trim(text.substr(length + 1)), text}
                   : Line{{}, {}, text};
}

void for_each_line(std::string_view lines, const std::function<void(const Line&)>& action) {
  while (!lines.empty()) {
    const std::size_t end = std::min(lines.find('\n'), lines.size());
    std::string_view text = lines.substr(0, end);
    lines.remove_prefix(std::min(end + 1, lines.size()));
    if (text.ends_with('\r')) {
      text.remove_suffix(1);
    }
    if (!text.empty()) {
      action(parse_line(text));
    }
  }
}

void for_each_member(std::string_view list, const std::function<void(std::string_view)>& action) {
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(','), list.size());
    action(trim(list.substr(0, end)));
    list.remove_prefix(std::min(end + 1, list.size()));
  }
}

// Adds the names that the message says go no further.
void add_named(std::string_view lines, Names& names) {
  for_each_line(lines, [&names](const Line& line) {
    if (equals_ignoring_case(line.name, "Connection")) {
      for_each_member(line.value, [&names](std::string_view name) { names.add(name); });
    }
  });
}

// "1.1 vsd, 1.0 other" names us once.
int own_hops(std::string_view via) {
  int hops = 0;
  for_each_member(via, [&hops](std::string_view member) {
    const std::string_view by = trim(member.substr(std::min(member.find(' '), member.size())));
    hops += by.substr(0, by.find(' ')) == kOwnHop ? 1 : 0;
  });
  return hops;
}

void refuse(std::string_view reason, std::string_view line, std::string& refused) {
  refused.append(reason).append(": ").append(line).push_back('\n');
}

// The lines of a script; adds their names, for the client's lines that they replace.
std::vector<std::string> script_lines(std::string_view added, Names& names, std::string& refused) {
  std::vector<std::string> lines;
  for_each_line(added, [&](const Line& line) {
    if (line.name.empty()) {
      refuse("no header line", line.text, refused);
    } else if (Names().contains(line.name) || equals_ignoring_case(line.name, "Content-Length") ||
               equals_ignoring_case(line.name, "Expect")) {
      refuse("a header that is the daemon's to set", line.text, refused);
    } else {
      names.add(line.name);
      lines.emplace_back(line.text);
    }
  });
  return lines;
}

// The length that the lines agree on. False when they do not.
bool add_length(std::string_view value, std::optional<std::uint64_t>& length) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  const bool is_good =
      error == std::errc{} && end == value.data() + value.size() && (!length || *length == number);
  length = number;
  return is_good;
}

}  // namespace

ForwardedHead forwarded_head(std::string_view head, std::string_view added, int version,
                             std::string& refused) {
  ForwardedHead result;
  head.remove_prefix(std::min(head.find('\n'), head.size() - 1) + 1);
  Names dropped;
  for (const std::string_view name : {"Host", "Content-Length", "Expect"}) {
    dropped.add(name);
  }
  add_named(head, dropped);
  const std::vector<std::string> own_lines = script_lines(added, dropped, refused);
  dropped.sort();
  for_each_line(head, [&](const Line& line) {
    if (equals_ignoring_case(line.name, "Via")) {
      result.hops += own_hops(line.value);
    }
    if (!line.name.empty() && !dropped.contains(line.name)) {
      result.lines.emplace_back(line.text);
    }
  });
  result.lines.push_back((version == 10 ? "Via: 1.0 " : "Via: 1.1 ") + std::string(kOwnHop));
  result.lines.insert(result.lines.end(), own_lines.begin(), own_lines.end());
  return result;
}

std::optional<AnswerHead> answer_head(std::string_view lines) {
  AnswerHead head;
  bool is_coded = false;
  bool is_good = true;
  Names dropped;
  add_named(lines, dropped);
  dropped.sort();
  for_each_line(lines, [&](const Line& line) {
    if (equals_ignoring_case(line.name, "Content-Length")) {
      is_good = add_length(line.value, head.length) && is_good;
    } else if (!line.name.empty() && !dropped.contains(line.name)) {
      head.lines.append(line.text).append("\r\n");
    }
    is_coded = is_coded || equals_ignoring_case(line.name, "Transfer-Encoding");
  });
  if (!is_good) {
    return std::nullopt;
  }
  if (is_coded) {
    head.length.reset();
  }
  if (head.length) {
    head.lines.append("Content-Length: ").append(std::to_string(*head.length)).append("\r\n");
  }
  return head;
}

void append_target(std::string& out, std::string_view text) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte <= ' ' || byte >= 0x7f || c == '#') {
      out += '%';
      out += kHex[byte >> 4U];
      out += kHex[byte & 0xFU];
    } else {
      out += c;
    }
  }
}

}  // namespace vsd
