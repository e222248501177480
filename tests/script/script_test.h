// What the tests of the script API share on top of the service fixture.
#pragma once

#include <sys/mman.h>
#include <wz/wz_script.h>

#include <string>

#include "daemon/host_ops/host_ops.h"
#include "tests/support/capture.h"
#include "tests/support/service_fixture.h"

namespace wz::test {

// Exported functions take `char *` and never write through it.
inline char* arg(const char* text) {
  return const_cast<char*>(text);
}

class ScriptTest : public ServiceFixture {
 protected:
  ~ScriptTest() override { stop_logs(); }

  static std::string eval(const char* text, int flag = WZ_FLAG_NONE) {
    return wz_eval_string_ex(arg(text), flag);
  }

  // Gives a declared variable a kind that no declaration has.
  void set_kind(std::string_view name, int kind) {
    const auto bytes = image().bytes();
    ASSERT_EQ(mprotect(const_cast<std::byte*>(bytes.data()), bytes.size(), PROT_READ | PROT_WRITE),
              0);
    const VarTransTableEntry& row = service().variable(service().find_variable(name));
    const_cast<VarTransTableEntry&>(row).var_type = static_cast<short>(kind);
  }

  void start_logs() {
    ASSERT_TRUE(vsd::set_host_logs(folder().path() / "debug", folder().path() / "error"));
    vsd::set_host_log_masks(-1, ~0ULL);
  }
  // Ends logging and returns what was logged.
  std::string debug_log() { return stopped_log("debug"); }
  std::string error_log() { return stopped_log("error"); }

 private:
  static void stop_logs() {
    vsd::set_host_log_masks(0, 0);
    vsd::close_host_logs();
  }
  std::string stopped_log(const char* name) {
    stop_logs();
    return content_of(folder().path() / name);
  }
};

}  // namespace wz::test
