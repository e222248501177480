// The arithmetic and set-up behind the time stamps, apart from the process-wide state and from the
// fixed device and command names, so that it can be tried without the device.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>

namespace wz {

// Outcome of mapping the jiffies counter; the values are set_jiffies_64_bit_ptr's results.
enum class CounterStatus { kMapped = 0, kFailed = -1, kNoDevice = -2 };

// Maps the page of `device` that holds the counter at `address` and points `counter` at it. The
// mapping lives as long as the process.
template <typename AddressReader>
CounterStatus map_counter(const char* device, AddressReader read_address,
                          const volatile unsigned long** counter) {
  const int fd = open(device, O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return errno == ENOENT ? CounterStatus::kNoDevice : CounterStatus::kFailed;
  }
  const std::uint64_t address = read_address();
  const auto page_size = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  const std::uint64_t offset = address % page_size;
  void* page =
      mmap(nullptr, page_size, PROT_READ, MAP_SHARED, fd, static_cast<off_t>(address - offset));
  close(fd);
  if (page == MAP_FAILED) {
    return CounterStatus::kFailed;
  }
  *counter = reinterpret_cast<const volatile unsigned long*>(static_cast<char*>(page) + offset);
  return CounterStatus::kMapped;
}

struct JiffyReading {
  unsigned long reading;  // becomes the thread's last reading
  unsigned long stamp;
  bool wrapped;
};

// Jiffies since `first`, after a reading `now` that follows `last`.
constexpr JiffyReading jiffies_since(unsigned long first, unsigned long last, unsigned long now) {
  const bool wrapped = last > now;
  const unsigned long reading = wrapped ? now - last - 1 : now;
  const unsigned long stamp = reading - first - (first > reading ? 1 : 0);
  return {reading, stamp, wrapped};
}

// First line of a command's output, at most `limit` characters; false when it has none. `started`
// tells whether the command could be run at all.
inline bool first_line_of(const char* command, std::size_t limit, std::string& line,
                          bool& started) {
  FILE* pipe = popen(command, "re");
  started = pipe != nullptr;
  if (!started) {
    return false;
  }
  line.assign(limit + 1, '\0');
  const bool found = std::fgets(line.data(), static_cast<int>(limit + 1), pipe) != nullptr;
  pclose(pipe);
  line.resize(found ? line.find('\0') : 0);
  return found;
}

// Seconds to add to UTC for the local clock, from one instant broken down both ways.
inline time_t local_offset(const struct tm& local, const struct tm& utc) {
  constexpr time_t kDay = 86400;
  const auto second_of_day = [](const struct tm& t) -> time_t {
    return t.tm_hour * 3600 + t.tm_min * 60 + t.tm_sec;
  };
  time_t offset = second_of_day(local) - second_of_day(utc);
  if (local.tm_yday > utc.tm_yday) {
    offset += kDay;
  } else if (local.tm_yday < utc.tm_yday) {
    offset -= kDay;
  }
  return offset;
}

}  // namespace wz
