// A service's compiled script, loaded into this process.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace vsd {

// Owns the loaded object; an empty one has no hooks. Objects are loaded privately: two scripts may
// define the same names.
class Script {
 public:
  // Nothing, with the reason in `error`, when the object cannot be loaded or defines neither
  // post_recv nor pre_send.
  static std::optional<Script> load(const std::filesystem::path& object, std::string& error);

  using Hook = void (*)();

  // Whether it reads the request's raw bytes, which are not put up for scripts that do not.
  [[nodiscard]] bool reads_request() const { return reads_request_; }

  // To be called when the request has been read and its variables are filled; null: not defined.
  [[nodiscard]] Hook post_recv() const noexcept { return post_recv_; }

  // To be called when the response has been chosen and its body is not yet evaluated, or null.
  [[nodiscard]] Hook pre_send() const noexcept { return pre_send_; }

 private:
  struct Close {
    void operator()(void* handle) const noexcept;
  };

  std::unique_ptr<void, Close> handle_;
  Hook post_recv_ = nullptr;
  Hook pre_send_ = nullptr;
  bool reads_request_ = false;
};

// Why load() would refuse the object; empty when it would not. Tried in a process of its own, where
// whatever runs when the object is loaded can do no harm to this one.
[[nodiscard]] std::string probe_script(const std::filesystem::path& object);

}  // namespace vsd
