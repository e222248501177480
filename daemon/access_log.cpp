#include "daemon/access_log.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>
#include <utility>

namespace vsd {
namespace {

std::string utc_now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  std::tm fields{};
  gmtime_r(&now.tv_sec, &fields);
  std::array<char, 40> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &fields);
  std::snprintf(text.data() + length, text.size() - length, ".%03ldZ", now.tv_nsec / 1000000);
  return text.data();
}

// "127.0.0.1:40000" or "[::1]:40000"; empty when the client is gone.
std::string client_of(int socket) {
  sockaddr_storage name{};
  socklen_t length = sizeof name;
  if (getpeername(socket, reinterpret_cast<sockaddr*>(&name), &length) != 0) {
    return {};
  }
  std::array<char, INET6_ADDRSTRLEN> text{};
  if (name.ss_family == AF_INET6) {
    const auto& address = reinterpret_cast<const sockaddr_in6&>(name);
    inet_ntop(AF_INET6, &address.sin6_addr, text.data(), text.size());
    return "[" + std::string(text.data()) + "]:" + std::to_string(ntohs(address.sin6_port));
  }
  const auto& address = reinterpret_cast<const sockaddr_in&>(name);
  inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size());
  return std::string(text.data()) + ":" + std::to_string(ntohs(address.sin_port));
}

// A member of the object: its name and the text as a JSON string. Bytes that are no ASCII are taken
// for Latin-1, so that the line is valid whatever a client sends.
void append_text(std::string& out, std::string_view name, std::string_view text) {
  constexpr std::string_view kHex = "0123456789abcdef";
  out.append(",\"").append(name).append("\":\"");
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (byte < 0x20 || byte > 0x7e) {
      out += "\\u00";
      out += kHex[byte >> 4U];
      out += kHex[byte & 0xFU];
    } else {
      out += c;
    }
  }
  out += '"';
}

void append_number(std::string& out, std::string_view name, std::uint64_t value) {
  out.append(",\"").append(name).append("\":").append(std::to_string(value));
}

}  // namespace

AccessLog::AccessLog(std::filesystem::path file, unsigned worker, ServiceRunner& services)
    : file_(std::move(file)), worker_(worker), services_(services) {
  reopen();
}

void AccessLog::tell_of_error() const {
  std::fprintf(stderr, "vsd: worker %u cannot write %s: %s\n", worker_, file_.c_str(),
               std::strerror(errno));
}

void AccessLog::reopen() {
  log_ = FileDescriptor(file_ == "-"
                            ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                            : open(file_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0640));
  if (!log_) {
    tell_of_error();
  }
}

void AccessLog::handle(const http::Request& request, http::Response& response) {
  const auto begin = std::chrono::steady_clock::now();
  services_.handle(request, response);
  if (response.forward == nullptr) {
    log(request, response, std::chrono::steady_clock::now() - begin);
  }
}

// The client's first line stands for the target, so that one sees what it meant.
void AccessLog::refused(const http::Request& request, const http::Response& response) {
  constexpr std::size_t kMost = 256;
  http::Request shown = request;
  if (shown.method.empty()) {
    shown.target = request.head.substr(0, std::min(request.head.find_first_of("\r\n"), kMost));
  }
  log(shown, response, {});
}

void AccessLog::forwarded(const http::Request& request, const http::Response& response,
                          std::chrono::steady_clock::duration duration) {
  log(request, response, duration);
}

void AccessLog::log(const http::Request& request, const http::Response& response,
                    std::chrono::steady_clock::duration duration) {
  if (!log_) {
    return;
  }
  line_.assign(is_cut_ ? "\n{\"time\":\"" : "{\"time\":\"").append(utc_now()).append("\"");
  append_number(line_, "worker", worker_);
  append_text(line_, "client",
              request.client.empty() ? client_of(request.socket) : std::string(request.client));
  append_text(line_, "method", request.method);
  append_text(line_, "target", request.target);
  append_text(line_, "service", services_.service_name(response.service));
  append_number(line_, "status", static_cast<std::uint64_t>(response.status));
  append_number(line_, "request_bytes", request.head.size() + request.body.size());
  append_number(line_, "body_bytes", response.body.size() + response.streamed);
  append_number(line_, "duration_us",
                static_cast<std::uint64_t>(
                    std::chrono::duration_cast<std::chrono::microseconds>(duration).count()));
  append_number(line_, "service_time_ms", static_cast<std::uint64_t>(response.delay.count()));
  line_ += "}\n";
  write_line();
}

// A log that cannot be written to must not stop the service; it is told of once.
void AccessLog::write_line() {
  const ssize_t written = write(log_.get(), line_.data(), line_.size());
  const bool is_whole = written == static_cast<ssize_t>(line_.size());
  if (!is_whole && !is_failing_) {
    tell_of_error();
  }
  is_failing_ = !is_whole;
  is_cut_ = !is_whole && (written > 0 || is_cut_);
}

}  // namespace vsd
