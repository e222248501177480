#include "daemon/service/search_runner.h"

#include <wz/wzlb_search_vars.h>

namespace vsd {

void SearchRunner::Free::operator()(regex_t* regex) const noexcept {
  regfree(regex);
  delete regex;
}

SearchRunner::SearchRunner(const ServiceView& service, std::span<const SearchRow> searches)
    : service_(service), searches_(searches) {
  for (const SearchRow& search : searches) {
    Boundaries& boundaries = regexes_.emplace_back();
    if (search.left_is_regex) {
      boundaries.left = compile(search.left, search.ignore_case);
    }
    if (search.right_is_regex) {
      boundaries.right = compile(search.right, search.ignore_case);
    }
  }
}

// The loader has compiled every pattern once, so this fails only for want of memory; the engine
// then takes the boundary as plain text.
SearchRunner::Regex SearchRunner::compile(TextRef pattern, bool ignore_case) const {
  auto compiled = std::make_unique<regex_t>();
  const int flags = REG_EXTENDED | (ignore_case ? REG_ICASE : 0);
  if (regcomp(compiled.get(), service_.c_text(pattern), flags) != 0) {
    return nullptr;
  }
  return Regex(compiled.release());
}

void SearchRunner::run(const SearchRow& search, std::string_view text, UserVarEntry& entry) {
  const auto position = static_cast<std::size_t>(&search - searches_.data());
  const Boundaries& regexes = regexes_[position];
  const int search_flag = (regexes.left != nullptr ? WZ_SEARCH_LB_IS_REGEX : 0) |
                          (regexes.right != nullptr ? WZ_SEARCH_RB_IS_REGEX : 0);
  const auto writable = [this](TextRef ref) { return const_cast<char*>(service_.c_text(ref)); };
  char* begin = const_cast<char*>(text.data());
  const int total_methods = static_cast<int>(search.methods.length);
  wzlb_get_search_var_value(writable(search.name), writable(search.left), writable(search.right),
                            search.save_offset, search.save_length, begin, begin + text.size(),
                            nullptr, search.ordinal, search.convert, total_methods > 0 ? 1 : 0,
                            &entry, 0, writable(search.methods), total_methods,
                            search.ignore_case ? 1 : 0, regexes.left.get(), regexes.right.get(),
                            static_cast<char>(search_flag), WZ_LBMATCH_FIRST, 1);
}

}  // namespace vsd
