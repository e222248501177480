// Which header lines a forwarded request and its answer take along.
//
// What concerns one connection only is left out on both ways: Connection and the lines that it
// names, Keep-Alive, Proxy-Connection, Proxy-Authenticate, Proxy-Authorization, TE, Trailer,
// Transfer-Encoding and Upgrade. So is what the two HTTP layers write themselves: Content-Length,
// Expect and, unless a script sets it, Host.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vsd {

// A request that has passed through this many vsd comes back in a circle.
inline constexpr int kMostHops = 8;

struct ForwardedHead {
  std::vector<std::string> lines;  // without CR LF
  int hops = 0;                    // vsd that the request has passed already
};

// `head` is the client's, from its request line on; `version` is 10 or 11. `added` are lines that a
// script has set, each with CR LF; a line of it takes the place of all client's lines of its name.
// Lines of it that are no header lines, or are not a script's to set, go into `refused`, a line
// each.
[[nodiscard]] ForwardedHead forwarded_head(std::string_view head, std::string_view added,
                                           int version, std::string& refused);

struct AnswerHead {
  std::string lines;                    // complete ones; Content-Length among them if there is one
  std::optional<std::uint64_t> length;  // nothing: the body ends when it ends
};

// Of the header lines behind a backend's status line, each with its line end. Nothing when they
// contradict themselves about the length of the body.
[[nodiscard]] std::optional<AnswerHead> answer_head(std::string_view lines);

// Appends `text` as part of a request target: what may not stand in one is percent-encoded.
void append_target(std::string& out, std::string_view text);

}  // namespace vsd
