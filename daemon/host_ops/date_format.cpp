// Values of {date} references. A declaration that needs only a format and a day offset is handed to
// the library, which formats it. Whatever else it asks for the library's call cannot carry; such a
// value is made here and handed over as a format that is literal text.
#include <wz/vsd_host.h>
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_date_var.h>
#include <wz/wzlb_poi.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "daemon/host_ops/date_reference.h"
#include "daemon/host_ops/host_ops.h"
#include "daemon/host_ops/resolved_name.h"
#include "daemon/host_ops/worker_place.h"
#include "daemon/service/connection_state.h"
#include "daemon/service/name_table.h"
#include "daemon/service/service_image.h"

namespace vsd {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kDefaultFormat = "%m/%d/%Y";
constexpr std::size_t kMostTexts =
    100;  // kept of one date: scripts can make up formats without end
// Longer results cannot be handed over, and strftime would stop there.
constexpr std::size_t kMaxFormat = VSD_DATE_FORMAT_SIZE - 1;

std::string_view trim_left(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text;
}

std::optional<int> signed_number(std::string_view text) {
  text = trim_left(text);
  text = text.substr(0, text.find_last_not_of(kBlanks) + 1);
  if (text.size() < 2 || (text[0] != '+' && text[0] != '-') || text[1] < '0' || text[1] > '9') {
    return std::nullopt;
  }
  const bool plus = text[0] == '+';
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + (plus ? 1 : 0), end, number);
  return error == std::errc{} && stop == end ? std::optional(number) : std::nullopt;
}

WorkerPlace& place_of_this() noexcept {
  static WorkerPlace place;
  return place;
}

// This process's share of the seconds of unique dates.
Zel_uniq_date_time_data own_slice() {
  const auto& [index, count] = worker_place();
  std::vector<Zel_uniq_date_time_data> slices(static_cast<std::size_t>(count));
  wzlb_fill_uniq_date_time(slices.data(), count);
  return slices[static_cast<std::size_t>(index)];
}

// The seconds that each declaration has left in this process.
using Slices = std::unordered_map<const DateRow*, Zel_uniq_date_time_data>;

Slices& slices() {
  static Slices all;
  return all;
}

Zel_uniq_date_time_data& slice_of(const DateRow& row) {
  const auto found = slices().find(&row);
  return found != slices().end() ? found->second
                                 : slices().emplace(&row, own_slice()).first->second;
}

// 0 for a date without a range.
int draw_day(const DateRow& row) {
  if (row.max_days == 0) {
    return 0;
  }
  if (g_urand_gen_idx < 0) {
    seed_host_generators(std::random_device{}(), worker_place().index, 1);
  }
  return row.min_days +
         static_cast<int>(wz_get_random_max(g_urand_gen_idx, row.max_days - row.min_days + 1));
}

bool needs_rendering(const DateRow& row) {
  return row.once_per_session || row.time_offset != 0 || row.day_type != 0 || row.unique ||
         row.max_days > 0;
}

struct FreeTracked {
  void operator()(char* text) const noexcept { WZLB_FREE(text, "date value", -1); }
};

// How far a value is from now.
struct Shift {
  int days;
  int seconds;
};

std::string print(const DateRow& row, const std::string& format, Shift shift,
                  Zel_uniq_date_time_data& slice) {
  int length = 0;
  const std::unique_ptr<char, FreeTracked> value(
      wzlb_get_formated_cur_date(static_cast<int>(format.size()), const_cast<char*>(format.c_str()),
                                 shift.days, row.time_offset + shift.seconds, row.day_type,
                                 row.unique ? 1 : 0, &slice, worker_place().count, &length));
  return {value.get(), static_cast<std::size_t>(length)};
}

// The same moment as at the first use in this connection, in another format. The library counts
// from now, so now must not change meanwhile.
std::string print_again(const DateRow& row, const std::string& format, int day_offset,
                        const SessionDate& date) {
  std::string text;
  std::time_t now = 0;
  do {
    now = std::time(nullptr);
    Zel_uniq_date_time_data slice = date.slice;
    text = print(row, format, {day_offset + date.day, static_cast<int>(date.base - now)}, slice);
  } while (now != std::time(nullptr));
  return text;
}

std::string print_first(const DateRow& row, const std::string& format, int day_offset,
                        SessionDate& date) {
  date.base = std::time(nullptr);
  date.day = draw_day(row);
  Zel_uniq_date_time_data& slice = slice_of(row);
  date.slice = slice;
  std::string text = print(row, format, {day_offset + date.day, 0}, slice);
  date.slice.init_time = slice.init_time;  // fixed by the first use
  return text;
}

std::string render(const DateRow& row, const std::string& format, int day_offset) {
  ConnectionState* state = ConnectionState::current();
  if (!row.once_per_session || state == nullptr) {
    return print(row, format, {day_offset + draw_day(row), 0}, slice_of(row));
  }
  SessionDate& date = state->session().dates[&row];
  const std::string key = std::to_string(day_offset) + ' ' + format;
  if (const auto found = date.texts.find(key); found != date.texts.end()) {
    return found->second;
  }
  std::string text = date.base == 0 ? print_first(row, format, day_offset, date)
                                    : print_again(row, format, day_offset, date);
  if (date.texts.size() < kMostTexts) {
    date.texts.emplace(key, text);
  }
  return text;
}

std::string escape_percent(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    escaped.append(c == '%' ? 2 : 1, c);
  }
  return escaped;
}

// The declared row that the last resolved name stands for, if it is a date variable.
struct Declared {
  const DateRow* row = nullptr;
  std::string_view format = kDefaultFormat;
};

Declared last_declared() {
  const ResolvedName& name = last_resolved_name();
  if (name.table == nullptr) {
    return {};
  }
  NameTableHeader header;
  std::memcpy(&header, name.table, sizeof header);
  const ServiceView service(*reinterpret_cast<const ServiceRecord*>(name.table + header.to_owner));
  const VarTransTableEntry& variable = service.variable(name.hash_code);
  if (variable.var_type != VSD_DATE_VAR) {
    return {};
  }
  const DateRow& row = service.dates()[static_cast<std::size_t>(variable.table_idx)];
  return {&row, service.text(row.format)};
}

void put_format(std::string_view format, char* out) {
  out[format.copy(out, kMaxFormat)] = '\0';
}

}  // namespace

DateReference read_date_reference(std::string_view text) {
  DateReference reference;
  text = trim_left(text.substr(0, text.find('}')));
  if (!text.starts_with(',')) {
    return reference;
  }
  reference.format = trim_left(text.substr(1));
  const std::size_t comma = reference.format.rfind(',');
  if (comma != std::string_view::npos) {
    reference.day_offset = signed_number(reference.format.substr(comma + 1));
  }
  if (reference.day_offset) {
    reference.format = reference.format.substr(0, comma);
  }
  return reference;
}

const WorkerPlace& worker_place() noexcept {
  return place_of_this();
}

void set_host_process(int index, int count) {
  place_of_this() = {index, count};
  slices().clear();
  ::setenv("CHILD_INDEX", std::to_string(index).c_str(), 1);  // the library reads it there
}

}  // namespace vsd

void parse_zel_cur_date_format_and_day_offset(char* text, char* format_out, int* offset_out, int) {
  const vsd::DateReference reference = vsd::read_date_reference(text);
  const vsd::Declared declared = vsd::last_declared();
  const std::string_view format = reference.format.empty() ? declared.format : reference.format;
  const int declared_offset = declared.row != nullptr ? declared.row->day_offset : 0;
  const int day_offset = reference.day_offset.value_or(declared_offset);
  if (declared.row == nullptr || !vsd::needs_rendering(*declared.row)) {
    vsd::put_format(format, format_out);
    *offset_out = day_offset;
    return;
  }
  const std::string kept(format.substr(0, vsd::kMaxFormat));
  vsd::put_format(vsd::escape_percent(vsd::render(*declared.row, kept, day_offset)), format_out);
  *offset_out = 0;
}
