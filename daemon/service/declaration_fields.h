// The keyword=value fields of one parsed declaration, handed out with checks.
#pragma once

#include <wz/wzlb_parse_api.h>

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vsd {

// A name that stands for a number in a declaration.
struct NamedValue {
  std::string_view name;
  int value;
};

// Keywords are compared without regard to case. Every accessor reports a bad value and returns the
// default then, so that one pass finds every error of a declaration.
class DeclarationFields {
 public:
  using Report = std::function<void(std::string text)>;

  // Keeps references to both. `is_named`: the first field is the name of what is declared.
  DeclarationFields(const WZApi& parsed, const Report& report, bool is_named = true);

  // The first field of a named declaration. Empty, and reported, when it is missing or no proper
  // name.
  [[nodiscard]] const std::string& name() const { return name_; }

  [[nodiscard]] bool has(std::string_view keyword) const;
  // The value of a keyword that stands at most once.
  std::optional<std::string> text(std::string_view keyword);
  // The same, reported when it is absent or empty.
  std::string required_text(std::string_view keyword);
  // The values of a keyword that may repeat.
  std::vector<std::string> texts(std::string_view keyword);
  int number(std::string_view keyword, int low, int high, int otherwise);
  bool yes_no(std::string_view keyword, bool otherwise);
  int choice(std::string_view keyword, std::span<const NamedValue> names, int otherwise);
  // A list of names separated by `|`.
  std::vector<int> choices(std::string_view keyword, std::span<const NamedValue> names);
  // Marks a keyword as known whose value somebody else reads.
  void allow(std::string_view keyword) { texts(keyword); }

  // Reports the fields that nobody has asked for.
  void finish();

 private:
  struct Field {
    std::string keyword;
    std::string value;
    bool used = false;
  };
  void take_name(const WZApi& parsed);
  void bad(std::string_view keyword, const std::string& value, const std::string& expected);

  const Report& report_;
  std::string name_;
  std::vector<Field> fields_;
};

// A letter, then letters, digits and underscores.
[[nodiscard]] bool is_identifier(std::string_view text);
[[nodiscard]] bool equal_ignoring_case(std::string_view a, std::string_view b);
// The parts between the separators; an empty text has one empty part.
[[nodiscard]] std::vector<std::string_view> split(std::string_view text, char separator);
[[nodiscard]] std::string_view trim_blanks(std::string_view text);

}  // namespace vsd
