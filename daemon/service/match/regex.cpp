#include "daemon/service/match/regex.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <array>
#include <ctime>
#include <new>

namespace vsd {
namespace {

// Every expression begins with a callout, so that we are asked before each attempt to match. It
// does not keep PCRE2 from skipping places where no match can start.
constexpr std::string_view kCallout = "(?C1)";

constexpr unsigned kMaxStepsPerAttempt = 1'000'000;
constexpr unsigned kMaxHeapKibibytes = 16 * 1024;
constexpr std::size_t kFirstStack = 32 * 1024;  // of compiled expressions
constexpr std::size_t kLargestStack = 1024 * 1024;
constexpr unsigned kAttemptsPerLook = 16;            // a look at the clock is a system call
constexpr long kProcessorTime = 100 * 1000 * 1000L;  // nanoseconds per request
constexpr long kNanoseconds = 1000 * 1000 * 1000L;

long thread_time() noexcept {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return now.tv_sec * kNanoseconds + now.tv_nsec;
}

std::string message_of(int error) {
  std::array<PCRE2_UCHAR, 256> text{};
  pcre2_get_error_message(error, text.data(), text.size());
  return reinterpret_cast<const char*>(text.data());
}

}  // namespace

void Regex::Free::operator()(pcre2_real_code_8* code) const noexcept {
  pcre2_code_free(code);
}

void RegexMatcher::Free::operator()(pcre2_real_match_data_8* data) const noexcept {
  pcre2_match_data_free(data);
}

void RegexMatcher::Free::operator()(pcre2_real_match_context_8* context) const noexcept {
  pcre2_match_context_free(context);
}

void RegexMatcher::Free::operator()(pcre2_real_jit_stack_8* stack) const noexcept {
  pcre2_jit_stack_free(stack);
}

std::optional<Regex> Regex::compile(std::string_view pattern, const RegexOptions& options,
                                    std::string& error) {
  const std::string text = std::string(kCallout).append(pattern);
  int code = 0;
  std::size_t offset = 0;
  const unsigned flags = (options.ignore_case ? PCRE2_CASELESS : 0U) |
                         (options.whole ? PCRE2_ANCHORED | PCRE2_ENDANCHORED : 0U);
  Code compiled(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), flags, &code,
                              &offset, nullptr));
  if (compiled == nullptr) {
    const std::size_t place = offset - std::min(offset, kCallout.size());
    error = message_of(code) + " at character " + std::to_string(place + 1);
    return std::nullopt;
  }
  // Where the system allows no generated code, the interpreter serves.
  pcre2_jit_compile(compiled.get(), PCRE2_JIT_COMPLETE);
  return Regex(std::move(compiled));
}

bool RegexMatcher::Budget::is_spent() {
  if (++attempts % kAttemptsPerLook != 0) {
    return false;
  }
  if (end == 0) {
    end = thread_time() + kProcessorTime;
  }
  return thread_time() > end;
}

RegexMatcher::RegexMatcher()
    : data_(pcre2_match_data_create(1, nullptr)),
      context_(pcre2_match_context_create(nullptr)),
      stack_(pcre2_jit_stack_create(kFirstStack, kLargestStack, nullptr)) {
  if (data_ == nullptr || context_ == nullptr) {
    throw std::bad_alloc();
  }
  pcre2_set_match_limit(context_.get(), kMaxStepsPerAttempt);
  pcre2_set_heap_limit(context_.get(), kMaxHeapKibibytes);
  if (stack_ != nullptr) {
    pcre2_jit_stack_assign(context_.get(), nullptr, stack_.get());
  }
}

void RegexMatcher::begin() noexcept {
  budget_ = {};
}

RegexMatcher::Result RegexMatcher::match(const Regex& regex, std::string_view text) {
  // Set at each match, because the matcher may have moved.
  const auto ask = [](pcre2_callout_block*, void* budget) {
    return static_cast<Budget*>(budget)->is_spent() ? static_cast<int>(PCRE2_ERROR_MATCHLIMIT) : 0;
  };
  pcre2_set_callout(context_.get(), ask, &budget_);
  const char* begin = text.data() == nullptr ? "" : text.data();
  const int found = pcre2_match(regex.code_.get(), reinterpret_cast<PCRE2_SPTR>(begin), text.size(),
                                0, 0, data_.get(), context_.get());
  if (found >= 0) {
    return Result::match;
  }
  return found == PCRE2_ERROR_NOMATCH ? Result::no_match : Result::too_long;
}

}  // namespace vsd
