#include "daemon/service/service_image.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "daemon/service/name_table.h"

namespace {

vsd::ServiceDefinition make_service(const std::string& name, const std::string& url,
                                    std::vector<std::string> methods) {
  vsd::ServiceDefinition service;
  service.name = name;
  service.url = url;
  service.methods = std::move(methods);
  const auto add = [&service](const char* variable, short kind, auto source, bool is_array) {
    service.variables.push_back({variable, 1, std::move(source), kind, is_array});
  };
  add("note", SCRATCH_VAR, vsd::ScratchSource{}, false);
  add("items", SCRATCH_VAR, vsd::ScratchSource{4}, true);
  vsd::SearchSource search;
  search.left = "<";
  search.right = ">";
  search.in_variable = "note";
  search.ordinal = 2;
  add("found", VSD_SEARCH_VAR, search, false);
  add("fwd_port", SCRATCH_VAR, vsd::ScratchSource{}, false);
  vsd::IndexSource index{"note", {{"a", "1"}, {"b", "22"}}};
  add("price", VSD_INDEX_VAR, index, false);
  vsd::ResponseDefinition response;
  response.name = "ok";
  response.text = "{note} and {unknown}";
  response.content_type = "text/plain";
  response.headers = {"A: 1", "B: 2"};
  service.responses.push_back(response);
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
  EXPECT_EQ(kinds[code_of("items")].var_type, SCRATCH_VAR);
  EXPECT_EQ(kinds[code_of("http_method")].var_type, SYS_VAR_HTTP_METHOD_TYPE);
  EXPECT_EQ(kinds[code_of("fwd_hostname")].var_type, SYS_VAR_FWD_HOSTNAME);
  EXPECT_EQ(kinds[code_of("fwd_protocol")].var_type, SYS_VAR_FWD_PROTOCOL);
  EXPECT_EQ(kinds[code_of("fwd_port")].var_type, SCRATCH_VAR) << "a declared name wins";
  EXPECT_EQ(code_of("fwd_por"), -1);

  ASSERT_EQ(block->num_searchInParam_entries, 1);
  const auto* search = at<SearchInParamTable>(block, block->searchInParam_start_idx);
  EXPECT_EQ(search->hash_code, code_of("found"));
  EXPECT_EQ(search->search_in_var_hashcode, code_of("note"));
  EXPECT_STREQ(pool + search->rb, ">");

  const auto* descriptor =
      at<VarTableEntry>(block, block->indexvar_start_idx) + kinds[code_of("price")].table_idx;
  const auto* rows = at<PointerTableEntry>(descriptor, descriptor->value_start_ptr);
  EXPECT_EQ(descriptor->num_rows, 2);
  EXPECT_STREQ(pool + rows[1].var_buf_pointer, "22");
  EXPECT_EQ(rows[1].size, 2);
  EXPECT_STREQ(pool + at<Cr_file_seg>(service, service->cr_resp_file_idx)->backend_host_name, "");
}

TEST(ServiceImage, HoldsTheContractsRecordsAtAnyAddress) {
  const vsd::ServiceDefinition services[] = {make_service("a", "/a", {"GET"}),
                                             make_service("b", "/b", {"PUT"})};
  const vsd::ServiceImage image = vsd::ServiceImage::build(services);
  check_contract(image.service(0).contract());
  check_contract(image.service(1).contract());

  const auto bytes = image.bytes();
  const std::unique_ptr<std::byte, decltype(&std::free)> copy(
      static_cast<std::byte*>(std::aligned_alloc(16, (bytes.size() + 15) / 16 * 16)), &std::free);
  std::memcpy(copy.get(), bytes.data(), bytes.size());
  const auto* original = reinterpret_cast<const std::byte*>(image.service(1).contract());
  check_contract(reinterpret_cast<const scontents*>(copy.get() + (original - bytes.data())));
}

TEST(ServiceImage, ShowsAServiceAsItWasDeclared) {
  const vsd::ServiceDefinition definition = make_service("a", "/a", {"GET", "POST"});
  const vsd::ServiceImage image = vsd::ServiceImage::build({&definition, 1});
  const vsd::ServiceView view = image.service(0);
  EXPECT_EQ(view.name(), "a");
  EXPECT_FALSE(view.has_script());
  EXPECT_TRUE(view.answers("POST"));
  EXPECT_FALSE(view.answers("POS"));
  EXPECT_EQ(view.record().table_size, definition.variables.size() + 1);
  const vsd::ResponseRow& response = view.responses()[0];
  EXPECT_EQ(view.text(response.content_type_line), "Content-Type: text/plain\r\n");
  EXPECT_EQ(view.text(response.headers), "A: 1\r\nB: 2\r\n");
  const auto pieces = view.body_pieces(response);
  ASSERT_EQ(pieces.size(), 2U);
  EXPECT_EQ(pieces[0].kind, vsd::PieceKind::value);
  EXPECT_EQ(pieces[0].slot, view.variable(view.find_variable("note")).user_var_table_idx);
  EXPECT_EQ(view.text(response.body).substr(pieces[1].offset), " and {unknown}");
}

TEST(ServiceImage, PutsTheFallbackBehindTheConditions) {
  vsd::ServiceDefinition definition = make_service("a", "/a", {"GET"});
  for (const char* name : {"first", "second"}) {
    vsd::ResponseDefinition& response = definition.responses.emplace_back();
    response.name = name;
    response.is_conditional = true;
  }
  const vsd::ServiceImage image = vsd::ServiceImage::build({&definition, 1});
  std::string names;
  for (const vsd::ResponseRow& row : image.service(0).responses()) {
    names += std::string(image.service(0).text(row.name)) + " ";
  }
  EXPECT_EQ(names, "first second ok ");
}

TEST(ServiceImage, FindsServicesByPath) {
  const vsd::ServiceDefinition services[] = {
      make_service("a", "/x", {"GET"}), make_service("b", "/y", {"GET"}),
      make_service("c", "/x", {"PUT"}), make_service("d", "/x", {"POST"})};
  const vsd::ServiceImage image = vsd::ServiceImage::build(services);
  std::string names;
  for (auto view = image.first_on_path("/x"); view; view = image.next_on_path(*view)) {
    names += view->name();
    EXPECT_EQ(image.service(image.index_of(*view)).name(), view->name());
  }
  EXPECT_EQ(names, "acd");
  EXPECT_EQ(image.first_on_path("/z"), std::nullopt);
  EXPECT_EQ(vsd::ServiceImage::build({}).first_on_path("/x"), std::nullopt);
}

TEST(ServiceImage, CannotBeWrittenTo) {
  const vsd::ServiceDefinition definition = make_service("a", "/a", {"GET"});
  const vsd::ServiceImage image = vsd::ServiceImage::build({&definition, 1});
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
