// A JSON body, read at most once per request and only when a condition asks for it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vsd {

class JsonBody {
 public:
  struct Found {
    std::string_view text;   // valid until the next call; objects and arrays as compact JSON
    bool is_number = false;  // numbers have many spellings
  };

  JsonBody();
  JsonBody(const JsonBody&) = delete;
  JsonBody& operator=(const JsonBody&) = delete;
  ~JsonBody();

  // Whether `body` is JSON. After the first call for a request the answer is known.
  bool read(std::string_view body);
  // What a pointer leads to in the body that was read; nothing when it leads nowhere.
  std::optional<Found> find(std::string_view pointer);
  // Forgets the body.
  void clear() noexcept;

  // What is wrong with a JSON pointer; nothing when it is right.
  [[nodiscard]] static std::string pointer_fault(std::string_view pointer);

 private:
  struct Document;
  enum class State { unread, good, bad };

  State state_ = State::unread;
  std::unique_ptr<Document> document_;
  std::string text_;
};

}  // namespace vsd
