// The library's view of the request that a worker serves: one connection record, used again and
// again, with the variable tables of the services it has served.
#pragma once

#include <wz/vsd_host.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "daemon/http/message.h"
#include "daemon/service/load_meter.h"
#include "daemon/service/request_blocks.h"
#include "daemon/service/search_runner.h"
#include "daemon/service/service_image.h"
#include "daemon/service/session_values.h"
#include "daemon/service/variable_table.h"

namespace vsd {

class ConnectionState;

// The record behind every cur_cptr of this host, so that a host operation finds its way back.
struct HostConnection : connection {
  ConnectionState* state = nullptr;
};

// One per worker: requests are served one at a time. Not movable, because scripts and the library
// hold the record's address.
class ConnectionState {
 public:
  // `image` must outlive this object.
  explicit ConnectionState(const ServiceImage& image);
  ConnectionState(const ConnectionState&) = delete;
  ConnectionState& operator=(const ConnectionState&) = delete;
  ~ConnectionState();

  // Makes `request` for `service` the current one: fills the record and every declared variable
  // and sets cur_cptr. The request's text must stay until end(). `with_blocks` also puts it into
  // linked blocks, for scripts that read it raw.
  void begin(const ServiceView& service, const http::Request& request, bool with_blocks = false);

  // Releases what the request and its script have left and clears cur_cptr and the other globals
  // that refer to the request. Without a begin() it does nothing.
  void end() noexcept;

  // The one whose request is being served; null between requests.
  [[nodiscard]] static ConnectionState* current() noexcept { return being_served_; }

  [[nodiscard]] connection& record() { return record_; }
  [[nodiscard]] const connection& record() const { return record_; }
  // Links the record of a forward to the current one: the request goes to the backend of the
  // response that `template_id_used` names. `protocol` is one of VSD_PROTO_*.
  void link_forward(int protocol);
  // A script has asked for the backend's answer instead of the service's own.
  [[nodiscard]] bool wants_forward() const { return (record_.flag & VSD_FLAG_FORWARDED) != 0; }

  // A script has reset the client's connection.
  [[nodiscard]] bool is_reset() const { return record_.fd < 0 && socket_ >= 0; }
  // What wz_get_url returns while it may be called: the request target, NUL-terminated.
  [[nodiscard]] char* url() { return url_.data(); }

  // Whether variables of the service get their values only when they are looked up.
  [[nodiscard]] bool has_generated() const { return has_generated_; }
  // An entry of the current request's variable table.
  [[nodiscard]] UserVarEntry& entry(std::size_t slot) { return current_->table[slot]; }
  // What stays the same as long as the client's connection, or, for a request without one, until
  // the next request.
  [[nodiscard]] SessionValues& session();

  // Runs every search with this hash code over the current value of the variable that it searches.
  void rerun_search(int hash_code);

 private:
  // What is kept of a service between requests.
  struct ServiceState {
    explicit ServiceState(const ServiceView& service) : table(service), searches(service) {}
    VariableTable table;
    SearchRunner searches;
  };

  void fill(const ServiceView& service, const http::Request& request);
  [[nodiscard]] std::string_view part_of(const http::Request& request, RequestPart part) const;
  void release_response() noexcept;

  const ServiceImage& image_;
  std::vector<std::optional<ServiceState>>
      services_;  // by position in the image, made on first use
  // One request is served at a time.
  static constinit inline ConnectionState* being_served_ = nullptr;

  ServiceState* current_ = nullptr;
  bool has_generated_ = false;
  std::unique_ptr<http::Session>* session_ = &own_session_;
  std::unique_ptr<http::Session> own_session_;  // for requests without a connection
  HostConnection record_{};
  connection forward_{};  // conn_link of a forwarded request
  int socket_ = -1;       // the client's
  LoadMeter load_;
  RequestBlocks blocks_;
  std::string head_;  // NUL-terminated copies: what follows them in the connection's buffer is
  std::string url_;   // no part of them
  std::string decoded_;
};

// The value of a parameter of the query in `url`, as written; nothing when there is none.
[[nodiscard]] std::optional<std::string_view> query_value(std::string_view url,
                                                          std::string_view parameter);
// Appends `text` with %XX and '+' resolved; a '%' without two hexadecimal digits stays.
void append_query_decoded(std::string_view text, std::string& out);

}  // namespace vsd
