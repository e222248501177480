#include "daemon/service/service_image.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "daemon/service/name_table.h"

namespace {

vsd::ServiceDefinition make_service(const std::string& name) {
  vsd::ServiceDefinition service;
  service.name = name;
  service.url = "/" + name;
  service.methods = {"GET"};
  vsd::SearchSource search;
  search.right = ">";
  search.in_variable = "note";
  vsd::IndexSource index{"note", {{"a", "1"}, {"b", "22"}}};
  service.variables = {{"note", 1, vsd::ScratchSource{}, SCRATCH_VAR, false},
                       {"fwd_port", 1, vsd::ScratchSource{}, SCRATCH_VAR, false},
                       {"found", 1, search, VSD_SEARCH_VAR, false},
                       {"price", 1, index, VSD_INDEX_VAR, false}};
  return service;
}

// Follows the distances as the library does, without the view's help.
template <typename Record, typename Base>
const Record* at(const Base* base, long distance) {
  return reinterpret_cast<const Record*>(reinterpret_cast<const char*>(base) + distance);
}

void check_contract(const scontents* service) {
  const auto* block = at<cr_scontents>(service, service->cr_scptr_idx);
  const char* pool = at<char>(service, service->string_big_buf_idx);
  const char* table = at<char>(block, block->var_hash_table_idx);
  const auto* kinds = at<VarTransTableEntry>(block, block->vars_trans_table_idx);
  const auto code_of = [&](std::string_view name) {
    return vsd::find_name(table, name, block->var_hash_table_next_state);
  };
  EXPECT_EQ(kinds[code_of("fwd_hostname")].var_type, SYS_VAR_FWD_HOSTNAME);
  EXPECT_EQ(kinds[code_of("fwd_port")].var_type, SCRATCH_VAR) << "a declared name wins";
  const auto* search = at<SearchInParamTable>(block, block->searchInParam_start_idx);
  EXPECT_EQ(search->search_in_var_hashcode, code_of("note"));
  EXPECT_STREQ(pool + search->rb, ">");
  const auto* descriptor =
      at<VarTableEntry>(block, block->indexvar_start_idx) + kinds[code_of("price")].table_idx;
  const auto* rows = at<PointerTableEntry>(descriptor, descriptor->value_start_ptr);
  EXPECT_STREQ(pool + rows[1].var_buf_pointer, "22");
}

TEST(ServiceImage, HoldsTheContractsRecordsAtAnyAddressForReadingOnly) {
  const vsd::ServiceDefinition services[] = {make_service("a"), make_service("b")};
  const vsd::ServiceImage image = vsd::ServiceImage::build(services);
  check_contract(image.service(0).contract());
  const auto bytes = image.bytes();
  const std::unique_ptr<std::byte, decltype(&std::free)> copy(
      static_cast<std::byte*>(std::aligned_alloc(16, (bytes.size() + 15) / 16 * 16)), &std::free);
  std::memcpy(copy.get(), bytes.data(), bytes.size());
  const auto* original = reinterpret_cast<const std::byte*>(image.service(1).contract());
  check_contract(reinterpret_cast<const scontents*>(copy.get() + (original - bytes.data())));
  EXPECT_DEATH(image.service(0).contract()->service_type = 1, "");
}

TEST(NameTable, FindsEachNameAndNoOther) {
  std::vector<std::string> owned;
  for (int i = 0; i < 20000; ++i) {
    owned.push_back(std::string(static_cast<std::size_t>(i % 23), 'x') + std::to_string(i));
  }
  const std::vector<std::string_view> names(owned.begin(), owned.end());
  const vsd::NameTable table = vsd::build_name_table(names);
  const char* bytes = reinterpret_cast<const char*>(table.bytes.data());
  for (std::size_t i = 0; i < names.size(); ++i) {
    ASSERT_EQ(vsd::find_name(bytes, names[i], table.slots), static_cast<int>(i));
    ASSERT_EQ(vsd::find_name(bytes, owned[i] + "x", table.slots), -1);
  }
  EXPECT_EQ(vsd::find_name(bytes, "", table.slots), -1);
}

}  // namespace
