// The library's Hessian functions for a program that speaks lines: "recode VERSION HEX" decodes a
// message and encodes the document again, "encode VERSION XML" and "decode VERSION HEX" do one half
// (a document without its line ends). One line answers each; "failed" for what cannot be done.
#include <wz/wzlb.h>

#include <cstring>
#include <iostream>
#include <string>

#include "tests/support/hex.h"

namespace {

using wz::test::bytes_of;
using wz::test::hex_of;

std::string decode(std::string message) {
  int length = static_cast<int>(message.size());
  const int size = wz_hessian_to_xml(message.data(), &length);
  const std::string document(hessian_asc_ptr, static_cast<std::size_t>(size));
  return document.ends_with("</hessian>") ? document : "";
}

std::string encode(std::string document) {
  std::string message(document.size() * 2 + 16, '\0');
  int length = 0;
  const char* done = hessian_encode(1, document.data(), static_cast<int>(document.size()),
                                    message.data(), &length);
  return done != nullptr ? hex_of(message.substr(0, static_cast<std::size_t>(length))) : "failed";
}

}  // namespace

int main() {
  std::string command;
  int version = 0;
  for (std::string data;
       std::cin >> command >> version && std::getline(std::cin >> std::ws, data);) {
    hessian_set_version(version);
    std::string answer = command == "encode" ? encode(data) : decode(bytes_of(data));
    if (command == "recode") {
      answer = encode(answer);
    }
    std::erase(answer, '\n');
    std::cout << (answer.empty() ? "failed" : answer) << std::endl;
  }
  return 0;
}
