// Names to the numbers of their arrival: 0, 1, 2, ...
#pragma once

#include <wz/wzlb_get_norm_obj_id.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace vsd {

class NameIds {
 public:
  // Made for about `names`; more only make it slower.
  explicit NameIds(int names) { wzlb_init_norm_id_table_v2(&table_, names, kTextBytes); }
  NameIds(const NameIds&) = delete;
  NameIds& operator=(const NameIds&) = delete;
  ~NameIds() { wzlb_obj_hash_destroy(&table_); }

  // -1 when there is none.
  [[nodiscard]] int find(std::string_view name) {
    put(name);
    return std::max(wzlb_get_norm_id(&table_, text_.data(), static_cast<int>(text_.size())), -1);
  }
  // The number that the name has, or now gets.
  int add(std::string_view name) {
    put(name);
    return static_cast<int>(
        wzlb_get_or_gen_norm_id(&table_, text_.data(), static_cast<int>(text_.size()), nullptr));
  }

 private:
  static constexpr int kTextBytes = 16 * 1024;  // at first

  // The table wants a NUL behind its strings and takes no empty one, hence the sign in front.
  void put(std::string_view name) { text_.assign(1, '=').append(name); }

  NormObjKey table_{};
  std::string text_;
};

}  // namespace vsd
