#include "daemon/scaffold.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace vsd {
namespace {

constexpr std::string_view kConfig = R"(# Settings of vsd: a keyword and its value a line.
LISTEN 127.0.0.1:8080
)";

constexpr std::string_view kHolidays;  // none to begin with

constexpr std::string_view kDeclarations =
    R"(# What the service answers and the variables that its script and templates use.
wz_service(@name@, method=GET, url="/@name@");

wz_query_var(who, name=who);
wz_scratch_var(greeting);
wz_date_var(today, format="%Y-%m-%d");

wz_response(ok, file="responses/ok.json", status=200, type="application/json");
)";

constexpr std::string_view kScript = R"(#include <wz/wz_script.h>

/* Runs when the request has been read and the declared variables are filled. */
void post_recv(void)
{
  char who[4097];

  wz_eval_string_buf("{who}", who);
  wz_save_string(who[0] != '\0' ? "Hello" : "Hello, whoever you are", "greeting");
}

/* Runs when the response has been chosen, before its body is evaluated. */
void pre_send(void)
{
  wz_set_http_hdr("X-Service: @name@");
}
)";

constexpr std::string_view kResponse =
    R"({"greeting": "{greeting}", "who": "{who}", "date": "{today}"}
)";

bool is_service_name(const std::string& name) {
  return !name.empty() && name.size() <= 64 &&
         std::all_of(name.begin(), name.end(),
                     [](unsigned char c) { return std::isalnum(c) != 0 || c == '_' || c == '-'; });
}

std::string with_name(std::string_view text, const std::string& name) {
  constexpr std::string_view kMark = "@name@";
  std::string out(text);
  for (auto at = out.find(kMark); at != std::string::npos; at = out.find(kMark, at + name.size())) {
    out.replace(at, kMark.size(), name);
  }
  return out;
}

void write_file(const std::filesystem::path& file, const std::string& text) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream out(file);
  out << text;
  if (!out.flush()) {
    throw std::runtime_error("cannot write " + file.string());
  }
}

void write_if_absent(const std::filesystem::path& file, std::string_view text) {
  if (!std::filesystem::exists(file)) {
    write_file(file, std::string(text));
  }
}

}  // namespace

std::filesystem::path create_service(const std::filesystem::path& root, const std::string& name) {
  if (!is_service_name(name)) {
    throw std::runtime_error("'" + name +
                             "' is no service name: up to 64 letters, digits, '_' and '-'");
  }
  auto folder = root / "correlation" / "default" / "default" / "services" / name;
  if (std::filesystem::exists(folder)) {
    throw std::runtime_error(folder.string() + " exists already");
  }
  write_if_absent(root / "vsd.conf", kConfig);
  write_if_absent(root / "sys" / "holidays.dat", kHolidays);
  write_file(folder / "service.wz", with_name(kDeclarations, name));
  write_file(folder / "script.c", with_name(kScript, name));
  write_file(folder / "responses" / "ok.json", with_name(kResponse, name));
  return folder;
}

}  // namespace vsd
