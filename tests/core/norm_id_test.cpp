#include <gtest/gtest.h>
#include <wz/wzlb.h>

#include <climits>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "libwzcore/internal/trace.h"
#include "tests/support/capture.h"

namespace {

using wz::mutable_text;

constexpr unsigned int kBad = 0xFFFFFFFF;

// One head entry: every string is in the same chain.
struct Table : NormObjKey {
  explicit Table(int asked_size = 1, bool with_names = false) : NormObjKey{} {
    EXPECT_EQ((with_names ? wzlb_init_norm_id_table_ex : wzlb_init_norm_id_table)(this, asked_size),
              0);
  }
  ~Table() { wzlb_obj_hash_destroy(this); }
  int find(const char* text) {
    return wzlb_get_norm_id(this, mutable_text(text), static_cast<int>(std::strlen(text)));
  }
  unsigned int generate(const char* text, int length = 0) {
    return wzlb_get_or_gen_norm_id(this, mutable_text(text), length, &flag);
  }
  unsigned int record(const std::string& text) {
    return wzlb_get_or_set_norm_id(this, mutable_text(text.c_str()), static_cast<int>(text.size()),
                                   &flag);
  }
  int remove(const char* text) {
    int id = -7;
    const int length = static_cast<int>(std::strlen(text));
    return wzlb_delete_norm_id_ex(this, mutable_text(text), length, &id) == 0 ? id : -1;
  }
  unsigned int recycle(const char* text) {
    return wzlb_get_set_or_gen_norm_id_ex(this, mutable_text(text), 0, &flag);
  }
  std::string name(int id) { return wzlb_get_norm_table_data(this, id); }

  int flag = -7;
};

TEST(NormId, Sizes) {
  for (const auto& [value, power] : {std::pair(-3, 1),
                                     {0, 1},
                                     {1, 1},
                                     {3, 4},
                                     {64, 64},
                                     {1000, 1024},
                                     {1 << 30, 1 << 30},
                                     {INT_MAX, 0}}) {
    EXPECT_EQ(wzlb_change_to_2_power_n(value), power);
  }
  for (const auto& [value, prime] : {std::pair(1, 1),
                                     {2, 2},
                                     {4, 3},
                                     {1024, 1021},
                                     {25, 23},
                                     {131072, 131071},
                                     {1 << 30, 1073741789}}) {
    EXPECT_EQ(get_prime(value), prime);
  }
  Table table(1000);
  EXPECT_EQ(std::tuple(table.size, table.prime, table.prev_id), std::tuple(1024, 1021, -1));
  EXPECT_EQ(table.bigbuf.bufsize, 0x100000);
  EXPECT_TRUE(table.nt[1023].str == -1 && table.id_name == nullptr);
  NormObjKey other;
  EXPECT_EQ(wzlb_init_norm_id_table_v2(&other, 4, 100), 0);
  EXPECT_EQ(other.bigbuf.bufsize, 100);
  EXPECT_EQ(wzlb_obj_hash_destroy(&other), 0);
  EXPECT_EQ(wzlb_init_norm_id_table_v2(&other, INT_MAX, 100), -1);
  EXPECT_EQ(wzlb_init_norm_id_table_v2(&other, 4, 0), -1);
}

// The index is FNV-1a's with 64 bits and 32-bit constants, up to the NUL and whatever the length.
TEST(NormId, HashIndex) {
  const auto index = [](const std::string& text, int length, int size, int prime) {
    std::string copy = text;
    return wzlb_get_hash_index_ex(reinterpret_cast<unsigned char*>(copy.data()), length, size,
                                  prime);
  };
  for (const std::string& text : {std::string("a"), std::string("\xFF\x80"),
                                  std::string("Content-Type: text/xml"), std::string(100, 'z')}) {
    unsigned long long hash = 0x811C9DC5;
    for (const char c : text) {
      hash = (hash ^ static_cast<unsigned char>(c)) * 16777619;
    }
    for (int power = 0; power <= 30; ++power) {
      const int size = 1 << power;
      const int prime = get_prime(size);
      EXPECT_EQ(index(text, 1, size, prime), static_cast<int>(hash % prime)) << size;
    }
    EXPECT_EQ(index(text, 999, 1000, 7), static_cast<int>(hash % 7));
    EXPECT_EQ(index(text + std::string("\0x", 2), 1, 64, 61), static_cast<int>(hash % 61));
  }
  EXPECT_EQ(wzlb_get_hash_index_ex(nullptr, 1, 1, 1), -1);
  EXPECT_EQ(index("a", 0, 1, 1), -1);
  EXPECT_EQ(index("a", 1, 0, 1), -1);
  EXPECT_EQ(index("a", 1, 1, 0), -1);
}

TEST(NormId, IdsAreDenseAndFlagsCountTheChain) {
  Table table;
  EXPECT_EQ(table.generate("first"), 0U);
  EXPECT_EQ(table.flag, 1);
  EXPECT_EQ(table.generate("second"), 1U);
  EXPECT_EQ(table.flag, 1) << "one entry was walked";
  EXPECT_EQ(table.generate("third"), 2U);
  EXPECT_EQ(table.flag, 2);
  EXPECT_EQ(table.generate("second", 6), 1U);
  EXPECT_EQ(table.flag, 0);
  // Equal bytes, other lengths: other entries. The bytes up to the length decide.
  EXPECT_EQ(table.generate("second", 3), 3U);
  EXPECT_EQ(table.generate("sector", 3), 3U);
  EXPECT_EQ(table.generate("sec"), 3U);
  char long_length[16] = "third";
  EXPECT_EQ(table.generate(long_length, 9), 4U);
  EXPECT_EQ(table.find("third"), 2);
  EXPECT_EQ(table.find("fourth"), -2);
}

TEST(NormId, InsertingFormsDiffer) {
  Table table(64);
  int flag = -7;
  int hs = -7;
  char text[] = "text";
  char none[] = "";
  const auto id_of = [](const auto& insert, char* string, int length) {
    return insert(string, length);
  };
  const auto ex = [&](char* s, int n) {
    return wzlb_get_or_gen_norm_id_ex(&table, s, n, &flag, &hs);
  };
  const auto gen = [&](char* s, int n) { return wzlb_get_or_gen_norm_id(&table, s, n, &flag); };
  const auto set = [&](char* s, int n) { return wzlb_get_or_set_norm_id(&table, s, n, &flag); };
  const auto given = [&](char* s, int n) {
    return wzlb_get_set_or_gen_norm_id(&table, s, n, &flag, 40);
  };
  const auto data = [&](char* s, int n) { return wzlb_set_norm_id(&table, s, n, 50); };
  for (char* bad : {static_cast<char*>(nullptr), none}) {
    EXPECT_EQ(id_of(ex, bad, 4), kBad);
    EXPECT_EQ(id_of(gen, bad, 4), kBad);
    EXPECT_EQ(id_of(set, bad, 4), kBad);
    EXPECT_EQ(id_of(given, bad, 4), kBad);
    EXPECT_EQ(id_of(data, bad, 4), 0U);
  }
  EXPECT_EQ(id_of(ex, text, 0), kBad);
  EXPECT_EQ(id_of(set, text, 0), kBad);
  EXPECT_EQ(flag, -7) << "bad input leaves the flag alone";
  EXPECT_EQ(id_of(ex, text, -1), kBad);
  EXPECT_EQ(id_of(gen, text, -1), 0U);
  EXPECT_EQ(id_of(set, text, -1), 0U);
  EXPECT_EQ(wz::test::stderr_of([&] { EXPECT_EQ(id_of(data, text, -1), 0U); }),
            "Error: Obtained hash index '-1' for string 'text' is not correct. Hence returning.");
  EXPECT_EQ(table.prev_id, -1);

  EXPECT_EQ(id_of(ex, text, 4), 0U);
  EXPECT_EQ(hs, wzlb_get_hash_index_ex(reinterpret_cast<unsigned char*>(text), 4, 64, 61));
  EXPECT_EQ(id_of(given, text, 0), 0U) << "a known string keeps its id";
  EXPECT_EQ(flag, 0);
  char other[] = "other";
  EXPECT_EQ(id_of(given, other, 0), 40U);
  EXPECT_EQ(flag, 1);
  EXPECT_EQ(wzlb_get_set_or_gen_norm_id(&table, mutable_text("next"), 0, nullptr, -1), 41U);
  EXPECT_EQ(wzlb_set_norm_id(&table, mutable_text("low"), 0, 7), 7U);
  EXPECT_EQ(table.prev_id, 41);
  wzlb_set_start_norm_id(&table, 20);
  EXPECT_EQ(id_of(gen, mutable_text("a"), 0), 42U);
  wzlb_set_start_norm_id(&table, 60);
  EXPECT_EQ(id_of(gen, mutable_text("b"), 0), 61U);

  Table chain;
  hs = -7;
  chain.generate("x");
  EXPECT_EQ(wzlb_get_or_gen_norm_id_ex(&chain, text, 4, &flag, &hs), 1U);
  EXPECT_EQ(hs, -7) << "only an empty head tells its index";
}

TEST(NormId, DataIsKeptInTheBuffer) {
  Table table;
  char text[] = "text";
  NormTableData data{};
  data.number = 0x1122334455667788;
  EXPECT_EQ(wzlb_set_norm_id_and_data_ex(&table, text, 0, 5, &data), 5U);
  EXPECT_EQ(wzlb_set_norm_id_and_data(&table, mutable_text("byte"), 4, 6, 'c'), 6U);
  EXPECT_EQ(wzlb_set_norm_id_and_data(&table, text, 4, 9, 'c'), 5U) << "known: nothing changes";
  table.generate("plain");
  int hs = -7;
  int value = -7;
  NormTableData read{};
  EXPECT_EQ(wzlb_get_norm_id_hash_data_ex(&table, text, 4, &hs, &read), 5);
  EXPECT_EQ(std::tuple(hs, read.number), std::tuple(0, data.number));
  EXPECT_EQ(wzlb_get_norm_id_hash_data(&table, text, 4, nullptr, &value), 5);
  EXPECT_EQ(value, 0x55667788);
  EXPECT_EQ(wzlb_get_norm_id_hash_data(&table, mutable_text("byte"), 4, &hs, &value), 6);
  EXPECT_EQ(value, 'c');
  EXPECT_EQ(wzlb_get_norm_id_hash_data(&table, mutable_text("none"), 4, &hs, &value), -2);
  EXPECT_EQ(value, 'c') << "not in the chain: left alone";
  EXPECT_EQ(wzlb_get_norm_id_hash_data(&table, mutable_text("plain"), 5, &hs, &value), 7);
  EXPECT_EQ(value, 0);
  hs = -7;
  for (const auto& [string, length, result] :
       {std::tuple("", 1, -1), {"text", 0, -1}, {"text", -1, -2}}) {
    EXPECT_EQ(wzlb_get_norm_id(&table, mutable_text(string), length), result);
    EXPECT_EQ(wzlb_get_norm_id_hash_data_ex(&table, mutable_text(string), length, nullptr, nullptr),
              result);
  }
  EXPECT_EQ(wzlb_delete_norm_id(&table, 0), 0);
  value = 1;
  EXPECT_EQ(wzlb_get_norm_id_hash_data(&table, text, 4, &hs, &value), -2);
  EXPECT_EQ(std::tuple(hs, value), std::tuple(0, 0)) << "an empty head";
}

TEST(NormId, NamesOfIds) {
  Table table(256, true);
  EXPECT_EQ(table.max_norm_id_size, 0);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(table.id_name[255]), ~std::uintptr_t{0});
  for (int id = 0; id < 40; ++id) {
    EXPECT_EQ(table.record("name " + std::to_string(id)), static_cast<unsigned int>(id));
    EXPECT_EQ(table.max_norm_id_size, (id / 16 + 1) * 16);
  }
  EXPECT_EQ(table.name(0), "name 0");
  EXPECT_EQ(table.name(39), "name 39");
  EXPECT_EQ(table.name(40), "NormIdNameNotFound") << "filled with ones";
  EXPECT_EQ(table.name(4000), "NormIdNameNotFound");
  EXPECT_EQ(table.name(-1), "InvalidInput");
  EXPECT_STREQ(wzlb_get_norm_table_data(nullptr, 0), "InvalidInput");
  table.generate("unrecorded");
  EXPECT_EQ(table.name(40), "NormIdNameNotFound");
  wzlb_set_start_norm_id(&table, 99);
  table.record("far");
  EXPECT_EQ(table.name(100), "far") << "grows until the id fits";
  EXPECT_EQ(table.remove("name 3"), 3);
  EXPECT_EQ(table.name(3), "NormIdNameNotFound");
  EXPECT_EQ(wzlb_obj_hash_reset(&table), 0);
  EXPECT_EQ(table.id_name[5], nullptr) << "cleared with zeros, not ones";
  EXPECT_EQ(table.record("anew"), 0U);
  EXPECT_EQ(table.name(0), "anew");
}

TEST(NormId, DeletionOfHeadMiddleAndLoneEntry) {
  Table table(1, true);
  for (const char* text : {"head", "second", "third", "last"}) {
    table.record(text);
  }
  EXPECT_EQ(table.remove("third"), 2);
  EXPECT_EQ(table.remove("head"), 0);
  EXPECT_EQ(table.remove("head"), -1);
  EXPECT_EQ(std::tuple(table.find("second"), table.find("last"), table.find("head")),
            std::tuple(1, 3, -2));
  EXPECT_EQ(table.name(1), "second") << "its entry moved into the head";
  EXPECT_EQ(table.nt->idx, 1);
  EXPECT_EQ(table.remove("last"), 3);
  EXPECT_EQ(table.remove("second"), 1);
  EXPECT_EQ(std::tuple(table.nt->str, table.nt->len, table.nt->idx), std::tuple(-1, -1, -1));
  EXPECT_EQ(table.nt_mpool->busy_head, nullptr) << "all slots are back";
  // Released ids come back oldest first, then new ones follow.
  std::vector<unsigned int> ids;
  for (const char* text : {"a", "b", "c", "d", "e"}) {
    ids.push_back(table.recycle(text));
    EXPECT_EQ(table.flag, std::max<int>(1, static_cast<int>(ids.size()) - 1));
  }
  EXPECT_EQ(ids, std::vector<unsigned int>({2, 0, 3, 1, 4}));
  EXPECT_EQ(table.free_norm_id_list_tail, nullptr);
  wzlb_add_id_in_free_list(&table, 77);
  EXPECT_EQ(table.generate("never recycles"), 5U);
  EXPECT_EQ(table.recycle("f"), 77U);
  EXPECT_EQ(table.prev_id, 77);
  char text[] = "a";
  EXPECT_EQ(wzlb_delete_norm_id_ex(&table, nullptr, 1, nullptr), -1);
  EXPECT_EQ(wzlb_delete_norm_id_ex(&table, text, 0, nullptr), -1);
  EXPECT_EQ(wzlb_delete_norm_id_ex(&table, text, -1, nullptr), -1);
  EXPECT_EQ(wzlb_delete_norm_id_ex(&table, text, 1, nullptr), 0);
}

TEST(NormId, DeletionComparesNoMoreThanTheLength) {
  Table table;
  table.generate("abc");
  char longer[] = "abcdef";
  EXPECT_EQ(wzlb_delete_norm_id_ex(&table, longer, 3, nullptr), 0);
  char text[] = "abc";
  EXPECT_EQ(wzlb_get_norm_id(&table, text, 3), -2);
  EXPECT_EQ(table.recycle("abc"), 0U);
}

TEST(NormId, DeletionByIndexHidesTheChainUntilTheHeadIsFilled) {
  Table table;
  for (const char* text : {"head", "second"}) {
    table.generate(text);
  }
  for (const int index : {-1, 1, INT_MAX}) {
    EXPECT_EQ(wzlb_delete_norm_id(&table, index), -1);
  }
  EXPECT_EQ(wzlb_delete_norm_id(&table, 0), 0);
  EXPECT_EQ(wzlb_delete_norm_id(&table, 0), -1);
  EXPECT_EQ(table.nt->data, -1);
  EXPECT_EQ(table.find("second"), -2);
  EXPECT_EQ(table.free_norm_id_list_head, nullptr) << "no id is released";
  EXPECT_EQ(table.generate("new head"), 2U);
  EXPECT_EQ(table.flag, 1);
  EXPECT_EQ(table.find("second"), 1);
}

TEST(NormId, ResetKeepsTheMemoryAndDestroyClearsTheRecord) {
  Table table(2);
  for (int i = 0; i < 200; ++i) {
    table.generate(std::to_string(i).c_str());
  }
  EXPECT_EQ(table.find("199"), 199);
  table.remove("7");
  const long bufsize = table.bigbuf.bufsize;
  EXPECT_EQ(wzlb_obj_hash_reset(&table), 0);
  EXPECT_EQ(std::tuple(table.bigbuf.offset, table.bigbuf.bufsize, table.prev_id),
            std::tuple(0, bufsize, -1));
  EXPECT_EQ(table.find("199"), -2);
  EXPECT_EQ(table.recycle("199"), 0U) << "released ids are forgotten";
  EXPECT_EQ(wzlb_obj_hash_destroy(&table), 0);
  for (NormObjKey* none : {static_cast<NormObjKey*>(nullptr), static_cast<NormObjKey*>(&table)}) {
    char text[] = "x";
    EXPECT_EQ(wzlb_get_norm_id(none, text, 1), -1);
    EXPECT_EQ(wzlb_get_or_gen_norm_id(none, text, 1, nullptr), kBad);
    EXPECT_EQ(wzlb_delete_norm_id(none, 0), -1);
    EXPECT_EQ(wzlb_obj_hash_reset(none), -1);
    wzlb_add_id_in_free_list(none, 1);
    wzlb_set_start_norm_id(none, -5);
  }
  EXPECT_EQ(wzlb_init_norm_id_table(nullptr, 1), -1);
  EXPECT_EQ(wzlb_init_norm_id_table_ex(nullptr, 1), -1);
  EXPECT_EQ(wzlb_obj_hash_destroy(nullptr), -1);
}

}  // namespace
