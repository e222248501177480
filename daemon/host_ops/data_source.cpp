// Writing through to data sources. No declaration makes one yet, so every write is refused.
#include <wz/vsd_host.h>
#include <wz/wzlb_log.h>

int update_column_value_in_db(void*, char* key, char*, int column, char, int data_source) {
  const auto text = [](const char* literal) { return const_cast<char*>(literal); };
  vsd_error_log_ex(
      WZLB_LEVEL_2, text(__FILE_NAME__), __LINE__, text(__func__), cur_cptr, text(""), text(""),
      const_cast<char*>("The service has no data source %d; column %d of the row '%s' is "
                        "not written"),
      data_source, column, key != nullptr ? key : "");
  return -1;
}
