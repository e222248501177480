// Server names: their parts, and the addresses that they stand for.
#include <arpa/inet.h>
#include <netdb.h>
#include <wz/wzlb_log.h>
#include <wz/wzlb_sock.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "libwzcore/wzlb_sock/socket_support.h"

namespace wz {
namespace {

constexpr const char* kInvalidInput = "Invalid input = %s";
constexpr std::size_t kMaxPathLength = sizeof sockaddr_un::sun_path;
static_assert(kMaxPathLength == 108, "the message names this length");

using HostText = std::array<char, NI_MAXHOST>;
using AddressList = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

// A port in digits; nothing for other text and beyond 65535, however many the digits.
std::optional<int> port_number(std::string_view text) noexcept {
  if (text.empty()) {
    return std::nullopt;
  }
  int port = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') {
      return std::nullopt;
    }
    port = port * 10 + (c - '0');
    if (port > kMaxPort) {
      return std::nullopt;
    }
  }
  return port;
}

bool is_host(std::string_view text) noexcept {
  return !text.empty() && text.size() < NI_MAXHOST &&
         text.find_first_of("[]") == std::string_view::npos;
}

std::optional<HostPort> host_and_port(std::string_view host, std::string_view port) noexcept {
  const std::optional<int> number = port_number(port);
  if (!is_host(host) || !number) {
    return std::nullopt;
  }
  return HostPort{host, *number};
}

std::optional<HostPort> host_alone(std::string_view host) noexcept {
  if (!is_host(host)) {
    return std::nullopt;
  }
  return HostPort{host, kNoPort};
}

// "[host]" or "[host]:port".
std::optional<HostPort> split_bracketed(std::string_view name) noexcept {
  const auto end = name.find(']');
  if (end == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view host = name.substr(1, end - 1);
  const std::string_view rest = name.substr(end + 1);
  if (host.find(':') == std::string_view::npos) {
    return std::nullopt;
  }
  if (rest.empty()) {
    return host_alone(host);
  }
  return rest[0] == ':' ? host_and_port(host, rest.substr(1)) : std::nullopt;
}

AddressList resolve(std::string_view host, int& error) noexcept {
  HostText name;
  *std::copy(host.begin(), host.end(), name.begin()) = '\0';
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;  // one entry an address
  addrinfo* found = nullptr;
  error = getaddrinfo(name.data(), nullptr, &hints, &found);
  return {found, &freeaddrinfo};
}

// IPv4 first: the blocking clients have IPv4 sockets.
const addrinfo& preferred(const addrinfo& list) noexcept {
  for (const addrinfo* entry = &list; entry != nullptr; entry = entry->ai_next) {
    if (entry->ai_family == AF_INET) {
      return *entry;
    }
  }
  return list;
}

socklen_t copy_address(SocketAddress& address, const addrinfo& entry, int port,
                       const char* server_name, const Message& message) noexcept {
  const in_port_t network_port = htons(static_cast<in_port_t>(port));
  switch (entry.ai_family) {
    case AF_INET:
      std::memcpy(&address.v4, entry.ai_addr, sizeof address.v4);
      address.v4.sin_port = network_port;
      return sizeof address.v4;
    case AF_INET6:
      std::memcpy(&address.v6, entry.ai_addr, sizeof address.v6);
      address.v6.sin6_port = network_port;
      return sizeof address.v6;
    default:
      message.set("Unsupported protocol address family %d for Server '%s'.", entry.ai_family,
                  server_name);
      return 0;
  }
}

void report_resolution(int error, const Message& message) noexcept {
  const bool by_system = error == EAI_SYSTEM;
  const char* reason = by_system ? wzlb_strerror(errno) : gai_strerror(error);
  message.set("SysErr(%d): %s", by_system ? errno : error, reason);
}

}  // namespace

std::optional<HostPort> split_server_name(std::string_view name) noexcept {
  if (name.empty()) {
    return std::nullopt;
  }
  if (name[0] == '/') {
    return name.size() < NI_MAXHOST ? std::optional(HostPort{name, kNoPort}) : std::nullopt;
  }
  if (name[0] == '[') {
    return split_bracketed(name);
  }
  const auto colon = name.find(':');
  if (colon == std::string_view::npos || colon != name.rfind(':')) {
    return host_alone(name);
  }
  return host_and_port(name.substr(0, colon), name.substr(colon + 1));
}

socklen_t fill_address(SocketAddress& address, const char* server_name, int default_port,
                       const Message& message) noexcept {
  address = {};
  const auto parts =
      server_name != nullptr ? split_server_name(server_name) : std::optional<HostPort>();
  if (!parts) {
    message.set(kInvalidInput, printable(server_name));
    return 0;
  }
  const int port = parts->port != kNoPort ? parts->port : default_port;
  if (port < 0) {
    message.set("Port is missing in Server '%s' and no default port is provided.", server_name);
    return 0;
  }
  if (port > kMaxPort) {
    message.set("Port %d for Server '%s' is out of range.", port, server_name);
    return 0;
  }
  int error = 0;
  const AddressList found = resolve(parts->host, error);
  if (error != 0) {
    report_resolution(error, message);
    return 0;
  }
  return copy_address(address, preferred(*found), port, server_name, message);
}

}  // namespace wz

using namespace wz;

int wzlb_fill_sockaddr_ex(struct sockaddr_in6* addr, char* server_name, int default_port,
                          char* err_msg) {
  if (addr == nullptr) {
    Message(err_msg).set(kInvalidInput, printable(nullptr));
    return 0;
  }
  SocketAddress address;
  const socklen_t length = fill_address(address, server_name, default_port, Message(err_msg));
  *addr = address.v6;
  return static_cast<int>(length);
}

int wzlb_fill_sockaddr_ex_r(struct sockaddr_in6* addr, char* server_name, int default_port,
                            char* err_msg) {
  return wzlb_fill_sockaddr_ex(addr, server_name, default_port, err_msg);
}

int wzlb_fill_sockaddr(struct sockaddr_in6* addr, char* server_name, int default_port) {
  return with_kept_message(Print::kNo, [&](char* text) {
    return wzlb_fill_sockaddr_ex(addr, server_name, default_port, text);
  });
}

int wzlb_fill_sockaddr_unix(struct sockaddr_un* addr, char* addr_path, char* err_msg) {
  if (addr == nullptr || addr_path == nullptr) {
    Message(err_msg).set(kInvalidInput, printable(addr_path));
    return 0;
  }
  const std::size_t length = std::strlen(addr_path);
  if (length > kMaxPathLength) {
    Message(err_msg).set("Address path specified exceeds unix socket path length of 108.");
    return 0;
  }
  *addr = {};
  addr->sun_family = AF_UNIX;
  std::memcpy(addr->sun_path, addr_path, length);
  return sizeof *addr;
}

char* wzlb_split_host_port(char* svr, int* hport) {
  const auto parts = svr != nullptr ? split_server_name(svr) : std::optional<HostPort>();
  if (!parts) {
    std::fprintf(stderr, kInvalidInput, printable(svr));
    return nullptr;
  }
  if (hport != nullptr) {
    *hport = parts->port;
  }
  static thread_local HostText host;
  *std::copy(parts->host.begin(), parts->host.end(), host.begin()) = '\0';
  return host.data();
}
