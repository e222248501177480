#include "daemon/service/match/json_body.h"

#include <array>
#include <boost/json/src.hpp>
#include <charconv>

namespace vsd {
namespace {

namespace json = boost::json;

constexpr std::size_t kMaxDepth = 128;
constexpr std::size_t kFirstBuffer = 16 * 1024;  // documents of ordinary size need no other memory

void write(const json::value& value, std::string& out) {
  if (value.is_string()) {
    out.assign(value.get_string().data(), value.get_string().size());
  } else if (value.is_double()) {
    std::array<char, 32> digits{};  // the shortest form, which 1.50 and 1.5e0 share
    const auto end = std::to_chars(digits.begin(), digits.end(), value.get_double()).ptr;
    out.assign(digits.begin(), end);
  } else {
    out = json::serialize(value);
  }
}

}  // namespace

// The memory, what lies in it, and the parser that puts it there.
struct JsonBody::Document {
  static json::parse_options limits() {
    json::parse_options options;
    options.max_depth = kMaxDepth;
    return options;
  }

  std::array<unsigned char, kFirstBuffer> buffer;
  json::monotonic_resource memory{buffer.data(), buffer.size()};
  json::parser parser{json::storage_ptr(), limits()};
  json::value root;
};

JsonBody::JsonBody() = default;
JsonBody::~JsonBody() = default;

bool JsonBody::read(std::string_view body) {
  if (state_ == State::unread) {
    if (document_ == nullptr) {
      document_ = std::make_unique<Document>();
    }
    json::error_code error;
    document_->parser.reset(&document_->memory);
    document_->parser.write(body.data(), body.size(), error);
    state_ = error ? State::bad : State::good;
    if (!error) {
      // Placed anew, because a value keeps the memory that it was made with.
      std::destroy_at(&document_->root);
      std::construct_at(&document_->root, document_->parser.release());
    }
  }
  return state_ == State::good;
}

std::optional<JsonBody::Found> JsonBody::find(std::string_view pointer) {
  json::error_code error;
  const json::value* value = document_->root.find_pointer({pointer.data(), pointer.size()}, error);
  if (value == nullptr) {
    return std::nullopt;
  }
  write(*value, text_);
  return Found{text_, value->is_number()};
}

void JsonBody::clear() noexcept {
  if (state_ == State::unread) {
    return;
  }
  state_ = State::unread;
  document_->parser.reset();
  std::destroy_at(&document_->root);
  std::construct_at(&document_->root);
  document_->memory.release();
}

std::string JsonBody::pointer_fault(std::string_view pointer) {
  if (!pointer.empty() && !pointer.starts_with('/')) {
    return "a JSON pointer starts with '/'";
  }
  for (std::size_t tilde = pointer.find('~'); tilde != pointer.npos;
       tilde = pointer.find('~', tilde + 1)) {
    if (tilde + 1 == pointer.size() || (pointer[tilde + 1] != '0' && pointer[tilde + 1] != '1')) {
      return "in a JSON pointer '~' is followed by 0 or 1";
    }
  }
  return {};
}

}  // namespace vsd
