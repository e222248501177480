// What the tests of the script API share on top of the service fixture.
#pragma once

#include <wz/wz_script.h>

#include <string>
#include <vector>

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
  ~ScriptTest() override {
    stop_logs();
    if (!copy_.variables.empty()) {
      current().scptr = service().contract();
    }
  }

  static std::string eval(const char* text, int flag = WZ_FLAG_NONE) {
    return wz_eval_string_ex(arg(text), flag);
  }

  // Gives a declared variable a kind that no declaration has. The image cannot be written, so the
  // request moves to a service record that refers to a table of its own.
  void set_kind(std::string_view name, int kind) {
    if (copy_.variables.empty()) {
      const vsd::ServiceView original = service();
      const auto* table = &original.variable(0);
      copy_.variables.assign(table, table + original.variables().size());
      const auto distance = [](const void* from, const void* to) {
        return static_cast<const char*>(to) - static_cast<const char*>(from);
      };
      copy_.block.var_hash_table_idx =
          distance(&copy_.block, &original.block()) + original.block().var_hash_table_idx;
      copy_.block.var_hash_table_next_state = original.block().var_hash_table_next_state;
      copy_.block.vars_trans_table_idx = distance(&copy_.block, copy_.variables.data());
      copy_.service.cr_scptr_idx = distance(&copy_.service, &copy_.block);
      current().scptr = &copy_.service;
    }
    copy_.variables.at(static_cast<std::size_t>(service().find_variable(name))).var_type =
        static_cast<short>(kind);
  }

  void start_logs() {
    ASSERT_TRUE(vsd::set_host_logs(folder().path() / "debug", folder().path() / "error"));
    vsd::set_host_log_masks(-1, ~0ULL);
  }
  static void expect_in_order(const std::string& log, std::initializer_list<const char*> texts) {
    std::size_t at = 0;
    for (const char* text : texts) {
      const std::size_t found = log.find(text, at);
      EXPECT_NE(found, std::string::npos) << text << "is not behind " << log.substr(0, at);
      at = found == std::string::npos ? at : found + 1;
    }
  }
  // Ends logging and returns what was logged.
  std::string debug_log() { return stopped_log("debug"); }
  std::string error_log() { return stopped_log("error"); }

 private:
  struct {
    scontents service{};
    cr_scontents block{};
    std::vector<VarTransTableEntry> variables;
  } copy_;

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
