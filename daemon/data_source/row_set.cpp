#include "daemon/data_source/row_set.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "daemon/data_source/csv_reader.h"

namespace vsd {
namespace {

constexpr std::string_view kKeptHead = "wz-data-source 1 ";
constexpr std::size_t kMaxProblems = 20;  // of one file; the first ones tell what is wrong

std::string checksum(std::string_view text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned length = 0;
  EVP_Digest(text.data(), text.size(), digest.data(), &length, EVP_sha256(), nullptr);
  std::string hex;
  for (unsigned i = 0; i < length; ++i) {
    std::array<char, 3> pair{};
    std::snprintf(pair.data(), pair.size(), "%02x", digest[i]);
    hex += pair.data();
  }
  return hex;
}

std::string kept_head(std::size_t count, std::string_view body) {
  return std::string(kKeptHead) + std::to_string(count) + ' ' + checksum(body) + '\n';
}

class RowReader {
 public:
  RowReader(const RowFormat& format, const RowReport& report, RowSet& set)
      : format_(format), report_(report), set_(set) {}

  void read() {
    CsvReader reader(set_.text, format_.delimiter, format_.first_line);
    CsvRecord record;
    for (auto result = reader.next(record); result != CsvReader::Result::end && !is_full();
         result = reader.next(record)) {
      if (result == CsvReader::Result::bad_record) {
        problem(record.line, reader.problem());
      } else if (is_good(record)) {
        add(record);
      }
    }
    sort();
  }

 private:
  [[nodiscard]] bool is_full() const { return problems_ == kMaxProblems; }

  void problem(int line, std::string text) {
    if (!is_full()) {
      report_(line, std::move(text) + (++problems_ == kMaxProblems ? "; and there is more" : ""));
    }
  }

  bool is_good(const CsvRecord& record) {
    if (record.fields.size() != format_.columns.size()) {
      problem(record.line, "there are " + std::to_string(record.fields.size()) + " columns where " +
                               std::to_string(format_.columns.size()) + " are declared");
      return false;
    }
    for (std::size_t i = 0; i < record.fields.size(); ++i) {
      for (const char forbidden : {format_.delimiter, '\0'}) {
        if (record.fields[i].find(forbidden) != std::string_view::npos) {
          problem(record.line,
                  "column '" + format_.columns[i] + "' holds " +
                      (forbidden == '\0' ? "a zero byte"
                                         : "the delimiter, which no value of a row may; "
                                           "choose another one"));
          return false;
        }
      }
    }
    return true;
  }

  void add(const CsvRecord& record) {
    const auto& fields = record.fields;
    std::string_view data;
    if (!record.has_quotes) {
      const char* const start = fields[1].data();
      data = {start, static_cast<std::size_t>(fields.back().data() - start) + fields.back().size()};
    } else {
      std::string& joined = set_.joined.emplace_back(fields[1]);
      for (std::size_t i = 2; i < fields.size(); ++i) {
        (joined += format_.delimiter) += fields[i];
      }
      data = joined;
    }
    std::string_view key = fields[0];
    if (record.has_quotes) {
      key = set_.joined.emplace_back(key);
    }
    set_.rows.push_back({key, data, record.line});
  }

  void sort() {
    std::stable_sort(set_.rows.begin(), set_.rows.end(),
                     [](const auto& a, const auto& b) { return a.key < b.key; });
    for (std::size_t i = 1; i < set_.rows.size(); ++i) {
      const RowSet::Row& row = set_.rows[i];
      if (row.key == set_.rows[i - 1].key) {
        problem(row.line, "the key '" + std::string(row.key) + "' stands on line " +
                              std::to_string(set_.rows[i - 1].line) + " already");
      }
    }
  }

  const RowFormat& format_;
  const RowReport& report_;
  RowSet& set_;
  std::size_t problems_ = 0;
};

}  // namespace

void read_rows(std::string text, const RowFormat& format, const RowReport& report, RowSet& set) {
  set = {};
  set.text = std::move(text);
  RowReader(format, report, set).read();
}

void KeptRows::add(std::string_view key, std::string_view data) {
  append_csv_value(key, format_.delimiter, body_);
  for (std::size_t at = 0; at != std::string_view::npos;) {
    const std::size_t end = data.find(format_.delimiter, at);
    body_ += format_.delimiter;
    append_csv_value(data.substr(at, end - at), format_.delimiter, body_);
    at = end == std::string_view::npos ? end : end + 1;
  }
  body_ += '\n';
  ++count_;
}

std::string KeptRows::finish() {
  return kept_head(count_, body_) + body_;
}

void read_kept_rows(std::string text, const RowFormat& format, const RowReport& report,
                    RowSet& set) {
  if (text.empty()) {
    set = {};
    return;
  }
  RowFormat kept = format;
  kept.first_line = 2;
  const std::size_t end = text.find('\n');
  const std::string head = text.substr(0, end == std::string::npos ? end : end + 1);
  const std::string_view body = std::string_view(text).substr(head.size());
  const std::size_t space = head.find(' ', kKeptHead.size());
  if (!head.starts_with(kKeptHead) || space == std::string::npos ||
      head.substr(space + 1) != checksum(body) + '\n') {
    report(1, "the file is damaged: its rows are not those that its first line tells of");
    return;
  }
  read_rows(std::move(text), kept, report, set);
}

}  // namespace vsd
