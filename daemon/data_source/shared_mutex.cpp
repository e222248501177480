#include "daemon/data_source/shared_mutex.h"

#include <cerrno>
#include <system_error>

namespace vsd {

void SharedMutex::initialize() {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  const int error = pthread_mutex_init(&mutex_, &attributes);
  pthread_mutexattr_destroy(&attributes);
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), "the lock of the data sources");
  }
}

bool SharedMutex::lock() noexcept {
  if (pthread_mutex_lock(&mutex_) == EOWNERDEAD) {
    pthread_mutex_consistent(&mutex_);
    return false;
  }
  return true;
}

void SharedMutex::unlock() noexcept {
  pthread_mutex_unlock(&mutex_);
}

}  // namespace vsd
