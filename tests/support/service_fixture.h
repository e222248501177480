// A service made from declaration lines and a current connection that serves a request to it, with
// the daemon's own loader, image and host operations: what a service script sees, without sockets
// and without a script.
#pragma once

#include <gtest/gtest.h>
#include <wz/vsd_host.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "daemon/data_source/source_session.h"
#include "daemon/service/connection_state.h"
#include "daemon/service/service_image.h"
#include "tests/support/temporary_folder.h"

namespace wz::test {

inline constexpr std::string_view kPlainHead = "GET /test HTTP/1.1\r\nHost: localhost\r\n\r\n";

class ServiceFixture : public ::testing::Test {
 protected:
  ServiceFixture() = default;
  ~ServiceFixture() override;

  // Builds a service from declaration lines and makes a request to it the current one: cur_cptr,
  // cur_url and every declared variable are set as they are before post_recv. A wz_service and a
  // wz_response are added when there are none; files that lines name are looked up in folder().
  // Fails the test when a line is wrong. May be called again for another service.
  void serve(std::string_view declarations, std::string_view head = kPlainHead,
             std::string_view body = {});
  // The next request to the same service.
  void request(std::string_view head, std::string_view body = {});
  // Requests from here on come through one client's connection, a new one with each call; without
  // it each comes through its own.
  void connect() { session_ = std::make_unique<std::unique_ptr<vsd::http::Session>>(); }
  // Ends the request, as after the response.
  void finish();

  [[nodiscard]] const TemporaryFolder& folder() const { return folder_; }
  [[nodiscard]] const vsd::ServiceImage& image() const { return *image_; }
  [[nodiscard]] vsd::ServiceView service() const { return image_->service(0); }
  [[nodiscard]] vsd::ConnectionState& state() { return *state_; }
  [[nodiscard]] connection& current() { return state_->record(); }

  // The variable's entry of the connection's table; fails the test for an unknown name.
  UserVarEntry& entry(std::string_view name);
  // Sets a scalar, NULs included.
  void set(std::string_view name, std::string_view value);
  // A scalar's value; nothing when it was never set.
  std::optional<std::string> value(std::string_view name);
  // Element `number`, counted from 1; nothing when there is none or it was never set.
  std::optional<std::string> element(std::string_view name, unsigned number);

  // Links a forward connection that uses a template with this backend, as for a request that is
  // being forwarded. Valid until the next request.
  void forward_to(std::string_view host, unsigned short port, char proto = VSD_PROTO_HTTP);

 private:
  struct Forward;

  TemporaryFolder folder_;
  std::optional<vsd::DataStore> store_;
  std::optional<vsd::SourceSession> session_of_sources_;
  std::optional<vsd::ServiceImage> image_;
  std::unique_ptr<vsd::ConnectionState> state_;
  std::unique_ptr<std::unique_ptr<vsd::http::Session>> session_;
  std::string head_;
  std::string target_;
  std::string body_;
  std::shared_ptr<Forward> forward_;
};

}  // namespace wz::test
