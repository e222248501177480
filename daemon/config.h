// The daemon's settings: vsd.conf keyword lines, overridden by the command line.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/problem.h"

namespace vsd {

// What one listener accepts before it answers 408, 413, 414 or 431.
struct HttpLimits {
  std::size_t max_header_bytes = 32 * 1024;       // MAX_HEADER_SIZE
  std::size_t max_body_bytes = 16 * 1024 * 1024;  // MAX_BODY_SIZE
  std::size_t max_connections = 60000;            // MAX_CONNECTIONS, per worker
  std::size_t max_datagrams = max_connections;    // the same, of answers that wait
  std::chrono::seconds idle_timeout{60};          // IDLE_TIMEOUT: between requests
  std::chrono::seconds request_timeout{30};       // REQUEST_TIMEOUT: first to last byte
};

// The cores that this process may run on.
[[nodiscard]] int cores() noexcept;

// Where to listen. An empty host means every address.
struct ListenAddress {
  std::string host;
  std::uint16_t port = 0;  // 0: the system chooses one, the ready line tells which

  friend bool operator==(const ListenAddress&, const ListenAddress&) = default;
};

inline const ListenAddress kDefaultListen{"127.0.0.1", 8080};

// Probes that find out whether a silent client is still there.
struct KeepAlive {
  int idle = 0;       // TCP_KEEPIDLE: seconds of silence before the first probe; 0: no probes
  int interval = 75;  // TCP_KEEPINTVL: seconds between probes
  int count = 9;      // TCP_KEEPCNT: unanswered probes that end a connection
};

// A keyword line that the library's own parsers take, kept whole with its place for messages.
struct LibraryLine {
  std::string text;
  int line = 0;
};

struct Config {
  std::filesystem::path root;         // VSD_ROOT: the work directory
  std::vector<ListenAddress> listen;  // LISTEN [IP:]port[:external port], one a line
  int workers = cores();              // WORKERS
  HttpLimits limits;
  bool has_max_connections = false;  // the operator wants that many
  KeepAlive keep_alive;
  bool free_service_ports = false;          // SERVICE_PORTS: FREE instead of those declared
  std::string compiler = "cc";              // CC
  std::string script_flags;                 // SCRIPT_CFLAGS, split at blanks
  std::chrono::seconds script_timeout{10};  // SCRIPT_TIMEOUT: then the worker is replaced; 0: never
  bool match_detail = true;                 // MATCH_DETAIL: a 404 names the nearest services
  int trace_level = 0;                      // TRACE_LOG: above 0, scripts trace by default
  std::string controller_name;              // CONTROLLER_NAME: what scripts are told
  long full_load = 1000;                    // MAX_LOAD: requests per second
  long service_time_mean = 100;             // SVC_TIME_MEAN: of exponential service times, in ms
  std::string db_connection;  // DB_CONNECTION: for libpq; empty: the library's default
  std::optional<unsigned long> random_seed;  // RANDOM_SEED; without one each start differs
  std::size_t crash_limit = 5;            // CRASH_LIMIT: then a service is out of service; 0: never
  std::chrono::seconds crash_window{60};  // CRASH_WINDOW: in which crashes are counted
  std::string pid_file = "vsd.pid";       // PID_FILE, below `root` unless absolute
  bool has_pid_file = false;              // the operator has named one
  std::string access_log;                 // ACCESS_LOG, below `root` unless absolute; empty: none
  std::optional<ListenAddress> admin;     // ADMIN [IP:]port; absent: no admin listener
  std::size_t journal_bytes = 4U << 20U;  // JOURNAL_SIZE: of the requests that it shows
  std::string user;                       // USER: dropped to once the listeners are open
  int debug_level = 0;                    // VSD_DEBUG: level mask of the host's log
  unsigned long long module_mask = ~0ULL;  // VSD_MODULEMASK
  std::vector<LibraryLine> library_lines;  // LIB_DEBUG, LIB_MODULEMASK, LIB_DO_EXIT, ...
};

// Reads "8080", "127.0.0.1:8080" or the three-field form with an external port, which is checked
// and otherwise unused, as the library does; and port 0 and "[::1]:8080", which it does not know.
// Returns an empty text, or what is wrong with `value`.
[[nodiscard]] std::string parse_listen_address(std::string_view value, ListenAddress& listen);

// Reads the keyword lines of `file` into `config`; every bad line is one problem. A missing file is
// no problem: the defaults serve.
[[nodiscard]] std::vector<Problem> read_config(const std::filesystem::path& file, Config& config);

// Overrides `config` with the variables of the environment: VSD_ and the keyword, or the keyword
// alone when it begins with VSD_ itself. Empty ones count as absent.
[[nodiscard]] std::vector<Problem> read_environment(Config& config);

// Hands the library's keyword lines to the library's parsers and names its log files below
// `<root>/logs`. Process-wide; call once, before anything logs.
[[nodiscard]] std::vector<Problem> apply_library_settings(const Config& config);

}  // namespace vsd
