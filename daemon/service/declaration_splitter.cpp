#include "daemon/service/declaration_splitter.h"

#include <optional>

namespace vsd {
namespace {

constexpr bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

class Splitter {
 public:
  explicit Splitter(std::string_view text) : text_(text) {
    constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
    if (text_.starts_with(byte_order_mark)) {
      position_ = byte_order_mark.size();
    }
  }

  std::vector<DeclarationText> run() {
    while (skip_to_declaration()) {
      current_ = {line_, {}, {}};
      const std::size_t start = position_;
      read_declaration();
      if (!current_.problem.empty()) {
        resume_after(start);
      }
      declarations_.push_back(std::move(current_));
    }
    return std::move(declarations_);
  }

 private:
  bool at_end() const { return position_ >= text_.size(); }
  char peek() const { return text_[position_]; }

  char take() {
    const char c = text_[position_++];
    line_ += c == '\n' ? 1 : 0;
    line_has_text_ = c != '\n' && (line_has_text_ || !is_blank(c));
    return c;
  }

  void skip_line() {
    while (!at_end() && peek() != '\n') {
      take();
    }
  }

  bool at_comment() const { return !line_has_text_ && peek() == '#'; }

  // Stray semicolons between declarations mean nothing; a comment may follow a declaration.
  bool skip_to_declaration() {
    while (!at_end()) {
      if (peek() == '#') {
        skip_line();
      } else if (is_blank(peek()) || peek() == '\n' || peek() == ';') {
        take();
      } else {
        return true;
      }
    }
    return false;
  }

  void read_declaration() {
    int depth = 0;
    bool opened = false;
    while (!at_end() && current_.problem.empty()) {
      if (opened && depth == 0) {
        read_rest();
        return;
      }
      if (at_comment()) {
        skip_line();
        continue;
      }
      if (!opened && (peek() == '\n' || peek() == ';')) {
        return;  // no bracket: the parser says so
      }
      const char c = take();
      current_.text += c == '\n' || c == '\r' ? ' ' : c;
      if (c == '"') {
        read_quoted();
      } else if (c == '(') {
        ++depth;
        opened = true;
      } else if (c == ')') {
        depth = opened ? depth - 1 : depth;
      }
    }
    if (opened && depth > 0 && current_.problem.empty()) {
      current_.problem = "the bracket of this declaration is not closed";
    }
  }

  // From behind the opening quote through the closing one.
  void read_quoted() {
    while (!at_end() && peek() != '\n') {
      const char c = take();
      current_.text += c;
      if (c == '"') {
        return;
      }
      if (c == '\\' && !at_end() && peek() != '\n') {
        current_.text += take();
      }
    }
    current_.problem = "a double quote is not closed on its line";
  }

  // What stands between the closing bracket and the end of the declaration.
  void read_rest() {
    while (!at_end() && peek() != '\n' && peek() != '#') {
      const char c = take();
      current_.text += c == '\r' ? ' ' : c;
      if (c == ';') {
        return;
      }
    }
  }

  // After a declaration whose end cannot be told, go on at the next line that looks like the start
  // of one.
  void resume_after(std::size_t start) {
    position_ = start;
    line_ = current_.line;
    for (;;) {
      skip_line();
      if (at_end()) {
        return;
      }
      take();
      const std::string_view rest = text_.substr(position_);
      const std::size_t text = rest.find_first_not_of(" \t");
      if (text != std::string_view::npos && rest.substr(text).starts_with("wz_")) {
        return;
      }
    }
  }

  std::string_view text_;
  std::size_t position_ = 0;
  int line_ = 1;
  bool line_has_text_ = false;
  DeclarationText current_;
  std::vector<DeclarationText> declarations_;
};

}  // namespace

std::vector<DeclarationText> split_declarations(std::string_view text) {
  return Splitter(text).run();
}

}  // namespace vsd
