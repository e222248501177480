// "[IP]:<port>:[external_port]": where to listen, and the port that others are told.
#include <wz/wzlb_log.h>
#include <wz/wzlb_sock.h>
#include <wz/wzlb_util.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "libwzcore/internal/trace.h"
#include "libwzcore/wzlb_sock/socket_support.h"

namespace wz {
namespace {

constexpr int kMaxFields = 4;
constexpr int kLowestPort = 80;
constexpr int kLongestLine = 4096;
constexpr int kLongestPath = 4096;

// The fields of one text; null where the text has none.
struct Fields {
  char* host = nullptr;
  char* port = nullptr;
  char* external_port = nullptr;
};

struct CloseFile {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
struct FreeText {
  void operator()(char* text) const noexcept { std::free(text); }
};

// Also right for digits that no integer holds.
int saturated_number(const char* digits) noexcept {
  const unsigned long long number = std::strtoull(digits, nullptr, 10);
  return static_cast<int>(std::min<unsigned long long>(number, INT_MAX));
}

bool read_port(const char* kind, char* text, unsigned short& port,
               const Message& message) noexcept {
  if (wz_is_numeric(text) == 0) {
    message.set("ListenSettings - %s port must be numeric. Port given is %s", kind, text);
    return false;
  }
  const int number = saturated_number(text);
  if (number < kLowestPort || number > kMaxPort) {
    message.set("ListenSettings - %s port must be between 80 and 65535. Port given is %d", kind,
                number);
    return false;
  }
  port = static_cast<unsigned short>(number);
  return true;
}

void copy_host(const char* host, WzlbListenSettings& settings) noexcept {
  const std::size_t length = strnlen(host, sizeof settings.host - 1);
  *std::copy_n(host, length, settings.host) = '\0';
}

// Which field is what; a result above or below 0 ends the parsing.
int assign_fields(char** given, int count, Fields& fields, const Message& message) noexcept {
  switch (count) {
    case 0:
      message.set("Empty input (No port given).");
      return 1;
    case 1:
      (wz_is_numeric(given[0]) != 0 ? fields.port : fields.host) = given[0];
      if (fields.host != nullptr) {
        message.set("Only IP/host name was given. = %s", fields.host);
        return 2;
      }
      return 0;
    case 2:
      if (wz_is_numeric(given[0]) != 0) {
        fields = {.port = given[0], .external_port = given[1]};
      } else {
        fields = {.host = given[0], .port = given[1]};
      }
      return 0;
    case 3:
      fields = {.host = given[0], .port = given[1], .external_port = given[2]};
      return 0;
    default:
      message.set(
          " ListenSettings - Invalid format of listen port settings.Number of token = %d. It "
          "should be in [IP]:<port>:[external_port] format.",
          count);
      return -1;
  }
}

// Parses `text`, which it cuts into fields.
int parse_settings(char* text, WzlbListenSettings& settings, const Message& message) noexcept {
  char* given[kMaxFields] = {};
  const int count = get_tokens(text, given, mutable_text(":"), kMaxFields);
  std::transform(given, given + count, given, wzlb_trim);
  Fields fields;
  const int outcome = assign_fields(given, count, fields, message);
  if (fields.host != nullptr) {
    copy_host(fields.host, settings);
  }
  if (outcome != 0) {
    return outcome;
  }
  if (!read_port("Listen", fields.port, settings.listen_port, message)) {
    return -1;
  }
  settings.external_port = settings.listen_port;
  if (fields.external_port != nullptr &&
      !read_port("External", fields.external_port, settings.external_port, message)) {
    return -1;
  }
  return 0;
}

// Value of the keyword PORT, inside `line`; null when the file has no such line.
char* find_port_keyword(std::FILE* file, char (&line)[kLongestLine]) noexcept {
  constexpr std::string_view kKeyword = "PORT";
  while (wzlb_fgets(line, sizeof line, file) != nullptr) {
    char* keyword = wzlb_trim(line);
    if (std::strncmp(keyword, kKeyword.data(), kKeyword.size()) == 0 &&
        std::strchr(" \t", keyword[kKeyword.size()]) != nullptr) {
      return wzlb_ltrim(keyword + kKeyword.size());
    }
  }
  return nullptr;
}

}  // namespace
}  // namespace wz

using namespace wz;

int wzlb_parse_listen_settings(char* value, WzlbListenSettings* listen_ptr, char* err_msg,
                               int err_len) {
  const Message message(err_msg, err_len);
  if (listen_ptr == nullptr) {
    message.set("ListenSettings - No room for the settings was given.");
    return -1;
  }
  *listen_ptr = {};
  const std::unique_ptr<char, FreeText> text(strdup(value != nullptr ? value : ""));
  if (text == nullptr) {
    message.set("ListenSettings - Out of memory.");
    return -1;
  }
  return parse_settings(text.get(), *listen_ptr, message);
}

int wzlb_get_rmc_listen_settings(WzlbListenSettings* listen_ptr, char* wz_wdir, char* err_msg,
                                 int err_len) {
  const Message message(err_msg, err_len);
  char path[kLongestPath];
  std::snprintf(path, sizeof path, "%s/rmc/conf/rmc.conf", printable(wz_wdir));
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path, "re"));
  if (file == nullptr) {
    message.set("Error in opening file %s. Error: %s", path, wzlb_strerror(errno));
    return -1;
  }
  char line[kLongestLine];
  char* value = find_port_keyword(file.get(), line);
  if (value == nullptr) {
    message.set("Error: Keyword PORT not found in conf file %s.", path);
    return -1;
  }
  return wzlb_parse_listen_settings(value, listen_ptr, err_msg, err_len);
}
