// The id table against a naive model: chains of strings by hash index, searched in order.
#include <wz/wzlb.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_support.h"

namespace {

using wz::fuzz::require;

struct Entry {
  std::string bytes;  // of the given length
  int id;
  char data;
};

class Model {
 public:
  explicit Model(int prime) : prime_(prime) {}

  int index(const std::string& text) const {
    std::uint64_t hash = 0x811C9DC5;
    for (const char c : text) {
      hash = (hash ^ static_cast<unsigned char>(c)) * 16777619;
    }
    return static_cast<int>(hash % static_cast<std::uint64_t>(prime_));
  }
  std::vector<Entry>& chain(const std::string& text) { return chains_[index(text)]; }
  static auto find(std::vector<Entry>& chain, std::string_view bytes) {
    return std::find_if(chain.begin(), chain.end(),
                        [bytes](const Entry& entry) { return entry.bytes == bytes; });
  }
  void clear() {
    chains_.clear();
    released.clear();
    prev_id = -1;
  }

  int prev_id = -1;
  std::deque<int> released;

 private:
  int prime_;
  std::map<int, std::vector<Entry>> chains_;
};

class TableAndModel {
 public:
  explicit TableAndModel(int size) : model_(get_prime(wzlb_change_to_2_power_n(size))) {
    require(wzlb_init_norm_id_table_ex(&table_, size) == 0);
  }
  TableAndModel(const TableAndModel&) = delete;
  TableAndModel& operator=(const TableAndModel&) = delete;
  ~TableAndModel() { wzlb_obj_hash_destroy(&table_); }

  enum Form { kGenerate, kRecord, kGiven, kRecycle };

  void insert(Form form, std::string& text, int length, int given) {
    auto& chain = model_.chain(text);
    const std::string bytes = text.substr(0, static_cast<std::size_t>(length));
    const auto known = Model::find(chain, bytes);
    int flag = -1;
    const int id = call(form, text, length, given, &flag);
    if (known != chain.end()) {
      require(id == known->id && flag == (form == kGiven ? -1 : 0));
      return;
    }
    int expected = model_.prev_id + 1;
    if (form == kGiven) {
      expected = given;
    } else if (form == kRecycle && !model_.released.empty()) {
      expected = model_.released.front();
      model_.released.pop_front();
    }
    const int walked = std::max<int>(1, static_cast<int>(chain.size()));
    require(id == expected && flag == (form == kGiven ? -1 : walked));
    model_.prev_id = std::max(model_.prev_id, expected);
    chain.push_back({bytes, id, static_cast<char>(form == kGiven ? given : 0)});
    if (form == kRecord) {
      require(wzlb_get_norm_table_data(&table_, id) == bytes);
    }
  }

  void look_up(std::string& text, int length) {
    auto& chain = model_.chain(text);
    const auto known =
        Model::find(chain, std::string_view(text).substr(0, static_cast<std::size_t>(length)));
    int hs = -1;
    int value = 99;
    const int id = wzlb_get_norm_id_hash_data(&table_, text.data(), length, &hs, &value);
    require(id == wzlb_get_norm_id(&table_, text.data(), length) && hs == model_.index(text));
    require(id == (known != chain.end() ? known->id : -2));
    require(value == (known != chain.end() ? static_cast<unsigned char>(known->data)
                      : chain.empty()      ? 0
                                           : 99));
  }

  void remove(std::string& text, int length) {
    auto& chain = model_.chain(text);
    const auto known =
        Model::find(chain, std::string_view(text).substr(0, static_cast<std::size_t>(length)));
    int id = -1;
    const int result = wzlb_delete_norm_id_ex(&table_, text.data(), length, &id);
    require(result == (known != chain.end() ? 0 : -1));
    if (known != chain.end()) {
      require(id == known->id);
      model_.released.push_back(id);
      chain.erase(known);
    }
  }

  void reset() {
    require(wzlb_obj_hash_reset(&table_) == 0);
    model_.clear();
  }

  void check() {
    require(table_.prev_id == model_.prev_id);
    FreeNormIdList* node = table_.free_norm_id_list_head;
    for (const int id : model_.released) {
      require(node != nullptr && node->free_id == id);
      node = node->next_free_id;
    }
    require(node == nullptr);
  }

 private:
  int call(Form form, std::string& text, int length, int given, int* flag) {
    switch (form) {
      case kGenerate:
        return static_cast<int>(wzlb_get_or_gen_norm_id(&table_, text.data(), length, flag));
      case kRecord:
        return static_cast<int>(wzlb_get_or_set_norm_id(&table_, text.data(), length, flag));
      case kGiven:
        return static_cast<int>(wzlb_set_norm_id_and_data(&table_, text.data(), length, given,
                                                          static_cast<char>(given)));
      default:
        return static_cast<int>(wzlb_get_set_or_gen_norm_id_ex(&table_, text.data(), length, flag));
    }
  }

  NormObjKey table_{};
  Model model_;
};

}  // namespace

// Two bytes select the size, then three bytes an operation: what, which string, which length.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) {
    return 0;
  }
  TableAndModel table(data[0] % 40);
  for (std::size_t i = 1; i + 2 < std::min<std::size_t>(size, 900); i += 3) {
    // Few strings, some of them prefixes of others, some longer than the hash's words.
    std::string text(1U + data[i + 1] % 12U, static_cast<char>('a' + data[i + 1] / 12 % 4));
    text += std::to_string(data[i + 1] / 64);
    const bool cut = data[i + 2] % 4 == 0;
    const int length = static_cast<int>(cut ? 1 + data[i + 2] / 4U % text.size() : text.size());
    switch (data[i] % 8) {
      case 0:
        table.insert(TableAndModel::kGenerate, text, length, 0);
        break;
      case 1:
        table.insert(TableAndModel::kRecord, text, length, 0);
        break;
      case 2:
        table.insert(TableAndModel::kGiven, text, length, data[i] / 8);
        break;
      case 3:
        table.insert(TableAndModel::kRecycle, text, length, 0);
        break;
      case 4:
        data[i] == 252 ? table.reset() : table.look_up(text, length);
        break;
      case 5:
        table.look_up(text, length);
        break;
      default:
        table.remove(text, length);
        break;
    }
    table.check();
  }
  return 0;
}
