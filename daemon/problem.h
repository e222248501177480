// Something wrong in a file that the operator wrote, and where.
#pragma once

#include <filesystem>
#include <string>

namespace vsd {

struct Problem {
  std::filesystem::path file;
  int line = 0;  // counted from 1; 0 when the problem is the file itself
  std::string text;
};

// "file:line: text", or "file: text" without a line.
[[nodiscard]] inline std::string to_string(const Problem& problem) {
  std::string out = problem.file.string();
  if (problem.line > 0) {
    out += ':' + std::to_string(problem.line);
  }
  return out + ": " + problem.text;
}

}  // namespace vsd
