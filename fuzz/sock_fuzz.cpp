// Server names and listen settings. Input: one text for both.
#include <wz/wzlb.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/fuzz_support.h"

namespace {

using wz::fuzz::QuietStream;
using wz::fuzz::require;

// What is taken apart is made of the text's own parts.
void split(std::string text) {
  int port = -2;
  const QuietStream quiet;
  const char* host = wzlb_split_host_port(text.data(), &port);
  if (host == nullptr) {
    require(port == -2);
    return;
  }
  require(port >= -1 && port <= 65535);
  require(host[0] != '\0' && std::strstr(text.c_str(), host) != nullptr);
}

void read_settings(std::string text) {
  const std::string before = text;
  char message[64] = "";
  WzlbListenSettings settings;
  std::memset(&settings, 0xFF, sizeof settings);
  const int result = wzlb_parse_listen_settings(text.data(), &settings, message, sizeof message);
  require(text == before);
  require(std::strlen(settings.host) < sizeof settings.host);
  require((result == 0) == (message[0] == '\0'));
  if (result == 0) {
    require(settings.listen_port >= 80 && settings.external_port >= 80);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  split(text.c_str());
  read_settings(text.c_str());
  return 0;
}
