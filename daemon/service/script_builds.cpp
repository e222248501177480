// Encoded as fields, each its length in decimal, a colon and its bytes: the number of scripts; per
// script its source, its object, its errors and its warnings; per list its length and per problem
// file, line and text.
#include "daemon/service/script_builds.h"

#include <charconv>
#include <cstddef>
#include <vector>

namespace vsd {
namespace {

void put(std::string_view field, std::string& out) {
  out.append(std::to_string(field.size())).append(":").append(field);
}

void put(const std::vector<Problem>& problems, std::string& out) {
  put(std::to_string(problems.size()), out);
  for (const Problem& problem : problems) {
    put(problem.file.string(), out);
    put(std::to_string(problem.line), out);
    put(problem.text, out);
  }
}

// Takes fields off the front. After a field that is not right, all that follow are empty.
class FieldReader {
 public:
  explicit FieldReader(std::string_view text) : text_(text) {}

  [[nodiscard]] bool is_good() const { return is_good_; }
  [[nodiscard]] bool at_end() const { return text_.empty(); }

  std::string_view field() {
    const std::size_t colon = text_.find(':');
    const auto size =
        colon == std::string_view::npos ? std::nullopt : number(text_.substr(0, colon));
    if (!is_good_ || !size || *size > text_.size() - colon - 1) {
      is_good_ = false;
      return {};
    }
    const std::string_view bytes = text_.substr(colon + 1, *size);
    text_.remove_prefix(colon + 1 + *size);
    return bytes;
  }

  std::size_t count() {
    const auto value = number(field());
    is_good_ = is_good_ && value.has_value();
    return value.value_or(0);
  }

  std::vector<Problem> problems() {
    std::vector<Problem> list;
    for (std::size_t left = count(); left > 0 && is_good_; --left) {
      Problem& problem = list.emplace_back();
      problem.file = field();
      problem.line = static_cast<int>(count());
      problem.text = field();
    }
    return list;
  }

 private:
  static std::optional<std::size_t> number(std::string_view digits) {
    std::size_t value = 0;
    const char* const end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, value);
    return result.ec == std::errc{} && result.ptr == end ? std::optional(value) : std::nullopt;
  }

  std::string_view text_;
  bool is_good_ = true;
};

}  // namespace

const ScriptBuildResult* ScriptBuilds::find(const std::filesystem::path& source) const {
  const auto found = builds_.find(source);
  return found == builds_.end() ? nullptr : &found->second;
}

std::string ScriptBuilds::encode() const {
  std::string out;
  put(std::to_string(builds_.size()), out);
  for (const auto& [source, built] : builds_) {
    put(source.string(), out);
    put(built.object.string(), out);
    put(built.errors, out);
    put(built.warnings, out);
  }
  return out;
}

std::optional<ScriptBuilds> ScriptBuilds::decode(std::string_view text) {
  FieldReader reader(text);
  ScriptBuilds builds;
  for (std::size_t left = reader.count(); left > 0 && reader.is_good(); --left) {
    const std::filesystem::path source = reader.field();
    ScriptBuildResult built;
    built.object = reader.field();
    built.errors = reader.problems();
    built.warnings = reader.problems();
    builds.add(source, built);
  }
  return reader.is_good() && reader.at_end() ? std::optional(std::move(builds)) : std::nullopt;
}

}  // namespace vsd
