// The rows of a data source as they are read from a file: from the operator's own, or from the one
// that keeps the rows of a data source beyond the end of the daemon.
#pragma once

#include <deque>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/problem.h"

namespace vsd {

// How rows are written.
struct RowFormat {
  char delimiter = ',';
  std::vector<std::string> columns;  // their names; the first one is the key
  int first_line = 1;                // of the file, that holds a row
};

struct RowSet {
  struct Row {
    std::string_view key;
    std::string_view data;  // the other columns, joined by the delimiter
    int line = 0;
  };
  std::string text;
  std::deque<std::string> joined;  // data that the text does not hold in one piece
  std::vector<Row> rows;           // by key
};

using RowReport = std::function<void(int line, std::string text)>;

// Reads `text` into `set`. What is wrong is reported with its line.
void read_rows(std::string text, const RowFormat& format, const RowReport& report, RowSet& set);

// The text of a file that keeps rows: a line that tells their number and checksum, then the rows.
class KeptRows {
 public:
  explicit KeptRows(const RowFormat& format) : format_(format) {}
  void add(std::string_view key, std::string_view data);
  // The whole file. Nothing can be added afterwards.
  [[nodiscard]] std::string finish();

 private:
  const RowFormat& format_;
  std::size_t count_ = 0;
  std::string body_;
};

// Reads what finish() has made; a file without a byte has no rows.
void read_kept_rows(std::string text, const RowFormat& format, const RowReport& report,
                    RowSet& set);

}  // namespace vsd
