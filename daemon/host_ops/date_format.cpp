// Values of {date} references. A declaration that needs only a format and a day offset is handed to
// the library, which formats it. Whatever else it asks for the library's call cannot carry; such a
// value is made here and handed over as a format that is literal text.
#include <wz/vsd_host.h>
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_date_var.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "daemon/host_ops/date_reference.h"
#include "daemon/host_ops/host_ops.h"
#include "daemon/host_ops/resolved_name.h"
#include "daemon/service/connection_state.h"
#include "daemon/service/name_table.h"
#include "daemon/service/service_image.h"

namespace vsd {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kDefaultFormat = "%m/%d/%Y";
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

struct WorkerPlace {
  int index = 0;
  int count = 1;
};

WorkerPlace& worker_place() {
  static WorkerPlace place;
  return place;
}

// This process's share of the seconds of unique dates.
Zel_uniq_date_time_data own_slice() {
  const auto [index, count] = worker_place();
  std::vector<Zel_uniq_date_time_data> slices(static_cast<std::size_t>(count));
  wzlb_fill_uniq_date_time(slices.data(), count);
  return slices[static_cast<std::size_t>(index)];
}

// What one declaration has handed out in this process.
struct DateState {
  unsigned long long request = 0;  // the number of the request at the last draw; 0: never
  int day = 0;                     // drawn for that request
  Zel_uniq_date_time_data slice = own_slice();
  Zel_uniq_date_time_data slice_before = slice;  // that request's state, to repeat its second
};

DateState& state_of(const DateRow& row) {
  static std::unordered_map<const DateRow*, DateState> states;
  return states[&row];
}

int draw_day(const DateRow& row) {
  static std::minstd_rand generator{std::random_device{}()};
  return std::uniform_int_distribution<int>(row.min_days, row.max_days)(generator);
}

bool needs_rendering(const DateRow& row) {
  return row.time_offset != 0 || row.day_type != 0 || row.unique || row.max_days > 0;
}

struct FreeTracked {
  void operator()(char* text) const noexcept { WZLB_FREE(text, "date value", -1); }
};

unsigned long long request_number() {
  return cur_cptr != nullptr ? static_cast<const HostConnection*>(cur_cptr)->request_number : 0;
}

std::string render(const DateRow& row, const std::string& format, int day_offset) {
  DateState& state = state_of(row);
  const bool repeats = row.once_per_request && state.request == request_number();
  if (!repeats) {
    state.request = request_number();
    state.day = row.max_days > 0 ? draw_day(row) : 0;
    state.slice_before = state.slice;
  }
  Zel_uniq_date_time_data repeated = state.slice_before;
  int length = 0;
  const std::unique_ptr<char, FreeTracked> value(wzlb_get_formated_cur_date(
      static_cast<int>(format.size()), const_cast<char*>(format.c_str()), day_offset + state.day,
      row.time_offset, row.day_type, row.unique ? 1 : 0, repeats ? &repeated : &state.slice,
      worker_place().count, &length));
  if (!repeats && state.slice_before.init_time != state.slice.init_time) {
    state.slice_before.init_time = state.slice.init_time;  // fixed by the first use
  }
  return {value.get(), static_cast<std::size_t>(length)};
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

void set_host_process(int index, int count) {
  worker_place() = {index, count};
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
