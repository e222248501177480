// vsd.conf: one keyword and its value a line, `#` starts a comment. The library's keywords are
// collected here and handed over whole by apply_library_settings, because the library's parsers
// change process-wide state and `vsd check` must not depend on the order of lines.
#include "daemon/config.h"

#include <sched.h>
#include <wz/wz_database.h>
#include <wz/wzlb.h>

#include <array>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <utility>

namespace vsd {
namespace {

constexpr const char* kTwinPrefix = "VSD_";
constexpr std::string_view kBlanks = " \t\r";

std::string_view trim(std::string_view text) {
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

template <typename Number>
std::optional<Number> to_number(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
    base = 16;
  }
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc{} || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return value;
}

// A whole number within [low, high]; otherwise the text of the problem.
template <typename Number, typename Target>
std::string set_number(std::string_view value, Number low, Number high, Target& target) {
  const auto number = to_number<Number>(value);
  if (!number || *number < low || *number > high) {
    return "must be a number from " + std::to_string(low) + " to " + std::to_string(high);
  }
  target = Target(*number);
  return {};
}

std::string set_text(std::string_view value, std::string& target) {
  target = value;
  return {};
}

std::string add_listen_address(std::string_view value, Config& config) {
  ListenAddress address;
  std::string problem = parse_listen_address(value, address);
  if (problem.empty()) {
    config.listen.push_back(std::move(address));
  }
  return problem;
}

// The library keeps the text in a buffer of this size, and a cut one would name another server.
std::string set_connection(std::string_view value, std::string& target) {
  target = value;
  return value.size() < WZ_DB_CONNECTION_SIZE
             ? ""
             : "must be shorter than " + std::to_string(WZ_DB_CONNECTION_SIZE) + " characters";
}

std::string set_service_ports(std::string_view value, Config& config) {
  config.free_service_ports = value == "FREE";
  return config.free_service_ports || value == "DECLARED" ? "" : "must be DECLARED or FREE";
}

std::string set_switch(std::string_view value, bool& target) {
  target = value == "ON";
  return target || value == "OFF" ? "" : "must be ON or OFF";
}

// Levels 1 to 4 are the masks of the library's own log.
std::string set_debug_level(std::string_view value, Config& config) {
  constexpr std::array<int, 5> kMasks = {0, 0xFF, 0xFFFF, 0xFFFFFF, -1};
  int level = 0;
  std::string problem = set_number(value, 0L, 4L, level);
  config.debug_level = kMasks[static_cast<std::size_t>(level)];
  return problem;
}

constexpr long kMaxSize = 1L << 40;
constexpr long kMaxSeconds = 86400;

struct Keyword {
  std::string_view name;
  std::string (*set)(std::string_view value, Config& config);
};

constexpr std::string_view kListen = "LISTEN";
constexpr long kMostKeepAlive = 32767;  // the system's own bound, for seconds
constexpr long kMostKeepAliveProbes = 127;

constexpr Keyword kKeywords[] = {
    {kListen, add_listen_address},
    {"WORKERS", [](std::string_view v, Config& c) { return set_number(v, 1L, 256L, c.workers); }},
    {"MAX_HEADER_SIZE",
     [](std::string_view v, Config& c) {
       return set_number(v, 256L, 1L << 20, c.limits.max_header_bytes);
     }},
    {"MAX_BODY_SIZE",
     [](std::string_view v, Config& c) {
       return set_number(v, 0L, kMaxSize, c.limits.max_body_bytes);
     }},
    {"MAX_CONNECTIONS",
     [](std::string_view v, Config& c) {
       c.has_max_connections = true;
       std::string problem = set_number(v, 1L, 1000000L, c.limits.max_connections);
       c.limits.max_datagrams = c.limits.max_connections;
       return problem;
     }},
    {"IDLE_TIMEOUT",
     [](std::string_view v, Config& c) {
       return set_number(v, 1L, kMaxSeconds, c.limits.idle_timeout);
     }},
    {"REQUEST_TIMEOUT",
     [](std::string_view v, Config& c) {
       return set_number(v, 1L, kMaxSeconds, c.limits.request_timeout);
     }},
    {"SERVICE_PORTS", set_service_ports},
    {"TCP_KEEPIDLE",
     [](std::string_view v, Config& c) {
       return set_number(v, 0L, kMostKeepAlive, c.keep_alive.idle);
     }},
    {"TCP_KEEPINTVL",
     [](std::string_view v, Config& c) {
       return set_number(v, 1L, kMostKeepAlive, c.keep_alive.interval);
     }},
    {"TCP_KEEPCNT",
     [](std::string_view v, Config& c) {
       return set_number(v, 1L, kMostKeepAliveProbes, c.keep_alive.count);
     }},
    {"CC", [](std::string_view v, Config& c) { return set_text(v, c.compiler); }},
    {"SCRIPT_CFLAGS", [](std::string_view v, Config& c) { return set_text(v, c.script_flags); }},
    {"SCRIPT_TIMEOUT", [](std::string_view v,
                          Config& c) { return set_number(v, 0L, kMaxSeconds, c.script_timeout); }},
    {"MATCH_DETAIL", [](std::string_view v, Config& c) { return set_switch(v, c.match_detail); }},
    {"CRASH_LIMIT",
     [](std::string_view v, Config& c) { return set_number(v, 0L, 1000L, c.crash_limit); }},
    {"CRASH_WINDOW",
     [](std::string_view v, Config& c) { return set_number(v, 1L, kMaxSeconds, c.crash_window); }},
    {"PID_FILE",
     [](std::string_view v, Config& c) {
       c.has_pid_file = true;
       return set_text(v, c.pid_file);
     }},
    {"ACCESS_LOG", [](std::string_view v, Config& c) { return set_text(v, c.access_log); }},
    {"ADMIN",
     [](std::string_view v, Config& c) { return parse_listen_address(v, c.admin.emplace()); }},
    {"JOURNAL_SIZE",
     [](std::string_view v, Config& c) { return set_number(v, 0L, 1L << 30, c.journal_bytes); }},
    {"USER", [](std::string_view v, Config& c) { return set_text(v, c.user); }},
    {"TRACE_LOG",
     [](std::string_view v, Config& c) { return set_number(v, 0L, 4L, c.trace_level); }},
    {"CONTROLLER_NAME",
     [](std::string_view v, Config& c) { return set_text(v, c.controller_name); }},
    {"DB_CONNECTION",
     [](std::string_view v, Config& c) { return set_connection(v, c.db_connection); }},
    {"MAX_LOAD",
     [](std::string_view v, Config& c) { return set_number(v, 1L, 1000000000L, c.full_load); }},
    {"SVC_TIME_MEAN",
     [](std::string_view v, Config& c) {
       return set_number(v, 1L, kMaxSeconds * 1000, c.service_time_mean);
     }},
    {"RANDOM_SEED",
     [](std::string_view v, Config& c) { return set_number(v, 0UL, ~0UL, c.random_seed); }},
    {"VSD_DEBUG", [](std::string_view v, Config& c) { return set_debug_level(v, c); }},
    {"VSD_MODULEMASK",
     [](std::string_view v, Config& c) { return set_number(v, 0ULL, ~0ULL, c.module_mask); }},
};

constexpr std::string_view kLibraryDebug = "LIB_DEBUG";
constexpr std::string_view kLibraryModuleMask = "LIB_MODULEMASK";
constexpr std::string_view kLibraryLogSize = "LIB_LOG_SIZE";
constexpr std::string_view kLibraryDoExit = "LIB_DO_EXIT";
constexpr std::string_view kTimeStamp = "TIME_STAMP";
constexpr std::array kLibraryKeywords = {kLibraryDebug, kLibraryModuleMask, kLibraryLogSize,
                                         kLibraryDoExit, kTimeStamp};

bool is_library_keyword(std::string_view keyword) {
  for (const std::string_view known : kLibraryKeywords) {
    if (keyword == known) {
      return true;
    }
  }
  return false;
}

std::pair<std::string_view, std::string_view> split_keyword(std::string_view line) {
  const auto end = line.find_first_of(" \t");
  if (end == std::string_view::npos) {
    return {line, {}};
  }
  return {line.substr(0, end), trim(line.substr(end))};
}

// Reads one line that is neither blank nor a comment; returns what is wrong with it, or nothing.
std::string read_line(std::string_view line, int number, Config& config) {
  const auto [keyword, value] = split_keyword(line);
  std::string name(keyword);
  if (value.empty()) {
    return "keyword " + name + " has no value";
  }
  if (is_library_keyword(keyword)) {
    config.library_lines.push_back({std::string(line), number});
    return {};
  }
  for (const Keyword& known : kKeywords) {
    if (known.name == keyword) {
      const std::string problem = known.set(value, config);
      return problem.empty() ? problem : name.append(" ").append(problem);
    }
  }
  return "unknown keyword " + name;
}

// What the library's parser says of `line`, or nothing. The time-stamp keyword and the log size are
// checked here, because the library ends the process on a bad mode and has no parser for the size.
std::string apply_library_line(std::string line) {
  const auto [keyword, value] = split_keyword(line);
  if (keyword == kTimeStamp) {
    int mode = 0;
    std::string problem = set_number(value, 0L, 2L, mode);
    if (problem.empty()) {
      kw_set_time_stamp_mode(line.data());
    }
    return problem;
  }
  if (keyword == kLibraryLogSize) {
    unsigned int size = 0;
    std::string problem = set_number(value, 0L, 0x7FFFFFFFL, size);
    if (problem.empty()) {
      wzlb_util_set_debug_log_size(size);
    }
    return problem;
  }
  if (keyword == kLibraryModuleMask) {
    std::array<char, 1024> message{};
    return set_wzlb_modulemask(line.data(), message.data()) == 0 ? "" : message.data();
  }
  if (keyword == kLibraryDoExit) {
    kw_set_lib_do_exit(line.data());
    return {};
  }
  return set_wzlb_debug(line.data()) == 0 ? "" : "must be a number";
}

constexpr std::size_t kLongestHost = sizeof WzlbListenSettings::host - 1;

// "0" or "host:0": the system is to choose the port.
bool is_free_port(std::string_view value) {
  const auto colon = value.find(':');
  return value == "0" || (colon != std::string_view::npos && value.substr(colon + 1) == "0" &&
                          !to_number<long>(value.substr(0, colon)));
}

}  // namespace

int cores() noexcept {
  cpu_set_t set;
  CPU_ZERO(&set);
  return sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 1;
}

std::string parse_listen_address(std::string_view value, ListenAddress& listen) {
  std::string host;
  const bool is_bracketed = value.starts_with('[');
  if (is_bracketed) {
    const auto end = value.find("]:");
    if (end == std::string_view::npos) {
      return "must be [IPv6 address]:port";
    }
    host = value.substr(1, end - 1);
    value.remove_prefix(end + 2);
  }
  if (!is_bracketed && value.find(':') > kLongestHost && value.size() > kLongestHost) {
    return "must have a host of at most " + std::to_string(kLongestHost) + " characters";
  }
  if (is_free_port(value)) {
    const auto colon = value.find(':');
    if (colon != std::string_view::npos && is_bracketed) {
      return "must be [IPv6 address]:port";
    }
    listen = {colon == std::string_view::npos ? host : std::string(value.substr(0, colon)), 0};
    return {};
  }
  WzlbListenSettings settings{};
  std::array<char, 512> message{};
  std::string text(value);
  if (wzlb_parse_listen_settings(text.data(), &settings, message.data(), message.size()) != 0) {
    return message.data();
  }
  if (is_bracketed && settings.host[0] != '\0') {
    return "must be [IPv6 address]:port";
  }
  listen = {is_bracketed ? std::move(host) : settings.host, settings.listen_port};
  return {};
}

std::vector<Problem> read_config(const std::filesystem::path& file, Config& config) {
  std::vector<Problem> problems;
  std::ifstream in(file);
  std::string text;
  for (int number = 1; std::getline(in, text); ++number) {
    const std::string_view line = trim(std::string_view(text).substr(0, text.find('#')));
    if (line.empty()) {
      continue;
    }
    if (std::string problem = read_line(line, number, config); !problem.empty()) {
      problems.push_back({file, number, std::move(problem)});
    }
  }
  return problems;
}

std::vector<Problem> read_environment(Config& config) {
  std::vector<Problem> problems;
  const auto read_twin = [&](std::string_view keyword) {
    const std::string name = keyword.starts_with(kTwinPrefix) ? std::string(keyword)
                                                              : kTwinPrefix + std::string(keyword);
    const char* const value = std::getenv(name.c_str());
    if (value == nullptr || *value == '\0') {
      return;
    }
    if (keyword == kListen) {
      config.listen.clear();  // those of the file
    }
    std::string problem = read_line(std::string(keyword) + " " + value, 0, config);
    if (!problem.empty()) {
      problems.push_back({name, 0, std::move(problem)});
    }
  };
  for (const Keyword& known : kKeywords) {
    read_twin(known.name);
  }
  for (const std::string_view known : kLibraryKeywords) {
    read_twin(known);
  }
  return problems;
}

std::vector<Problem> apply_library_settings(const Config& config) {
  const std::filesystem::path logs = config.root / "logs";
  std::error_code ignored;  // an unwritable log folder shows when the first line is written
  std::filesystem::create_directories(logs, ignored);
  std::string debug_log = logs / "libwz_debug.log";
  std::string error_log = logs / "libwz_error.log";
  wzlb_util_set_log_filename(debug_log.data(), error_log.data());
  wzlb_set_wdir(config.root.c_str());

  std::vector<Problem> problems;
  for (const LibraryLine& line : config.library_lines) {
    if (std::string problem = apply_library_line(line.text); !problem.empty()) {
      std::string text(split_keyword(line.text).first);
      text.append(": ").append(problem);
      const bool is_in_file = line.line > 0;  // else in the environment
      problems.push_back(
          {is_in_file ? config.root / "vsd.conf" : "environment", line.line, std::move(text)});
    }
  }
  return problems;
}

}  // namespace vsd
