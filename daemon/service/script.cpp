#include "daemon/service/script.h"

#include <dlfcn.h>

namespace vsd {

void Script::Close::operator()(void* handle) const noexcept {
  dlclose(handle);
}

std::optional<Script> Script::load(const std::filesystem::path& object, std::string& error) {
  Script script;
  script.handle_.reset(dlopen(object.c_str(), RTLD_NOW | RTLD_LOCAL));
  if (script.handle_ == nullptr) {
    const char* reason = dlerror();
    error = reason != nullptr ? reason : "cannot load " + object.string();
    return std::nullopt;
  }
  script.post_recv_ = reinterpret_cast<Hook>(dlsym(script.handle_.get(), "post_recv"));
  script.pre_send_ = reinterpret_cast<Hook>(dlsym(script.handle_.get(), "pre_send"));
  if (script.post_recv_ == nullptr && script.pre_send_ == nullptr) {
    error = "the script defines neither void post_recv(void) nor void pre_send(void)";
    return std::nullopt;
  }
  return script;
}

}  // namespace vsd
