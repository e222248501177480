// The last requests, from the journal.
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <optional>

#include "daemon/admin/admin_view.h"
#include "daemon/admin/json_writer.h"
#include "daemon/admin/status_label.h"
#include "daemon/service/connection_state.h"

namespace vsd {
namespace {

constexpr std::size_t kDefaultLimit = 100;

// Which requests are wanted.
struct Filter {
  std::optional<std::string> service;
  std::string status;  // "404", "4xx", "none"; empty: any
  bool unmatched = false;
  std::size_t limit = kDefaultLimit;

  [[nodiscard]] bool fits(const JournalEntry& entry, const ServiceKey& key) const {
    if (service && key.name != *service && key.project + "/" + key.name != *service) {
      return false;
    }
    if (unmatched && entry.facts.row != ServiceRows::kNoService) {
      return false;
    }
    const std::string label = status_label(entry.facts.status);
    return status.empty() || status == label ||
           (status.ends_with("xx") && status.front() == label.front());
  }
};

bool is_status(std::string_view text) {
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  return text == "none" || (text.size() == 3 && is_digit(text[0]) &&
                            ((is_digit(text[1]) && is_digit(text[2])) || text.substr(1) == "xx"));
}

// Reads the query of `target`; returns what is wrong with it.
std::string read_filter(std::string_view target, Filter& filter) {
  if (const auto service = query_value(target, "service")) {
    append_query_decoded(*service, filter.service.emplace());
  }
  filter.status = query_value(target, "status").value_or("");
  if (!filter.status.empty() && !is_status(filter.status)) {
    return "status must be a number such as 404, a class such as 4xx, or none";
  }
  const std::string_view unmatched = query_value(target, "unmatched").value_or("0");
  filter.unmatched = unmatched == "1" || unmatched == "true";
  if (const auto limit = query_value(target, "limit")) {
    const char* const end = limit->data() + limit->size();
    if (std::from_chars(limit->data(), end, filter.limit).ptr != end || limit->empty()) {
      return "limit must be a number";
    }
  }
  return {};
}

// "2026-11-21T15:04:05.678901Z"
std::string utc_text(std::int64_t microseconds) {
  const std::time_t seconds = microseconds / 1000000;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  std::array<char, 32> day{};
  std::strftime(day.data(), day.size(), "%Y-%m-%dT%H:%M:%S", &utc);
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%s.%06dZ", day.data(),
                static_cast<int>(microseconds % 1000000));
  return text.data();
}

std::string_view name_of(http::Fault fault) {
  constexpr std::array<std::string_view, 6> kNames = {"none",    "reset", "empty",
                                                      "garbage", "slow",  "close-mid-body"};
  const auto number = static_cast<std::size_t>(fault);
  return number < kNames.size() ? kNames[number] : "none";
}

void append_nearest(JsonWriter& json, std::string_view lines) {
  json.key("nearest").open('[');
  while (!lines.empty()) {
    const std::string_view line = lines.substr(0, lines.find('\n'));
    json.text(line);
    lines.remove_prefix(std::min(line.size() + 1, lines.size()));
  }
  json.close(']');
}

void append_entry(JsonWriter& json, const JournalEntry& entry, const ServiceKey& key) {
  const JournalFacts& facts = entry.facts;
  json.open('{').key("number").number(entry.ticket);
  json.key("time").text(utc_text(facts.time));
  json.key("worker").number(facts.worker);
  json.key("method").text(entry.method);
  json.key("target").text(entry.target);
  if (facts.row == ServiceRows::kNoService) {
    append_nearest(json, entry.nearest);
  } else {
    json.key("project").text(key.project);
    json.key("service").text(key.name);
  }
  json.key("status");
  facts.status == 0 ? json.null() : json.number(facts.status);
  if (facts.fault != http::Fault::none) {
    json.key("fault").text(name_of(facts.fault));
  }
  json.key("duration_us").number(facts.duration);
  json.key("service_time_ms").number(facts.service_time);
  json.key("head_size").number(facts.head_size);
  json.key("body_size").number(facts.body_size);
  json.key("head").text(entry.head);
  json.key("body").text(entry.body);
  json.close('}');
}

}  // namespace

std::string append_requests_page(const AdminView& view, std::string_view target, std::string& out) {
  Filter filter;
  if (std::string problem = read_filter(target, filter); !problem.empty()) {
    return problem;
  }
  const std::vector<ServiceKey>& keys = view.telemetry.rows.keys();
  JsonWriter json(out);
  json.open('{').key("capacity").number(view.telemetry.journal.capacity());
  json.key("requests").open('[');
  std::size_t shown = 0;
  for (const JournalEntry& entry : view.telemetry.journal.entries()) {
    // A row that this process has not heard of yet belongs to a reload that is just under way.
    const ServiceKey& key =
        keys[entry.facts.row < keys.size() ? entry.facts.row : std::size_t{ServiceRows::kOthers}];
    if (shown < filter.limit && filter.fits(entry, key)) {
      append_entry(json, entry, key);
      ++shown;
    }
  }
  json.close(']').close('}');
  out += '\n';
  return {};
}

}  // namespace vsd
