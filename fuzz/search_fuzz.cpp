// The search engine against a naive model, for every ordinal and for all occurrences at once.
// Input: a byte of options, the left and the right boundary, each up to a NUL, and the text.
#include <wz/wz_script.h>
#include <wz/wzlb.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Values = std::vector<std::string>;

struct Options {
  bool ignores_case;
  bool closest;
  int offset;
  int length;
};

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

std::string folded(std::string text, bool ignores_case) {
  for (char& c : text) {
    c = ignores_case ? static_cast<char>(std::tolower(static_cast<unsigned char>(c))) : c;
  }
  return text;
}

// What the engine must find, on texts whose case is folded already where it does not matter.
Values model(const std::string& text, const std::string& folded_text, const std::string& lb,
             const std::string& rb, bool closest) {
  Values values;
  if (lb.empty() || rb.empty()) {
    return values;
  }
  for (std::size_t at = folded_text.find(lb); at != std::string::npos;) {
    const std::size_t begin = at + lb.size();
    const std::size_t end = folded_text.find(rb, begin);
    if (end == std::string::npos) {
      break;
    }
    at = folded_text.find(lb, begin);
    if (!closest || at == std::string::npos || at + lb.size() > end) {
      values.push_back(text.substr(begin, end - begin));
    }
  }
  return values;
}

std::string cut(const std::string& value, const Options& options) {
  const auto offset = static_cast<std::size_t>(std::max(options.offset, 0));
  const auto length =
      options.length < 0 ? std::string::npos : static_cast<std::size_t>(options.length);
  return offset < value.size() ? value.substr(offset, length) : std::string();
}

bool is_cut(const ArrayValEntry& entry, const std::string& value, const Options& options) {
  if (static_cast<std::size_t>(std::max(options.offset, 0)) >= value.size()) {
    return entry.value == nullptr && entry.length == 0;
  }
  const std::string kept = cut(value, options);
  return entry.length == kept.size() &&
         std::memcmp(entry.value, kept.c_str(), kept.size() + 1) == 0;
}

class Search {
 public:
  Search(std::string lb, std::string rb, std::string_view text, const Options& options)
      : lb_(std::move(lb)), rb_(std::move(rb)), size_(text.size()), options_(options) {
    text.copy(text_.get(), size_);
  }

  int run(int ordinal, UserVarEntry& entry) {
    char name[] = "fuzz";
    return wzlb_get_search_var_value(name, lb_.data(), rb_.data(), options_.offset, options_.length,
                                     text_.get(), text_.get() + size_, nullptr, ordinal, 0, 0,
                                     &entry, 0, nullptr, 0, options_.ignores_case ? 1 : 0, nullptr,
                                     nullptr, 0, options_.closest ? 1 : 0, 1);
  }

 private:
  std::string lb_;
  std::string rb_;
  std::size_t size_;
  std::unique_ptr<char[]> text_ = std::make_unique<char[]>(size_);  // no byte behind the text
  Options options_;
};

void compare(Search& search, const Values& expected, const Options& options) {
  UserVarEntry entry{};
  require(search.run(WZ_ORD_ALL, entry) == static_cast<int>(expected.size()));
  for (std::size_t i = 0; i < expected.size(); ++i) {
    require(is_cut(entry.value.array[i], expected[i], options));
  }
  const std::size_t ordinals = std::min<std::size_t>(expected.size() + 1, 20);
  for (std::size_t i = 0; i < ordinals; ++i) {
    const bool exists = i < expected.size();
    require(search.run(static_cast<int>(i) + 1, entry) == (exists ? 1 : 0));
    require(!exists || is_cut({entry.value.value, entry.length}, expected[i], options));
  }
  const int chosen = search.run(WZ_ORD_ANY, entry);
  require(expected.empty() ? chosen == -1
                           : is_cut({entry.value.value, entry.length},
                                    expected.at(static_cast<std::size_t>(chosen) - 1), options));
  free_var_value(&entry);
}

// A script's search of one occurrence takes a shorter way to the same value.
void compare_for_scripts(const std::string& text, const std::string& lb, const std::string& rb,
                         const Values& expected, const Options& options) {
  std::string in = text;
  std::string left = lb;
  std::string right = rb;
  std::string out(text.size() + 1, '?');
  for (std::size_t i = 0; i < std::min<std::size_t>(expected.size() + 1, 20); ++i) {
    const bool exists = i < expected.size();
    const int result = wz_save_searched_string(WZ_ARG_IS_BUF, in.data(), WZ_ARG_IS_BUF, out.data(),
                                               left.data(), right.data(), static_cast<int>(i) + 1,
                                               options.offset, options.length);
    const std::string found = out.c_str();
    require(found == (exists ? cut(expected[i], options) : std::string()));
    require(result == (!exists ? -1 : found.empty() ? 0 : 1));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0 || size > 4096) {
    return 0;
  }
  const unsigned bits = data[0];
  const Options options{(bits & 1U) != 0, (bits & 2U) != 0, static_cast<int>(bits >> 2U & 7U) - 1,
                        static_cast<int>(bits >> 5U) - 1};
  const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);
  const auto next = [&input](std::size_t from) {
    return from > input.size() ? std::string() : std::string(input.c_str() + from);
  };
  const std::string lb = next(0);
  const std::string rb = next(lb.size() + 1);
  const std::size_t text_at = std::min(lb.size() + rb.size() + 2, input.size());
  const std::string text = input.substr(text_at);
  const Values expected =
      model(text, folded(text, options.ignores_case), folded(lb, options.ignores_case),
            folded(rb, options.ignores_case), options.closest);
  Search search(lb, rb, text, options);
  compare(search, expected, options);
  const bool is_text = text.find('\0') == std::string::npos && !lb.empty() && !rb.empty();
  if (is_text && !options.ignores_case && !options.closest) {
    compare_for_scripts(text, lb, rb, expected, options);
  }
  return 0;
}
