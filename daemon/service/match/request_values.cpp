#include "daemon/service/match/request_values.h"

#include <algorithm>

#include "daemon/service/connection_state.h"
#include "daemon/service/declaration_fields.h"

namespace vsd {
namespace {

// Cuts what stands before `separator` off the front of `text`.
std::string_view take_until(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view front = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return front;
}

class CookieFinder final : public ValueVisitor {
 public:
  CookieFinder(std::string_view name, ValueVisitor& found) : name_(name), found_(found) {}

  bool visit(std::string_view header) override {
    while (!header.empty()) {
      std::string_view value = take_until(header, ';');
      const std::string_view name = trim_blanks(take_until(value, '='));
      if (name == name_ && found_.visit(trim_blanks(value))) {
        return true;
      }
    }
    return false;
  }

 private:
  std::string_view name_;
  ValueVisitor& found_;
};

// `text`, or its decoded form in `scratch`.
std::string_view decoded(std::string_view text, std::string& scratch) {
  if (text.find_first_of("%+") == std::string_view::npos) {
    return text;
  }
  scratch.clear();
  append_query_decoded(text, scratch);
  return scratch;
}

}  // namespace

void visit_headers(std::string_view head, std::string_view name, ValueVisitor& visitor) {
  take_until(head, '\n');  // the request line
  while (!head.empty()) {
    std::string_view line = take_until(head, '\n');
    if (line.size() <= name.size() || line[name.size()] != ':' ||
        !equal_ignoring_case(line.substr(0, name.size()), name)) {
      continue;
    }
    line.remove_prefix(name.size() + 1);
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    if (visitor.visit(trim_blanks(line))) {
      return;
    }
  }
}

void visit_cookies(std::string_view head, std::string_view name, ValueVisitor& visitor) {
  CookieFinder finder(name, visitor);
  visit_headers(head, "Cookie", finder);
}

void visit_query(std::string_view target, std::string_view name, ValueVisitor& visitor,
                 std::string& scratch) {
  take_until(target, '?');
  while (!target.empty()) {
    std::string_view value = take_until(target, '&');
    if (decoded(take_until(value, '='), scratch) == name &&
        visitor.visit(decoded(value, scratch))) {
      return;
    }
  }
}

}  // namespace vsd
