#include "daemon/process/script_counts.h"

#include <sys/mman.h>

#include <cerrno>
#include <system_error>

namespace vsd {

ScriptCounts::ScriptCounts(std::size_t workers) : size_(workers * sizeof(Line)) {
  void* region = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (region == MAP_FAILED) {
    throw std::system_error(errno, std::generic_category(), "shared memory of the workers");
  }
  lines_ = static_cast<Line*>(region);  // zeros are counts of 0
}

ScriptCounts::~ScriptCounts() {
  munmap(lines_, size_);
}

}  // namespace vsd
