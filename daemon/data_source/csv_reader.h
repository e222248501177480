// Text of columns separated by one character, read record by record. A value in double quotes may
// hold the separator, line ends and, doubled, quotes.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace vsd {

struct CsvRecord {
  int line = 0;                          // where it starts, counted from 1
  bool has_quotes = false;               // otherwise the fields stand in the text as they are
  std::vector<std::string_view> fields;  // valid as long as text and reader
};

class CsvReader {
 public:
  // `text` must stay. Records start at `first_line`.
  CsvReader(std::string_view text, char delimiter, int first_line);

  enum class Result { record, bad_record, end };
  // Empty lines are passed over. After a bad record, which problem() describes and `record` has the
  // line of, reading goes on with the next line.
  [[nodiscard]] Result next(CsvRecord& record);
  [[nodiscard]] const std::string& problem() const noexcept { return problem_; }

 private:
  [[nodiscard]] bool read_plain(CsvRecord& record);
  [[nodiscard]] bool read_quoted(CsvRecord& record);
  [[nodiscard]] bool at_line_end() const noexcept;
  void skip_line() noexcept;

  std::string_view text_;
  char delimiter_;
  std::size_t at_ = 0;
  int line_ = 1;
  std::string problem_;
  std::deque<std::string> unquoted_;  // values that are not in the text as they are
};

// Appends `value` so that a CsvReader with this delimiter gives it back.
void append_csv_value(std::string_view value, char delimiter, std::string& out);

}  // namespace vsd
