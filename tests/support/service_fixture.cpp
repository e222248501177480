#include "tests/support/service_fixture.h"

#include <sstream>
#include <vector>

#include "daemon/service/service_loader.h"

namespace wz::test {

// A forward connection with a service record of its own: one template and its string pool.
struct ServiceFixture::Forward {
  struct {
    scontents service{};
    Cr_file_seg response{};
    char pool[256] = {};
  } image;
  connection link{};
};

ServiceFixture::~ServiceFixture() {
  finish();
}

void ServiceFixture::serve(std::string_view declarations, std::string_view head,
                           std::string_view body) {
  finish();
  state_.reset();
  std::string text(declarations);
  if (text.find("wz_service(") == std::string::npos) {
    text += "\nwz_service(test, method=\"GET|POST\", url=\"/test\");";
  }
  if (text.find("wz_response(") == std::string::npos) {
    folder_.write("response.txt", "");
    text += "\nwz_response(test, file=\"response.txt\");";
  }
  vsd::ServiceDefinition definition;
  definition.folder = folder_.path();
  definition.file = folder_.path() / "service.wz";
  if (const auto script = folder_.path() / "script.c"; std::filesystem::exists(script)) {
    definition.script = script;
  }
  definition.kept_rows = vsd::kept_rows_folder(folder_.path());
  std::vector<vsd::Problem> problems;
  vsd::read_service(text, definition, problems);
  for (const vsd::Problem& problem : problems) {
    ADD_FAILURE() << to_string(problem);
  }
  std::vector<const vsd::DataSourceDefinition*> sources;
  for (const vsd::DataSourceDefinition& source : definition.data_sources) {
    sources.push_back(&source);
  }
  session_of_sources_.reset();
  if (!sources.empty()) {
    store_.emplace(folder_.path());
    session_of_sources_.emplace(*store_, store_->tables_of(sources));
  }
  image_ = vsd::ServiceImage::build({&definition, 1});
  state_ = std::make_unique<vsd::ConnectionState>(*image_);
  request(head, body);
}

void ServiceFixture::request(std::string_view head, std::string_view body) {
  finish();
  head_ = head;
  body_ = body;
  std::string method;
  std::istringstream(head_) >> method >> target_;
  vsd::http::Request text;
  text.method = method;
  text.target = target_;
  text.head = head_;
  text.body = body_;
  text.session = session_.get();
  state_->begin(service(), text);
  cur_url = state_->url();
}

void ServiceFixture::finish() {
  if (state_ != nullptr) {
    state_->end();
  }
}

UserVarEntry& ServiceFixture::entry(std::string_view name) {
  const int hash_code = service().find_variable(name);
  if (hash_code < 0) {
    ADD_FAILURE() << "the service has no variable " << name;
    std::abort();
  }
  return current().uvtable[service().variable(hash_code).user_var_table_idx];
}

void ServiceFixture::set(std::string_view name, std::string_view value) {
  vsd::set_value(entry(name), value);
}

std::optional<std::string> ServiceFixture::value(std::string_view name) {
  const UserVarEntry& scalar = entry(name);
  if (scalar.value.value == nullptr) {
    return std::nullopt;
  }
  return std::string(scalar.value.value, scalar.length);
}

std::optional<std::string> ServiceFixture::element(std::string_view name, unsigned number) {
  const UserVarEntry& array = entry(name);
  if (number < 1 || number > array.length || array.value.array[number - 1].value == nullptr) {
    return std::nullopt;
  }
  const ArrayValEntry& found = array.value.array[number - 1];
  return std::string(found.value, found.length);
}

void ServiceFixture::forward_to(std::string_view host, unsigned short port, char proto) {
  forward_ = std::make_shared<Forward>();
  auto& image = forward_->image;
  const char* base = reinterpret_cast<const char*>(&image.service);
  image.service.cr_resp_file_idx = reinterpret_cast<const char*>(&image.response) - base;
  image.service.string_big_buf_idx = image.pool - base;
  image.response.backend_host_name = 1;  // 0 would mean that there is none
  image.response.backend_host_name_len = static_cast<int>(host.copy(image.pool + 1, 250));
  image.response.backend_port = port;
  forward_->link.scptr = &image.service;
  forward_->link.flag = VSD_FLAG_FORWARDED;
  forward_->link.proto_type = proto;
  forward_->link.template_id_used = 0;
  current().conn_link = &forward_->link;
}

}  // namespace wz::test
