// Perl-compatible regular expressions over bytes, bounded so that no text can hold a worker up.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct pcre2_real_code_8;
struct pcre2_real_match_data_8;
struct pcre2_real_match_context_8;
struct pcre2_real_jit_stack_8;

namespace vsd {

struct RegexOptions {
  bool ignore_case = false;
  bool whole = false;  // the expression must match the whole text, not a part of it
};

// A compiled expression. It consists of pointers and therefore belongs to one process.
class Regex {
 public:
  // Nothing, and the reason in `error`, when `pattern` is no regular expression.
  [[nodiscard]] static std::optional<Regex> compile(std::string_view pattern,
                                                    const RegexOptions& options,
                                                    std::string& error);

 private:
  friend class RegexMatcher;
  struct Free {
    void operator()(pcre2_real_code_8* code) const noexcept;
  };
  using Code = std::unique_ptr<pcre2_real_code_8, Free>;
  explicit Regex(Code code) : code_(std::move(code)) {}

  Code code_;
};

// Runs expressions; one per worker. Two bounds hold: the steps of one attempt to match at one place
// of the text, and the processor time of all matches since begin(), looked at between attempts.
class RegexMatcher {
 public:
  enum class Result { match, no_match, too_long };

  RegexMatcher();

  // A new request: the time starts afresh.
  void begin() noexcept;
  [[nodiscard]] Result match(const Regex& regex, std::string_view text);

 private:
  struct Free {
    void operator()(pcre2_real_match_data_8* data) const noexcept;
    void operator()(pcre2_real_match_context_8* context) const noexcept;
    void operator()(pcre2_real_jit_stack_8* stack) const noexcept;
  };
  // What is left of a request's processor time.
  struct Budget {
    long end = 0;  // nanoseconds of the thread's clock; 0: not started
    unsigned attempts = 0;
    bool is_spent();
  };

  std::unique_ptr<pcre2_real_match_data_8, Free> data_;
  std::unique_ptr<pcre2_real_match_context_8, Free> context_;
  std::unique_ptr<pcre2_real_jit_stack_8, Free> stack_;
  Budget budget_;
};

}  // namespace vsd
