// Why no service answers a request: the services that came nearest, and for each the first thing
// that did not fit. Texts are one line of visible ASCII characters; what they quote of the request
// is cut and escaped, so that they can be shown in answers and in lists.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "daemon/service/match/condition_tester.h"
#include "daemon/service/service_image.h"

namespace vsd {

struct NearMiss {
  std::string service;
  std::string failed;  // "header X-Env must be \"test\" but is absent"
};

struct NearMisses {
  std::array<NearMiss, 3> items;  // nearest first
  std::size_t count = 0;
};

// `text` for a message: printable ASCII stays but for '"' and '\', which are escaped as everything
// else is; longer texts end in "...".
[[nodiscard]] std::string quoted(std::string_view text);

[[nodiscard]] std::string method_failure(const ServiceView& service, std::string_view method);
[[nodiscard]] std::string path_failure(const ServiceView& service, std::string_view path);
// `seen` is the first value that was compared.
[[nodiscard]] std::string condition_failure(const ServiceView& service,
                                            const ConditionRow& condition,
                                            ConditionTester::Outcome outcome,
                                            std::string_view seen);

// Keeps the three nearest of the services that it is shown, the earlier ones where several are
// equally near.
class MissRanking {
 public:
  // A service on the request's path, and how many of its demands were fulfilled.
  void add_on_path(const ServiceView& service, std::size_t fulfilled, std::string failed);
  // Any service; nearer the more beginning and end of its URL and the path have in common.
  void add_by_path(const ServiceView& service, std::string_view path);
  // Whether services that are not on the path have no chance any more.
  [[nodiscard]] bool is_decided() const;

  [[nodiscard]] NearMisses result(std::string_view path) const;

 private:
  struct Ranked {
    const ServiceRecord* service = nullptr;
    std::size_t score = 0;
    std::string failed;  // empty: the path
  };
  void insert(Ranked ranked);

  std::array<Ranked, 3> nearest_;
};

// The body of the answer to a request that no service fits.
[[nodiscard]] std::string no_match_text(std::string_view method, std::string_view path,
                                        const NearMisses& misses);

}  // namespace vsd
