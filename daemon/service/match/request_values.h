// The values that a request holds under a name: headers, cookies, parameters of the query.
#pragma once

#include <string>
#include <string_view>

namespace vsd {

// Takes values one after the other.
class ValueVisitor {
 public:
  ValueVisitor() = default;
  ValueVisitor(const ValueVisitor&) = delete;
  ValueVisitor& operator=(const ValueVisitor&) = delete;
  virtual ~ValueVisitor() = default;
  // Returns whether that was enough.
  virtual bool visit(std::string_view value) = 0;
};

// Every header `name`, without regard to case and without blanks around the value. `head` goes from
// the request line to the blank line.
void visit_headers(std::string_view head, std::string_view name, ValueVisitor& visitor);

// Every cookie `name`, as sent.
void visit_cookies(std::string_view head, std::string_view name, ValueVisitor& visitor);

// Every parameter `name` of the query in `target`; names and values with %XX and '+' resolved, in
// `scratch` where need be. A parameter without '=' has an empty value.
void visit_query(std::string_view target, std::string_view name, ValueVisitor& visitor,
                 std::string& scratch);

}  // namespace vsd
