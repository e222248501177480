// Values of random strings: character sets, strings of their characters, fake data.
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_random_string.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "libwzcore/internal/trace.h"
#include "libwzcore/parameters/faker_library.h"
#include "libwzcore/parameters/random_draw.h"

namespace wz {
namespace {

constexpr std::size_t kMostCharacters = WZLB_CHAR_SET_BUFFER - 1;

// The characters of a set, in a buffer of kMostCharacters.
class CharacterList {
 public:
  explicit CharacterList(char* out, std::size_t size = 0) : out_(out), size_(size) {}

  [[nodiscard]] std::size_t size() const { return size_; }

  void add(char character) {
    if (size_ < kMostCharacters) {
      out_[size_++] = character;
    }
  }

  void add_range(char start, char end) {
    const int first = static_cast<unsigned char>(start);
    const int beyond = static_cast<unsigned char>(end) + 1;
    const int room = static_cast<int>(kMostCharacters) - static_cast<int>(size_);
    const int count = std::clamp(beyond - first, 0, std::max(room, 0));
    for (int i = 0; i < count; ++i) {
      out_[size_ + static_cast<std::size_t>(i)] = static_cast<char>(first + i);
    }
    size_ += static_cast<std::size_t>(count);
  }

  // `text` has a NUL behind its end, which closes a range that has no other end.
  void add_set(std::string_view text) {
    const auto is_dash = [text](std::size_t i) { return i < text.size() && text[i] == '-'; };
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '-') {
        add_range(text[i == 0 ? 0 : i - 1], text.data()[i + 1]);
        ++i;
      } else if (!is_dash(i + 1) && !(i > 0 && is_dash(i - 1))) {
        add(text[i]);
      }
    }
  }

 private:
  char* out_;
  std::size_t size_;
};

void set_length(int* total_len, int length) {
  if (total_len != nullptr) {
    *total_len = length;
  }
}

// A draw per character; the divisor keeps the position below the number of characters.
void fill(char* text, int length, const char* characters, std::size_t count) {
  const auto set_size = static_cast<double>(count);
  const double divisor = 2147483647.0 + set_size;
  for (int i = 0; i < length; ++i) {
    const auto position = static_cast<int>(1.0 + set_size * (std::rand() / divisor));
    text[i] = characters[position - 1];
  }
}

}  // namespace
}  // namespace wz

void wzlb_expand_char_list(char start, char end, char* outstr, int* outstr_idx) {
  if (outstr == nullptr || outstr_idx == nullptr || *outstr_idx < 0) {
    return;
  }
  wz::CharacterList list(outstr, static_cast<std::size_t>(*outstr_idx));
  list.add_range(start, end);
  *outstr_idx = static_cast<int>(list.size());
}

void wzlb_get_expanded_list(char* outstr, char* char_set) {
  if (outstr == nullptr || char_set == nullptr) {
    return;
  }
  wz::CharacterList list(outstr);
  list.add_set(char_set);
  outstr[list.size()] = '\0';
}

char* wzlb_get_random_string(double min, double max, char* char_set, int* total_len) {
  WZLB_TRACE(WZLB_LEVEL_3, WZLB_MODULE_PARAMETER,
             "Method called. min = %f, max = %f, char_set = %s", min, max,
             char_set != nullptr ? char_set : "(null)");
  std::array<char, wz::kMostCharacters> characters;
  wz::CharacterList list(characters.data());
  list.add_set(char_set != nullptr ? char_set : "");
  wz::set_length(total_len, 0);
  if (list.size() == 0) {
    return nullptr;
  }
  const int length = wz::draw_between(min, max);
  char* text = static_cast<char*>(
      WZLB_MALLOC(static_cast<long>(length) + 1, "Malloc buffer for random string"));
  if (text != nullptr) {
    wz::fill(text, length, characters.data(), list.size());
    text[length] = '\0';
    wz::set_length(total_len, length);
  }
  return text;
}

void wzlb_fill_fake_data(RandomStringTableEntry* var_ptr, char** random_val, int* total_len) {
  if (var_ptr == nullptr || random_val == nullptr) {
    return;
  }
  const wz::FakerLibrary& faker = wz::faker_library();
  // Passed on as the row has them, all bits set for none: the id carries the arguments.
  const char* value = faker.get_by_id == nullptr
                          ? nullptr
                          : faker.get_by_id(var_ptr->faker_class_id,
                                            std::bit_cast<const char*>(var_ptr->faker_class_args));
  const std::size_t length = value != nullptr ? std::strlen(value) : 0;
  *random_val = static_cast<char*>(WZLB_MALLOC(length + 1, "random_val"));
  std::memcpy(*random_val, value != nullptr ? value : "", length + 1);
  wz::set_length(total_len, static_cast<int>(length));
}
