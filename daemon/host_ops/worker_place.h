// Which of the worker processes this is.
#pragma once

namespace vsd {

struct WorkerPlace {
  int index = 0;
  int count = 1;
};

[[nodiscard]] const WorkerPlace& worker_place() noexcept;

}  // namespace vsd
