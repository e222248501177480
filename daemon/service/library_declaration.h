// Declarations that the library's own readers take.
#pragma once

#include <wz/wzlb_parse_api.h>

#include <string>

namespace vsd {

// What such a reader has left: texts by the offsets in the row, and what is wrong.
struct LibraryReading {
  std::string texts;
  std::string problem;  // empty when all is well

  // The text at an offset of the row; empty for none.
  [[nodiscard]] const char* text(wz_bigbuf_t offset) const {
    return offset < texts.size() ? texts.c_str() + offset : "";
  }
};

template <typename Row>
using LibraryReader = int (*)(Row* row, char* line, int line_number, int session, char* name,
                              char* long_name, char* file);

// Starts a reading: sets the library's parameter module up, once, and forgets the last reading.
void begin_library_reading();
// Ends it. `result` is the reader's, `otherwise` what is wrong when it has not said so.
[[nodiscard]] LibraryReading end_library_reading(int result, const char* otherwise);

// Reads `line` into `row`. `otherwise`: see end_library_reading.
template <typename Row>
[[nodiscard]] LibraryReading read_with_library(LibraryReader<Row> reader, std::string line,
                                               int line_number, Row& row, const char* otherwise) {
  char session[] = "vsd";
  begin_library_reading();
  return end_library_reading(reader(&row, line.data(), line_number, 0, session, session, session),
                             otherwise);
}

}  // namespace vsd
