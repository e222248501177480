#include "daemon/data_source/csv_reader.h"

#include <algorithm>

namespace vsd {
namespace {

constexpr char kQuote = '"';
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // some programs begin a file with it

}  // namespace

CsvReader::CsvReader(std::string_view text, char delimiter, int first_line)
    : text_(text), delimiter_(delimiter) {
  if (text_.starts_with(kByteOrderMark)) {
    text_.remove_prefix(kByteOrderMark.size());
  }
  while (line_ < first_line && at_ < text_.size()) {
    skip_line();
  }
}

bool CsvReader::at_line_end() const noexcept {
  return at_ == text_.size() || text_[at_] == '\n' || text_.substr(at_, 2) == "\r\n";
}

void CsvReader::skip_line() noexcept {
  const std::size_t end = text_.find('\n', at_);
  at_ = end == std::string_view::npos ? text_.size() : end + 1;
  ++line_;
}

bool CsvReader::read_plain(CsvRecord& record) {
  const std::size_t start = at_;
  while (!at_line_end() && text_[at_] != delimiter_) {
    ++at_;
  }
  record.fields.push_back(text_.substr(start, at_ - start));
  return true;
}

bool CsvReader::read_quoted(CsvRecord& record) {
  record.has_quotes = true;
  const std::size_t column = record.fields.size() + 1;
  std::string& value = unquoted_.emplace_back();
  for (++at_;; ++at_) {
    const std::size_t quote = text_.find(kQuote, at_);
    const std::string_view part = text_.substr(at_, quote - at_);
    if (quote == std::string_view::npos) {
      problem_ = "the quotes of column " + std::to_string(column) + " are not closed";
      return false;
    }
    line_ += static_cast<int>(std::count(part.begin(), part.end(), '\n'));
    value += part;
    at_ = quote + 1;
    if (at_ == text_.size() || text_[at_] != kQuote) {
      break;
    }
    value += kQuote;
  }
  if (!at_line_end() && text_[at_] != delimiter_) {
    problem_ = "there is text behind the quotes of column " + std::to_string(column);
    return false;
  }
  record.fields.push_back(value);
  return true;
}

CsvReader::Result CsvReader::next(CsvRecord& record) {
  while (at_ < text_.size() && at_line_end()) {
    skip_line();
  }
  record.fields.clear();
  record.has_quotes = false;
  record.line = line_;
  if (at_ == text_.size()) {
    return Result::end;
  }
  for (;;) {
    const bool is_quoted = at_ < text_.size() && text_[at_] == kQuote;
    if (!(is_quoted ? read_quoted(record) : read_plain(record))) {
      skip_line();
      return Result::bad_record;
    }
    if (at_line_end()) {
      skip_line();
      return Result::record;
    }
    ++at_;  // the delimiter
  }
}

void append_csv_value(std::string_view value, char delimiter, std::string& out) {
  const char special[] = {kQuote, '\n', '\r', delimiter};
  if (value.find_first_of({special, sizeof special}) == std::string_view::npos) {
    out += value;
    return;
  }
  out += kQuote;
  for (const char c : value) {
    out.append(c == kQuote ? 2 : 1, c);
  }
  out += kQuote;
}

}  // namespace vsd
