// One JSON object a line for every request, those that could not be read included. A line is one
// write, so that lines of several workers do not mix and none is lost with a worker.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "daemon/file_descriptor.h"
#include "daemon/http/message.h"
#include "daemon/service/request_runner.h"

namespace vsd {

// Passes requests on to the services and writes down what they answered.
class AccessLog final : public http::RequestHandler {
 public:
  // `file` is appended to; "-" is standard output. A file that cannot be opened is told of on
  // standard error, and its lines are dropped until reopen() succeeds. `services` must outlive the
  // log.
  AccessLog(std::filesystem::path file, unsigned worker, ServiceRunner& services);

  // Opens the file anew, for whoever has moved it away.
  void reopen();

  void handle(const http::Request& request, http::Response& response) override;
  void refused(const http::Request& request, const http::Response& response) override;
  void forwarded(const http::Request& request, const http::Response& response,
                 std::chrono::steady_clock::duration duration) override;

 private:
  void log(const http::Request& request, const http::Response& response,
           std::chrono::steady_clock::duration duration);
  void write_line();
  void tell_of_error() const;

  std::filesystem::path file_;
  unsigned worker_;
  ServiceRunner& services_;
  FileDescriptor log_;
  bool is_failing_ = false;  // the last line could not be written
  bool is_cut_ = false;      // ... to its end
  std::string line_;
};

}  // namespace vsd
