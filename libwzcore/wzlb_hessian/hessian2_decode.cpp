// Hessian 2 to XML: which dialect a message is in, and what may stand around its values.
#include <wz/wzlb_hessian.h>

#include "libwzcore/wzlb_hessian/hessian2_dialects.h"

namespace wz::hessian {
namespace {

bool begins_int(int tag) noexcept {
  return (tag >= 0x80 && tag <= 0xD7) || tag == 'I';
}

bool begins_string(int tag) noexcept {
  return (tag >= 0x00 && tag <= 0x1F) || (tag >= 0x30 && tag <= 0x33) || tag == 'R' || tag == 'S';
}

// "H 2 0".
bool is_final_message(const ByteReader& bytes) noexcept {
  return bytes.peek() == 'H' && bytes.peek(1) == 2 && bytes.peek(2) == 0;
}

// 'c' or 'r' with version 1.0 or 2.0, which asks for a reply of Hessian 2.
bool is_frame(const ByteReader& bytes) noexcept {
  const int tag = bytes.peek();
  const int major = bytes.peek(1);
  return (tag == 'c' || tag == 'r') && (major == 1 || major == 2) && bytes.peek(2) == 0;
}

// Bare values that the final grammar cannot mean.
bool is_draft_value(const ByteReader& bytes) noexcept {
  const int tag = bytes.peek();
  const int next = bytes.peek(1);
  if (tag >= 0x60 && tag <= 0x6F) {
    return true;  // an object while no class is defined
  }
  if (tag == 'r' && next == 't') {
    return true;
  }
  if (next < 0) {
    return false;
  }
  const bool has_type = begins_int(next) || begins_string(next);
  return ((tag == 'M' || tag == 'V' || (tag >= 0x70 && tag <= 0x77)) && !has_type) ||
         (tag == 'O' && !begins_int(next));
}

// Values up to the end. As in version 1, nothing may follow a container.
template <typename Reader>
bool read_bare_values(Reader& reader) {
  while (!reader.bytes().at_end()) {
    const std::int64_t before = reader.containers();
    if (!reader.read_value() || (reader.containers() != before && !reader.bytes().at_end())) {
      return false;
    }
  }
  return true;
}

bool read_final_message(FinalReader& reader) {
  reader.bytes().skip(3);
  sink().open_container(name::kHessianVersion);
  sink().scalar(name::kVersion, "2.0");
  sink().close_container(name::kHessianVersion);
  return reader.read_message() && reader.bytes().at_end();
}

bool read_whole_frame(DraftReader& reader) {
  return reader.read_frame() && reader.bytes().at_end();
}

// False with the position where decoding stops.
bool decode(std::span<const std::uint8_t> input, std::size_t& position) {
  const auto run = [&]<typename Reader>(bool (*read)(Reader&)) {
    Reader reader(input);
    const bool done = read(reader);
    position = reader.bytes().position();
    return done;
  };
  const ByteReader start(input);
  if (is_final_message(start)) {
    return run(read_final_message);
  }
  if (is_frame(start)) {
    return run(read_whole_frame);
  }
  if (is_draft_value(start)) {
    return run(read_bare_values<DraftReader>);
  }
  return run(read_bare_values<FinalReader>);
}

}  // namespace
}  // namespace wz::hessian

char* hessian2_decode(int out_type, void* out, int /*indent*/, char* in, int* length) {
  using namespace wz::hessian;
  sink().select(out_type, out);
  if (in == nullptr || length == nullptr) {
    return nullptr;
  }
  sink().append(kDocumentStart);
  std::size_t position = 0;
  const std::size_t size = *length > 0 ? static_cast<std::size_t>(*length) : 0;
  const bool decoded = decode({reinterpret_cast<const std::uint8_t*>(in), size}, position);
  if (decoded) {
    sink().append(kDocumentEnd);
  } else {
    *length = static_cast<int>(position);
  }
  sink().terminate();
  return decoded ? in : nullptr;
}
