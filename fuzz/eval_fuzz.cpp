// Template evaluation with the real host operations. The first byte is the encoding flag and the
// sizes of the values, the rest a template. Nothing may be read or written out of bounds, and a
// template without `{` must come back as it is.
#include <wz/wz_script.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "daemon/service/connection_state.h"
#include "daemon/service/service_loader.h"

namespace {

constexpr std::string_view kDeclarations = R"(
wz_service(fuzz, method="GET", url="/f");
wz_scratch_var(a);
wz_scratch_var(unset);
wz_scratch_array(list, size=3);
wz_query_var(q);
wz_date_var(d, format="%Y-%m-%d %H:%M:%S.%MS");
wz_search_var(s, LB="<", RB=">", in=a);
)";

class Fixture {
 public:
  Fixture() : image_(make_image()), state_(image_) {
    request_.method = "GET";
    request_.target = "/f?q=%41%00b";
    request_.head = "GET /f?q=%41%00b HTTP/1.1\r\n\r\n";
    state_.begin(image_.service(0), request_);
    wz_save_string("e 1", "list_1");
    wz_save_string("{a}", "list_3");
  }

 private:
  static vsd::ServiceImage make_image() {
    vsd::ServiceDefinition definition;
    std::vector<vsd::Problem> problems;
    vsd::read_service(std::string(kDeclarations), definition, problems);
    return vsd::ServiceImage::build({&definition, 1});
  }

  vsd::ServiceImage image_;
  vsd::ConnectionState state_;
  vsd::http::Request request_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto* const fixture = new Fixture;  // lives as long as the process
  static_cast<void>(fixture);
  if (size == 0) {
    return 0;
  }
  const int flag = data[0] % 4;
  const std::string value(data[0] / 4U * 40, '<');
  wz_save_string_ex((value + "%2").c_str(), "a", flag);
  std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  text.resize(text.find('\0') == std::string::npos ? text.size() : text.find('\0'));
  const std::string expanded = wz_eval_string_ex(text.data(), flag);
  if (text.find('{') == std::string::npos && expanded != text) {
    std::abort();
  }
  char bounded[4097];
  wz_eval_string_buf(text.data(), bounded);
  wz_save_string(text.c_str(), text.c_str());
  wz_save_string(wz_eval_string(text.data()), "list_2");
  return 0;
}
