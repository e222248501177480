// The characters of which methods and field names are made.
#pragma once

#include <string_view>

namespace vsd::http {

[[nodiscard]] constexpr bool is_token_character(char c) noexcept {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         (c != '\0' && std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos);
}

}  // namespace vsd::http
