// Columns of rows of data sources, the entry to them and their files.
#include <db.h>
#include <wz/vsd_host.h>
#include <wz/wzlb_log.h>

#include <array>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "daemon/data_source/source_session.h"

namespace vsd {
namespace {

// Texts that have been handed out stay until as many more have been.
constexpr std::size_t kLentTexts = 32;

char* lend(std::string_view text) {
  static std::array<std::string, kLentTexts> texts;
  static std::size_t next = 0;
  std::string& place = texts[next];
  next = (next + 1) % kLentTexts;
  return place.assign(text).data();
}

DBT bytes_of(std::string_view text) {
  DBT thing{};
  thing.data = const_cast<char*>(text.data());
  thing.size = static_cast<u_int32_t>(text.size());
  return thing;
}

// A row without its key, valid until the next one; nothing when there is none.
std::optional<std::string_view> read_row(DB* table, std::string_view key) {
  static std::string buffer(4096, '\0');
  DBT key_bytes = bytes_of(key);
  DBT data{};
  data.flags = DB_DBT_USERMEM;
  for (;;) {
    data.data = buffer.data();
    data.ulen = static_cast<u_int32_t>(buffer.size());
    const int error = table->get(table, nullptr, &key_bytes, &data, 0);
    if (error != DB_BUFFER_SMALL) {
      return error == 0 ? std::optional(std::string_view(buffer.data(), data.size)) : std::nullopt;
    }
    buffer.resize(data.size);
  }
}

// Column `column`, from 1, of a row without its key.
std::optional<std::string_view> find_column(std::string_view row, int column, char delimiter) {
  for (; column > 1; --column) {
    const std::size_t end = row.find(delimiter);
    if (end == std::string_view::npos) {
      return std::nullopt;
    }
    row.remove_prefix(end + 1);
  }
  return row.substr(0, row.find(delimiter));
}

// A stay in the data source, if it is one that others share.
class Stay {
 public:
  Stay(int data_source, bool for_writing, void* table)
      : session_(SourceSession::current()), data_source_(data_source) {
    const bool is_shared =
        session_ != nullptr && data_source >= 0 && data_source < total_idxds_entries;
    if (!is_shared) {
      session_ = nullptr;
      table_ = static_cast<DB*>(table);
    } else if (session_->enter(for_writing) == 0) {
      table_ = indexdatasource[data_source].db_table;  // it may have been opened anew
    } else {
      session_ = nullptr;
    }
  }
  Stay(const Stay&) = delete;
  Stay& operator=(const Stay&) = delete;
  ~Stay() {
    if (session_ != nullptr) {
      session_->leave(data_source_);
    }
  }

  // Null when it cannot be entered.
  [[nodiscard]] DB* table() const { return table_; }

 private:
  SourceSession* session_;
  int data_source_;
  DB* table_ = nullptr;
};

int refuse(const char* key, int column, const char* reason) {
  vsd_error_log_ex(WZLB_LEVEL_2, const_cast<char*>(__FILE_NAME__), __LINE__,
                   const_cast<char*>("update_column_value_in_db"), cur_cptr, const_cast<char*>(""),
                   const_cast<char*>(""),
                   const_cast<char*>("column %d of the row '%s' is not written: %s"), column, key,
                   reason);
  return -1;
}

}  // namespace
}  // namespace vsd

char* get_column_value_from_db(void* db, char* key, int column, char delimiter, int data_source) {
  if (key == nullptr || column < 0) {
    return nullptr;
  }
  const vsd::Stay stay(data_source, false, db);
  const auto row = stay.table() != nullptr ? vsd::read_row(stay.table(), key) : std::nullopt;
  const auto value = row && column > 0 ? vsd::find_column(*row, column, delimiter) : row;
  if (!value) {
    return nullptr;
  }
  return vsd::lend(column == 0 ? std::string_view(key) : *value);
}

int update_column_value_in_db(void* db, char* key, char* value, int column, char delimiter,
                              int data_source) {
  if (key == nullptr || value == nullptr) {
    return vsd::refuse("", column, "there is no key or no value");
  }
  const std::string_view text(value);
  if (column < 1) {
    return vsd::refuse(key, column, "the key of a row stays");
  }
  if (text.find(delimiter) != std::string_view::npos) {
    return vsd::refuse(key, column, "the value holds the delimiter");
  }
  const vsd::Stay stay(data_source, true, db);
  const auto row = stay.table() != nullptr ? vsd::read_row(stay.table(), key) : std::nullopt;
  if (!row) {
    return vsd::refuse(key, column, "there is no such row");
  }
  const auto former = vsd::find_column(*row, column, delimiter);
  if (!former) {
    return vsd::refuse(key, column, "the row has no such column");
  }
  std::string changed(*row);
  changed.replace(static_cast<std::size_t>(former->data() - row->data()), former->size(), text);
  DBT key_bytes = vsd::bytes_of(key);
  DBT data = vsd::bytes_of(changed);
  const int error = stay.table()->put(stay.table(), nullptr, &key_bytes, &data, 0);
  return error == 0 ? 0 : vsd::refuse(key, column, db_strerror(error));
}

void make_db_backup(int data_source) {
  if (vsd::SourceSession* const session = vsd::SourceSession::current(); session != nullptr) {
    session->keep(data_source);
  }
}

int vsd_data_source_enter(int data_source, int for_writing) {
  vsd::SourceSession* const session = vsd::SourceSession::current();
  return session != nullptr && data_source < total_idxds_entries ? session->enter(for_writing != 0)
                                                                 : 0;
}

void vsd_data_source_leave(int data_source) {
  if (vsd::SourceSession* const session = vsd::SourceSession::current(); session != nullptr) {
    session->leave(data_source);
  }
}
