// Lookup of request headers and query parameters: the text before the first NUL is the header's or
// parameter's name, the text behind it the request. A header's value must lie in the request,
// behind a colon.
#include <wz/vsd_host.h>
#include <wz/wz_script.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string name(reinterpret_cast<const char*>(data), size);
  std::string text;
  if (const std::size_t end = name.find('\0'); end != std::string::npos) {
    text = name.substr(end + 1);
    name.resize(end);
  }
  text = text.c_str();
  connection current{};
  current.request_hdr.hdr_buffer = text.data();
  cur_cptr = &current;
  if (const char* value = wz_get_http_hdr(name.data())) {
    if (text.find(':' + std::string(value)) == std::string::npos) {
      std::abort();
    }
  }
  std::string parameter(3 * text.size() + 1, '\0');
  for (const int flag : {WZ_FLAG_NONE, WZ_FLAG_URL_ENCODE, WZ_FLAG_URL_DECODE}) {
    get_url_query_param_val(name.data(), parameter.data(), text.data(), flag);
  }
  cur_cptr = nullptr;
  return 0;
}
