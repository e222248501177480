// A mutex in memory that processes share. One that is killed while it holds it does not take it
// along: the next one gets it and is told.
#pragma once

#include <pthread.h>

namespace vsd {

class SharedMutex {
 public:
  // In zeroed shared memory, by one process before the others are forked. Throws std::system_error.
  void initialize();

  // False: its last holder has died in possession of it.
  [[nodiscard]] bool lock() noexcept;
  void unlock() noexcept;

 private:
  pthread_mutex_t mutex_;
};

}  // namespace vsd
