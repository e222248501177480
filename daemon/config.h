// The daemon's settings: vsd.conf keyword lines, overridden by the command line.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace vsd {

// What one listener accepts before it answers 408, 413, 414 or 431.
struct HttpLimits {
  std::size_t max_header_bytes = 32 * 1024;       // MAX_HEADER_SIZE
  std::size_t max_body_bytes = 16 * 1024 * 1024;  // MAX_BODY_SIZE
  std::size_t max_connections = 10000;            // MAX_CONNECTIONS, per worker
  std::chrono::seconds idle_timeout{60};          // IDLE_TIMEOUT: between requests
  std::chrono::seconds request_timeout{30};  // REQUEST_TIMEOUT: first to last byte of a request
};

struct Config {
  std::filesystem::path root;  // VSD_ROOT
  std::string listen_host = "127.0.0.1";
  std::uint16_t listen_port = 8080;  // 0: let the system choose, printed at start
  int workers = 1;                   // WORKERS
  HttpLimits limits;
  std::string compiler = "cc";  // CC
  std::string script_flags;     // SCRIPT_CFLAGS
  std::string user;             // USER: dropped to after the listeners are open
};

}  // namespace vsd
