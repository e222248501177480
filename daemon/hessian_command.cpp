#include "daemon/hessian_command.h"

#include <fcntl.h>
#include <unistd.h>
#include <wz/wzlb_hessian.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <stdexcept>
#include <system_error>

#include "daemon/file_descriptor.h"

namespace vsd {
namespace {

constexpr const char* kStandardInput = "standard input";

std::string read_input(const HessianOptions& options) {
  std::string content;
  if (options.file.empty()) {
    content = read_to_end(STDIN_FILENO);
  } else {
    const FileDescriptor file(open(options.file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) {
      throw std::runtime_error("cannot read " + options.file + ": " +
                               std::generic_category().message(errno));
    }
    content = read_to_end(file.get());
  }
  if (content.size() > INT_MAX / 2) {
    throw std::runtime_error("a message of more than a gigabyte");
  }
  return content;
}

int decode(const HessianOptions& options, std::string message, const char* name) {
  const auto decoder = options.version == 1 ? hessian_decode : hessian2_decode;
  const int size = static_cast<int>(message.size());
  int position = size;
  constexpr int kToFile = 0;
  constexpr int kNoIndent = 0;
  const bool decoded = decoder(kToFile, stdout, kNoIndent, message.data(), &position) != nullptr;
  std::fputc('\n', stdout);
  if (!decoded) {
    std::fprintf(stderr, "vsd: %s is no Hessian %d message: byte %d of %d\n", name, options.version,
                 position, size);
    return kExitFailed;
  }
  return kExitOk;
}

int encode(const HessianOptions& options, std::string document, const char* name) {
  hessian_set_version(options.version);
  std::string message(document.size() * 2 + 16, '\0');
  int length = 0;
  if (hessian_encode(1, document.data(), static_cast<int>(document.size()), message.data(),
                     &length) == nullptr) {
    std::fprintf(stderr, "vsd: %s is no document that makes a Hessian %d message\n", name,
                 options.version);
    return kExitFailed;
  }
  std::fwrite(message.data(), 1, static_cast<std::size_t>(length), stdout);
  return kExitOk;
}

}  // namespace

int hessian_command(const CommandLine& line) {
  const HessianOptions& options = line.hessian;
  const std::string name = options.file.empty() ? kStandardInput : options.file;
  std::string input = read_input(options);
  const int status = options.encode ? encode(options, std::move(input), name.c_str())
                                    : decode(options, std::move(input), name.c_str());
  if (std::fflush(stdout) != 0) {
    throw std::runtime_error("cannot write: " + std::generic_category().message(errno));
  }
  return status;
}

}  // namespace vsd
