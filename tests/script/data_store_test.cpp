// Data sources as scripts use them, on tables of Berkeley DB.
#include <db.h>
#include <wz/wz_ids.h>

#include <array>
#include <cstring>

#include "tests/script/script_test.h"

namespace {

using wz::test::arg;
using wz::test::content_of;
using wz::test::expect_in_order;
using wz::test::ScriptTest;

std::string taken(char* block) {
  const std::string text = block != nullptr ? block : "(none)";
  free(block);
  return text;
}

std::string borrowed(const char* text) {
  return text != nullptr ? text : "(none)";
}

class DataStoreTest : public ScriptTest {
 protected:
  void SetUp() override {
    serve("");
    std::strcpy(columns_[0].col_name, "sku");
    std::strcpy(columns_[1].col_name, "quantity");
    std::strcpy(columns_[2].col_name, "price");
    add("stock", "");
    add("filed", (folder().path() / "table").string());
    indexdatasource = sources_.data();
    total_idxds_entries = static_cast<int>(sources_.size());
    ASSERT_EQ(wz_ids_insert(arg("stock"), arg("A-1,5,9.50")), 0);
    ASSERT_EQ(wz_ids_insert(arg("filed"), arg("A-1,5,9.50")), 0);
  }
  void TearDown() override {
    indexdatasource = nullptr;
    total_idxds_entries = 0;
    for (vsdIndexDataSource& source : sources_) {
      source.db_table->close(source.db_table, 0);
    }
  }

  void add(const char* name, const std::string& file) {
    vsdIndexDataSource& source = sources_[count_++];
    source.table_name = arg(name);
    source.num_columns = 3;
    source.column = columns_.data();
    source.col_delimiter = ',';
    ASSERT_EQ(db_create(&source.db_table, nullptr, 0), 0);
    ASSERT_EQ(source.db_table->open(source.db_table, nullptr, file.empty() ? nullptr : file.c_str(),
                                    nullptr, file.empty() ? DB_HASH : DB_BTREE, DB_CREATE, 0600),
              0);
  }

  static std::string row(const char* key = "A-1", const char* table = "stock") {
    return taken(wz_ids_select(arg(table), arg(key)));
  }
  static std::string field(const char* name, const char* key = "A-1") {
    return borrowed(wz_ids_get_field_value(arg("stock"), arg(key), arg(name)));
  }

  std::array<db_col, 3> columns_{};
  std::array<vsdIndexDataSource, 2> sources_{};
  std::size_t count_ = 0;
};

TEST_F(DataStoreTest, KeepsRows) {
  EXPECT_EQ(row(), "5,9.50");
  EXPECT_EQ(wz_ids_insert(arg("stock"), arg("A-2,,")), 0);
  EXPECT_EQ(row("A-2"), ",");
  const std::string large(100'000, 'x');
  EXPECT_EQ(wz_ids_insert(arg("stock"), arg(("A-3," + large + ",1").c_str())), 0);
  EXPECT_EQ(row("A-3"), large + ",1");
  EXPECT_EQ(field("quantity", "A-3"), large);
  EXPECT_EQ(wz_ids_update(arg("stock"), arg("A-2"), arg("7,8")), 0);
  EXPECT_EQ(row("A-2"), "7,8");
  EXPECT_EQ(wz_ids_delete(arg("stock"), arg("A-2")), 0);
  EXPECT_EQ(row("A-2"), "(none)");
  EXPECT_EQ(row("A-1", "filed"), "5,9.50");
}

TEST_F(DataStoreTest, AnUpdateDeletesBeforeItLooks) {
  EXPECT_EQ(wz_ids_update(arg("stock"), arg("A-1"), arg("7")), -1);
  EXPECT_EQ(row(), "(none)");
}

TEST_F(DataStoreTest, ReadsAndWritesFields) {
  EXPECT_EQ(field("sku"), "A-1");
  EXPECT_EQ(field("price"), "9.50");
  EXPECT_EQ(field("price", "A-9"), "(none)");
  EXPECT_EQ(wz_ids_set_field_value(arg("stock"), arg("A-1"), arg("quantity"), arg("")), 0);
  EXPECT_EQ(row(), ",9.50");
  EXPECT_EQ(wz_ids_set_field_value(arg("stock"), arg("A-1"), arg("price"), arg("1234.5")), 0);
  EXPECT_EQ(row(), ",1234.5");
  for (const auto& [key, column, value] :
       {std::tuple("A-1", "price", "1,5"), std::tuple("A-1", "sku", "A-2"),
        std::tuple("A-1", "none", "1"), std::tuple("A-9", "price", "1")}) {
    EXPECT_EQ(wz_ids_set_field_value(arg("stock"), arg(key), arg(column), arg(value)), -1);
  }
  EXPECT_EQ(row(), ",1234.5");
}

TEST_F(DataStoreTest, AddsAndSubtracts) {
  const std::tuple<const char*, char, float, int, const char*> cases[] = {
      {"5", 0, 2.7F, 0, "7"},
      {"5.5", 0, 1, 0, "6.500000"},
      {"-3", 1, 1, 0, "-4"},
      {"+3", 1, 4.9F, 0, "-1"},
      {"-1.5", 1, 0.5F, 0, "-2.000000"},
      {"", 0, 3, 0, "3"},
      {"abc", 0, 1, -1, "abc"},
      {"1.2.3", 0, 1, -1, "1.2.3"},
      {"--1", 0, 1, -1, "--1"},
      {"1e3", 0, 1, -1, "1e3"},
      {".", 0, 1, 0, "1.000000"},
      {"5", 0, -2.9F, 0, "3"},
      {"2147483647", 0, 1, 0, "-2147483648"},
  };
  for (const auto& [before, operation, by, result, after] : cases) {
    wz_ids_set_field_value(arg("stock"), arg("A-1"), arg("quantity"), arg(before));
    EXPECT_EQ(wz_ids_update_field_value(arg("stock"), arg("A-1"), arg("quantity"), by, operation),
              result)
        << before;
    EXPECT_EQ(field("quantity"), after) << before;
  }
  EXPECT_EQ(wz_ids_increment_field_value(arg("stock"), arg("A-1"), arg("price"), 0.5F), 0);
  EXPECT_EQ(wz_ids_decrement_field_value(arg("stock"), arg("A-1"), arg("price"), 1), 0);
  EXPECT_EQ(field("price"), "9.000000");
}

TEST_F(DataStoreTest, EmptiesATable) {
  const std::string kept = (folder().path() / "kept").string();
  for (vsdIndexDataSource& source : sources_) {
    source.p_mode = VSD_PERSIST_EACH_CHANGE;
    kept.copy(source.file_name, sizeof source.file_name);
    folder().write("kept", "former rows");
    EXPECT_EQ(wz_ids_delete_all(source.table_name), 0);
    EXPECT_EQ(content_of(kept), "");
    EXPECT_EQ(row("A-1", source.table_name), "(none)");
    EXPECT_EQ(wz_ids_insert(source.table_name, arg("A-1,1,1")), 0);
    EXPECT_EQ(row("A-1", source.table_name), "1,1");
  }
  std::strcpy(sources_[0].file_name, "/no/such/folder/file");
  start_logs();
  EXPECT_EQ(wz_ids_delete_all(arg("stock")), -1);
  EXPECT_EQ(row(), "(none)");
  expect_in_order(error_log(), {"Error|DB deleted in memory but not updated in file."});
  expect_in_order(
      content_of(folder().path() / "debug"),
      {"|Index data source name - stock", "|Old db deleted for index data source - stock",
       "|New DB created for index data source - stock", "|Setting Cache - ",
       " for index data source - stock", "|Cache size set for index data source - stock"});
}

TEST_F(DataStoreTest, TellsWhatIsWrong) {
  char* const none = nullptr;
  char* const stock = arg("stock");
  char* const key = arg("A-9");
  EXPECT_EQ(wz_ids_insert(none, arg("")), -1);  // without a log too
  start_logs();
  EXPECT_EQ(wz_ids_insert(none, arg("")), -1);
  EXPECT_EQ(wz_ids_insert(key, arg("")), -1);
  EXPECT_EQ(wz_ids_insert(stock, arg("A-9")), -1);
  EXPECT_EQ(wz_ids_insert(stock, arg("A-9,1")), -1);
  EXPECT_EQ(wz_ids_insert(stock, arg("A-1,1,1")), -1);
  EXPECT_EQ(wz_ids_select(stock, none), nullptr);
  EXPECT_EQ(wz_ids_select(key, key), nullptr);
  EXPECT_EQ(wz_ids_select(stock, key), nullptr);
  EXPECT_EQ(wz_ids_update(stock, key, none), -1);
  EXPECT_EQ(wz_ids_update(key, key, key), -1);
  EXPECT_EQ(wz_ids_update(stock, key, key), -1);
  EXPECT_EQ(wz_ids_delete(none, key), -1);
  EXPECT_EQ(wz_ids_delete(key, key), -1);
  EXPECT_EQ(wz_ids_delete(stock, key), -1);
  EXPECT_EQ(wz_ids_delete_all(none), -1);
  EXPECT_EQ(wz_ids_delete_all(key), -1);
  EXPECT_EQ(wz_ids_get_field_value(stock, key, none), nullptr);
  EXPECT_EQ(wz_ids_get_field_value(key, key, key), nullptr);
  EXPECT_EQ(wz_ids_get_field_value(stock, key, key), nullptr);
  EXPECT_EQ(wz_ids_set_field_value(stock, key, key, none), -1);
  EXPECT_EQ(wz_ids_set_field_value(stock, key, arg("price"), key), -1);
  EXPECT_EQ(wz_ids_increment_field_value(stock, none, key, 1), -1);
  EXPECT_EQ(wz_ids_increment_field_value(key, key, key, 1), -1);
  EXPECT_EQ(wz_ids_increment_field_value(stock, arg("A-1"), key, 1), -1);
  EXPECT_EQ(wz_ids_increment_field_value(stock, key, arg("price"), 1), -1);
  EXPECT_EQ(wz_ids_set_field_value(stock, arg("A-1"), arg("price"), arg("x")), 0);
  EXPECT_EQ(wz_ids_increment_field_value(stock, arg("A-1"), arg("price"), 1), -1);
  expect_in_order(
      error_log() + "\n",
      {"Error|Datasource name or values is NULL in service test\n",
       "Error|Data source A-9 given not found in data sources defined for the controller\n",
       "Error|API wz_ids_insert error: Failed to insert in data source 'stock'\n",
       "Error|Api wz_ids_insert error: invalid format of values passed to Api for table stock\n",
       "Error|API wz_ids_insert error: Failed to insert data in data source stock (BDB ERROR: "
       "BDB0067 "
       "DB_KEYEXIST: Key/data pair already exists)\n",
       "Error|Arguments passed to wz_ids_select are not valid\n",
       "Error|API wz_ids_select error: Datasource (A-9) not found in controller \n",
       "Error|API wz_ids_select error: Failed to get row for index A-9 from data source stock (BDB "
       "ERROR: BDB0073 DB_NOTFOUND: No matching key/data pair found)\n",
       "Error|Arguments passed to wz_ids_update are not valid\n",
       "Error|API wz_ids_update error: Datasource (A-9) not found\n",
       "Error|API wz_ids_update error: key value (A-9) doesn't exist in datasource - stock\n",
       "Error|Arguments passed to wz_ids_delete are not valid\n",
       "Error|API wz_ids_delete error: Datasource (A-9) not found in controller \n",
       "Error|API wz_ids_delete error: Failed to delete record for key A-9 from datasource "
       "stock(BDB "
       "ERROR: BDB0073 DB_NOTFOUND: No matching key/data pair found)\n",
       "Error|Table name passed to wz_ids_delete_all is null\n",
       "Error|API wz_ids_delete_all error: Datasource (A-9) not found in controller \n",
       "Error|Arguments passed to wz_ids_get_field_value are not valid\n",
       "Error|API wz_ids_get_field_value error: Datasource (A-9) not found \n",
       "Error|API wz_ids_get_field_value error: Failed to get column A-9 value in stock data "
       "source \n",
       "Error|Arguments passed to wz_ids_set_field_value are not valid\n",
       "Error|API wz_ids_set_field_value error: Failed to  update column value in stock data "
       "source \n",
       "Error|Arguments passed to wz_ids_increment/wz_ids_decrement are not valid\n",
       "Error|API wz_ids_decrement_field_value/wz_ids_increment_field_value/ error: Datasource  "
       "(A-9) "
       "not found in controller \n",
       "Error|Error in fetching_field_value: Column A-9 not found in datasource stock for API "
       "wz_ids_increment_field_value/wz_ids_decrement_field_value\n",
       "Error|Error in fetching_field_value: Column price not found in datasource stock",
       "Error|API wz_ids_decrement_field_value /wz_ids_decrement_field_value "
       "error:Decrement/Increment "
       "operation can not be performed on string in datasource - stock\n"});
  expect_in_order(content_of(folder().path() / "debug"),
                  {"|Method called. table_name = (null), values = ",
                   "|Method called. table_name = stock, values = A-9,1",
                   "|Method called  table_name=stock for index =A-9 for field_name =(null)",
                   "|Method Called. table_name = stock, index = A-1. field_name = price, values = "
                   "1.000000, operator = 0"});
}

class DeclaredSourceTest : public ScriptTest {};

TEST_F(DeclaredSourceTest, VariablesFollowAKey) {
  folder().write("stock.csv", "sku|name|price\nA-1|\"Paper, A4\"|4.90\nA-2|Ink|7\n");
  serve(R"(
      wz_index_datasource(first, file="stock.csv", delimiter="|", columns="a|b|c");
      wz_index_datasource(stock, file="stock.csv", delimiter="|", columns="sku|name|price",
                          FirstDataLine=2, persist=2);
      wz_scratch_var(sku);
      wz_index_var(name, file="stock.csv", delimiter="|", key=sku);
      wz_global_index_var(price, source=stock, key=sku, column=price);)");
  EXPECT_EQ(wz_save_string("A-1", "sku"), 0);
  EXPECT_EQ(eval("<{name}{price}>"), "<Paper, A4>");
  EXPECT_EQ(wz_save_string(wz_eval_string(arg("{sku}!")), "price"), 0);
  EXPECT_EQ(wz_save_string_ex("5.10", "price", WZ_FLAG_NONE), 0);
  EXPECT_EQ(taken(wz_ids_select(arg("stock"), arg("A-1"))), "Paper, A4|5.10");
  EXPECT_EQ(taken(wz_ids_select(arg("first"), arg("A-1"))), "Paper, A4|4.90");
  EXPECT_NE(content_of(folder().path() / "state/stock.csv").find("\nA-1|Paper, A4|5.10\n"),
            std::string::npos);
  wz_save_string("A-3", "sku");
  EXPECT_EQ(eval("<{name}>"), "<>");
  start_logs();
  EXPECT_EQ(wz_save_string("1", "price"), 0);  // the outcome is the data source's affair
  expect_in_order(error_log(), {"column 2 of the row 'A-3' is not written: there is no such row"});
}

}  // namespace
