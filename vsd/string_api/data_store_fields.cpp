// Single columns of rows: read, replace, add to, subtract from.
#include <wz/wz_ids.h>
#include <wz/wzlb_util.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "vsd/string_api/data_source.h"
#include "vsd/trace.h"

namespace wz::script {
namespace {

constexpr int kFailed = -1;
constexpr char kSubtract = 1;

const char* or_null(const char* text) noexcept {
  return text != nullptr ? text : "(null)";
}

// The reader's own name is deliberately in the texts of both functions where the source is unknown.
int find_source_of_field(const char* function, const char* table_name) noexcept {
  const int row = find_data_source(table_name);
  if (row == kNoSource) {
    VSD_ERROR_AS(function, WZLB_LEVEL_2,
                 "API wz_ids_get_field_value error: Datasource (%s) not found \n", table_name);
  }
  return row;
}

// Whole part of `value`; what an int cannot hold wraps, as the sum would.
int whole(double value) noexcept {
  constexpr double kLimit = 9e18;
  return std::abs(value) < kLimit ? static_cast<int>(static_cast<long long>(value)) : 0;
}

// The text of the column after the operation; nothing when it holds no number. One sign is skipped
// for the tests, the conversions take it along.
std::optional<std::string> calculate(char* text, float values, char operation) {
  const double sign = operation == kSubtract ? -1.0 : 1.0;
  char* const digits = *text == '+' || *text == '-' ? text + 1 : text;
  std::array<char, 400> result{};  // the largest double has 309 digits before its point
  if (wz_is_numeric(digits) != 0) {
    const long long sum = static_cast<long long>(std::atoi(text)) +
                          static_cast<long long>(sign) * whole(static_cast<double>(values));
    std::snprintf(result.data(), result.size(), "%d", static_cast<int>(sum));
  } else if (wz_is_float(digits) != 0) {
    const double sum = std::atof(text) + sign * static_cast<double>(values);
    std::snprintf(result.data(), result.size(), "%f", sum);
  } else {
    return std::nullopt;
  }
  return result.data();
}

enum class Calculated { done, no_column, no_number, not_written };

// Reads, computes and writes within one stay, so that no other process writes between.
Calculated update_column(int row, char* index, const char* field_name, float values,
                         char operation) noexcept {
  const int column = find_column(indexdatasource[row], field_name);
  read_through(index);
  const SourceAccess access(row, Access::write);
  char* const text = column >= 0 ? access.column(index, column) : nullptr;
  if (text == nullptr) {
    return Calculated::no_column;
  }
  std::optional<std::string> result = calculate(text, values, operation);
  if (!result) {
    return Calculated::no_number;
  }
  return access.set_column(index, result->data(), column) == 0 ? Calculated::done
                                                               : Calculated::not_written;
}

int set_column(int row, char* index, const char* field_name, char* value) noexcept {
  const int column = find_column(indexdatasource[row], field_name);
  read_through(index);
  read_through(value);
  const SourceAccess access(row, Access::write);
  return column >= 0 ? access.set_column(index, value, column) : kFailed;
}

}  // namespace
}  // namespace wz::script

char* wz_ids_get_field_value(char* table_name, char* index, char* field_name) {
  using namespace wz::script;
  VSD_TRACE(WZLB_LEVEL_2, kModuleDataSourceCall,
            "Method called  table_name=%s for index =%s for field_name =%s", or_null(table_name),
            or_null(index), or_null(field_name));
  if (table_name == nullptr || index == nullptr || field_name == nullptr) {
    VSD_ERROR(WZLB_LEVEL_2, "Arguments passed to wz_ids_get_field_value are not valid\n");
    return nullptr;
  }
  const int row = find_source_of_field(__func__, table_name);
  if (row == kNoSource) {
    return nullptr;
  }
  const int column = find_column(indexdatasource[row], field_name);
  if (column < 0) {
    VSD_ERROR(
        WZLB_LEVEL_2,
        "API wz_ids_get_field_value error: Failed to get column %s value in %s data source \n",
        field_name, table_name);
    return nullptr;
  }
  read_through(index);
  return SourceAccess(row, Access::read).column(index, column);
}

int wz_ids_set_field_value(char* table_name, char* index, char* field_name, char* updated_values) {
  using namespace wz::script;
  VSD_TRACE(WZLB_LEVEL_2, kModuleDataSourceCall,
            "Method called  table_name=%s for index =%s for field_name =%s", or_null(table_name),
            or_null(index), or_null(field_name));
  if (table_name == nullptr || index == nullptr || field_name == nullptr ||
      updated_values == nullptr) {
    VSD_ERROR(WZLB_LEVEL_2, "Arguments passed to wz_ids_set_field_value are not valid\n");
    return kFailed;
  }
  const int row = find_source_of_field(__func__, table_name);
  if (row == kNoSource) {
    return kFailed;
  }
  if (set_column(row, index, field_name, updated_values) != 0) {
    VSD_ERROR(
        WZLB_LEVEL_2,
        "API wz_ids_set_field_value error: Failed to  update column value in %s data source \n",
        table_name);
    return kFailed;
  }
  back_up(row);
  return 0;
}

int wz_ids_update_field_value(char* table_name, char* index, char* field_name, float values,
                              char operation) {
  using namespace wz::script;
  VSD_TRACE(WZLB_LEVEL_2, kModuleDataSourceCall,
            "Method Called. table_name = %s, index = %s. field_name = %s, values = %f, operator = "
            "%d",
            or_null(table_name), or_null(index), or_null(field_name), static_cast<double>(values),
            operation);
  if (table_name == nullptr || index == nullptr || field_name == nullptr) {
    VSD_ERROR(WZLB_LEVEL_2,
              "Arguments passed to wz_ids_increment/wz_ids_decrement are not valid\n");
    return kFailed;
  }
  const int row = find_data_source(table_name);
  if (row == kNoSource) {
    VSD_ERROR(WZLB_LEVEL_2,
              "API wz_ids_decrement_field_value/wz_ids_increment_field_value/ error: Datasource  "
              "(%s) not found in controller \n",
              table_name);
    return kFailed;
  }
  switch (update_column(row, index, field_name, values, operation)) {
    case Calculated::no_column:
      VSD_ERROR(WZLB_LEVEL_2,
                "Error in fetching_field_value: Column %s not found in datasource %s for API "
                "wz_ids_increment_field_value/wz_ids_decrement_field_value\n",
                field_name, table_name);
      return kFailed;
    case Calculated::no_number:
      VSD_ERROR(WZLB_LEVEL_2,
                "API wz_ids_decrement_field_value /wz_ids_decrement_field_value "
                "error:Decrement/Increment operation can not be performed on string in datasource "
                "- %s\n",
                table_name);
      return kFailed;
    case Calculated::not_written:
      return kFailed;
    case Calculated::done:
      break;
  }
  back_up(row);
  return 0;
}

int wz_ids_increment_field_value(char* table_name, char* index, char* field_name, float values) {
  return wz_ids_update_field_value(table_name, index, field_name, values, 0);
}

int wz_ids_decrement_field_value(char* table_name, char* index, char* field_name, float values) {
  return wz_ids_update_field_value(table_name, index, field_name, values, wz::script::kSubtract);
}
