#include "daemon/service/connection_state.h"

#include <wz/wz_database.h>
#include <wz/wzlb_alloc.h>

namespace vsd {
namespace {

constexpr int kHttp1State = 0;

// The value of a hexadecimal digit, or -1.
constexpr int hex_value(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

int flags_of(const http::Request& request) {
  return (request.has_if_modified_since ? VSD_FLAG_IF_MODIFIED_SINCE : 0) |
         (request.has_if_none_match ? VSD_FLAG_IF_NONE_MATCH : 0);
}

}  // namespace

std::optional<std::string_view> query_value(std::string_view url, std::string_view parameter) {
  const std::size_t mark = url.find('?');
  if (mark == std::string_view::npos) {
    return std::nullopt;
  }
  std::string_view query = url.substr(mark + 1);
  for (;;) {
    const std::size_t end = query.find('&');
    const std::string_view field = query.substr(0, end);
    if (field.starts_with(parameter) && field.size() > parameter.size() &&
        field[parameter.size()] == '=') {
      return field.substr(parameter.size() + 1);
    }
    if (end == std::string_view::npos) {
      return std::nullopt;
    }
    query.remove_prefix(end + 1);
  }
}

void append_query_decoded(std::string_view text, std::string& out) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int high = text[i] == '%' && i + 2 < text.size() ? hex_value(text[i + 1]) : -1;
    const int low = high >= 0 ? hex_value(text[i + 2]) : -1;
    if (low >= 0) {
      out += static_cast<char>(high * 16 + low);
      i += 2;
    } else {
      out += text[i] == '+' ? ' ' : text[i];
    }
  }
}

SessionValues& ConnectionState::session() {
  if (*session_ == nullptr) {
    *session_ = std::make_unique<SessionValues>();
  }
  return static_cast<SessionValues&>(**session_);
}

ConnectionState::ConnectionState(const ServiceImage& image)
    : image_(image), services_(image.size()) {
  record_.state = this;
  record_.fd = -1;
  record_.template_id_used = -1;
}

ConnectionState::~ConnectionState() {
  end();
}

std::string_view ConnectionState::part_of(const http::Request& request, RequestPart part) const {
  switch (part) {
    case RequestPart::head:
      return head_;
    case RequestPart::url:
      return url_;
    case RequestPart::body:
      break;
  }
  // An empty body may have no address at all, and the engine wants one.
  return request.body.empty() ? std::string_view("") : request.body;
}

void ConnectionState::begin(const ServiceView& service, const http::Request& request,
                            bool with_blocks) {
  end();
  const std::size_t index = image_.index_of(service);
  if (!services_[index]) {
    services_[index].emplace(service);
  }
  current_ = &*services_[index];
  head_.assign(request.head);
  url_.assign(request.target);

  record_.fd = socket_ = request.socket;
  record_.proto_type = request.protocol;
  record_.conn_state = kHttp1State;
  record_.flag = flags_of(request);
  record_.scptr = service.contract();
  record_.request_url = url_.data();
  record_.uvtable = current_->table.entries();
  record_.conn_link = nullptr;
  record_.template_id_used = -1;
  record_.keep_alive_timeout = 0;
  record_.cur_buf = with_blocks ? blocks_.fill(request.head, request.body) : nullptr;
  record_.bytes = static_cast<long>(request.head.size() + request.body.size());
  record_.request_hdr = {head_.data(), 0};
  record_.callback_variable[0] = '\0';
  record_.callback_variable1[0] = '\0';
  cur_cptr = &record_;
  has_generated_ = !service.generated().empty();
  own_session_.reset();
  session_ = request.session != nullptr ? request.session : &own_session_;
  being_served_ = this;
  g_req_count = load_.count(LoadMeter::Clock::now());
  fill(service, request);
}

void ConnectionState::link_forward(int protocol) {
  forward_.fd = -1;
  forward_.proto_type = static_cast<char>(protocol);
  forward_.flag = VSD_FLAG_FORWARDED;
  forward_.scptr = record_.scptr;
  forward_.template_id_used = record_.template_id_used;
  forward_.conn_link = &record_;
  record_.conn_link = &forward_;
}

void ConnectionState::fill(const ServiceView& service, const http::Request& request) {
  VariableTable& table = current_->table;
  for (const RequestRow& row : service.requests()) {
    set_value(table[static_cast<std::size_t>(row.hash_code)], part_of(request, row.part));
  }
  for (const QueryRow& row : service.queries()) {
    const auto value = query_value(url_, service.text(row.parameter));
    if (!value) {
      continue;
    }
    UserVarEntry& entry = table[static_cast<std::size_t>(row.hash_code)];
    if (row.decode && value->find_first_of("%+") != std::string_view::npos) {
      decoded_.clear();
      append_query_decoded(*value, decoded_);
      set_value(entry, decoded_);
    } else {
      set_value(entry, *value);
    }
  }
  for (const SearchRow& row : service.searches()) {
    if (row.in_hash_code == kNoVariable) {
      current_->searches.run(row, part_of(request, row.part),
                             table[static_cast<std::size_t>(row.hash_code)]);
    }
  }
}

void ConnectionState::rerun_search(int hash_code) {
  if (current_ == nullptr) {
    return;
  }
  const ServiceView service(record_);
  const VarTransTableEntry& variable = service.variable(hash_code);
  if (variable.var_type != VSD_SEARCH_VAR) {
    return;
  }
  const SearchRow& row = service.searches()[static_cast<std::size_t>(variable.table_idx)];
  if (row.in_hash_code == kNoVariable) {
    return;
  }
  const UserVarEntry& in = current_->table[static_cast<std::size_t>(row.in_hash_code)];
  const std::string_view text = in.value.value == nullptr
                                    ? std::string_view("")
                                    : std::string_view(in.value.value, in.length);
  current_->searches.run(row, text, current_->table[static_cast<std::size_t>(hash_code)]);
}

void ConnectionState::end() noexcept {
  if (current_ == nullptr) {
    return;
  }
  current_->table.reset();
  release_response();
  wz_db_release_earlier_results();
  record_.cur_buf = nullptr;
  record_.conn_link = nullptr;
  record_.scptr = nullptr;
  record_.uvtable = nullptr;
  current_ = nullptr;
  being_served_ = nullptr;
  cur_cptr = nullptr;
  cur_url = nullptr;
  kpi_magic = nullptr;  // it points into a buffer of the script
}

void ConnectionState::release_response() noexcept {
  UrlDynamicData* data = record_.url_data;
  if (data == nullptr) {
    return;
  }
  if (data->content_type != nullptr) {
    WZLB_FREE(data->content_type->content_type_hdr, "content_type_hdr", -1);
    WZLB_FREE(data->content_type, "content_type", -1);
  }
  WZLB_FREE(data->http_hdrs, "http_hdrs", -1);
  WZLB_FREE(data->forward_req_header, "forward_req_header", -1);
  WZLB_FREE(data, "url_data", -1);
  record_.url_data = nullptr;
}

}  // namespace vsd
