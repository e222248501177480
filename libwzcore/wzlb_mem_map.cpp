// The per-thread register of live blocks. Tracked allocation offers every block to it; until a map
// is initialised in the calling thread an offer records nothing.
//
// The id table that finds entries by address allocates through tracked allocation too. While the
// map works on it, and on its own array, it is switched off.
#include <wz/wzlb_alloc.h>
#include <wz/wzlb_get_norm_obj_id.h>
#include <wz/wzlb_mem_map.h>
#include <wz/wzlb_time_stamp.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "libwzcore/internal/allocating_thread.h"
#include "libwzcore/internal/trace.h"

#define MAP_TRACE(level, format, ...) \
  WZLB_TRACE((level), WZLB_MODULE_MEMORY, format __VA_OPT__(, ) __VA_ARGS__)

__thread ZelMemoryMap* zel_mem_map = nullptr;
__thread int mem_map_entry_max = 0;
__thread int mem_map_max_norm_id = 0;
__thread NormObjKey mem_map_norm_tbl{};

namespace {

bool& map_records() {
  return wz::allocating_thread.map_records;
}

constexpr char kLabel[] = "ZelMemoryMap";

class TrackingOff {
 public:
  TrackingOff() : before_(std::exchange(map_records(), false)) {}
  ~TrackingOff() { map_records() = before_; }
  TrackingOff(const TrackingOff&) = delete;
  TrackingOff& operator=(const TrackingOff&) = delete;

 private:
  bool before_;
};

// An address as "%p" prints it.
class AddressText {
 public:
  explicit AddressText(const void* address) {
    const auto value = reinterpret_cast<std::uintptr_t>(address);
    char* const end =
        std::to_chars(text_.data() + 2, text_.data() + text_.size() - 1, value, 16).ptr;
    *end = '\0';
    length_ = static_cast<int>(end - text_.data());
  }
  char* text() { return text_.data(); }
  [[nodiscard]] int length() const { return length_; }

 private:
  std::array<char, 2 + 2 * sizeof(std::uintptr_t) + 1> text_{'0', 'x'};
  int length_;
};

// Copies as much of each text as `room` has left; the last byte stays for the NUL.
template <std::size_t Size>
class CutText {
 public:
  explicit CutText(char (&room)[Size]) : room_(room) {}
  ~CutText() { room_[length_] = '\0'; }
  CutText(const CutText&) = delete;
  CutText& operator=(const CutText&) = delete;

  void append(const char* text) {
    const std::size_t count = strnlen(text, Size - 1 - length_);
    std::memcpy(room_ + length_, text, count);
    length_ += count;
  }

 private:
  char (&room_)[Size];
  std::size_t length_ = 0;
};

const char* text_or_null(const char* text) {
  return text != nullptr ? text : "(null)";
}

void fill_message(ZelMemoryMap& entry, const char* file, int line, const char* func,
                  const char* msg) {
  std::array<char, 16> number{};
  std::to_chars(number.data(), number.data() + number.size() - 1, line);
  CutText message(entry.message);
  for (const char* part : {text_or_null(file), "|", static_cast<const char*>(number.data()), "|",
                           text_or_null(func), "|", msg}) {
    message.append(part);
  }
}

struct FileCloser {
  void operator()(FILE* file) const { std::fclose(file); }
};

void write_entries(FILE* file) {
  std::fputs("AbsoluteTimeStamp|Address|Size|FileName|LineNo|FunctionName|Message!!\n", file);
  // Deliberate: strictly below the highest id, which is the dumping caller's own newest block.
  const int end = std::min(mem_map_max_norm_id, mem_map_entry_max);
  for (int id = 0; id < end; ++id) {
    const ZelMemoryMap& entry = zel_mem_map[id];
    if (entry.size != 0) {
      std::fprintf(file, "%s|%p|%ld|%s\n", entry.timestamp, entry.address,
                   static_cast<long>(entry.size), entry.message);
    }
  }
}

}  // namespace

int wzlb_mem_map_init(void) {
  if (zel_mem_map != nullptr) {
    MAP_TRACE(WZLB_LEVEL_1, "Memory Map already intialized");
    return -1;
  }
  if (wzlb_init_norm_id_table(&mem_map_norm_tbl, WZLB_MEM_MAP_FIRST_ENTRIES) != 0) {
    return -1;
  }
  constexpr std::size_t kSize = WZLB_MEM_MAP_FIRST_ENTRIES * sizeof(ZelMemoryMap);
  zel_mem_map = static_cast<ZelMemoryMap*>(WZLB_MALLOC(kSize, kLabel));
  std::memset(zel_mem_map, 0, kSize);
  mem_map_entry_max = WZLB_MEM_MAP_FIRST_ENTRIES;
  map_records() = true;
  return 0;
}

void wzlb_mem_map_create_entry(int norm_id) {
  if (zel_mem_map == nullptr || norm_id < 0) {
    return;
  }
  if (norm_id >= mem_map_entry_max) {
    const int size = mem_map_entry_max + WZLB_MEM_MAP_GROWTH_STEP;
    {
      const TrackingOff off;
      zel_mem_map = static_cast<ZelMemoryMap*>(WZLB_REALLOC(
          zel_mem_map, static_cast<std::size_t>(size) * sizeof(ZelMemoryMap), kLabel, -1));
    }
    std::memset(zel_mem_map + mem_map_entry_max, 0,
                WZLB_MEM_MAP_GROWTH_STEP * sizeof(ZelMemoryMap));
    mem_map_entry_max = size;
  }
  mem_map_max_norm_id = std::max(mem_map_max_norm_id, norm_id);
}

int wzlb_mem_map_add(void* address, size_t size, char* msg, char* file, int line, char* func) {
  if (!map_records()) {
    MAP_TRACE(wz::kMemMapTraceLevel, "Memory map is not initialized");
    return -1;
  }
  if (address == nullptr || msg == nullptr || *msg == '\0') {
    MAP_TRACE(WZLB_LEVEL_1, "Memory map - address or msg is NULL");
    return -1;
  }
  AddressText key(address);
  int flag_new = 0;
  int id = 0;
  {
    const TrackingOff off;
    id = static_cast<int>(
        wzlb_get_or_set_norm_id(&mem_map_norm_tbl, key.text(), key.length(), &flag_new));
  }
  if (flag_new != 0) {
    wzlb_mem_map_create_entry(id);
  }
  if (id < 0 || id >= mem_map_entry_max) {
    return -1;
  }
  ZelMemoryMap& entry = zel_mem_map[id];
  if (flag_new == 0) {
    MAP_TRACE(
        WZLB_LEVEL_1,
        "Error: Timestamp = %s, Address = %p, size = %ld, message = %s, already exists in map "
        "so overwriting.",
        entry.timestamp, entry.address, static_cast<long>(entry.size), entry.message);
  }
  entry.address = address;
  entry.size = size;
  fill_message(entry, file, line, func, msg);
  wzlb_get_cur_date_time(entry.timestamp, 0);
  MAP_TRACE(wz::kMemMapTraceLevel,
            "Entry added timestamp = %s, address = %p, size = %ld, message = %s", entry.timestamp,
            address, static_cast<long>(size), entry.message);
  return 0;
}

int wzlb_mem_map_remove(void* address) {
  if (!map_records()) {
    MAP_TRACE(wz::kMemMapTraceLevel, "Memory map is not initialized");
    return -1;
  }
  if (address == nullptr) {
    MAP_TRACE(WZLB_LEVEL_1, "Memory map - address is NULL");
    return -1;
  }
  AddressText key(address);
  int id = -1;
  {
    const TrackingOff off;
    wzlb_delete_norm_id_ex(&mem_map_norm_tbl, key.text(), key.length(), &id);
  }
  if (id < 0 || id >= mem_map_entry_max) {
    MAP_TRACE(wz::kMemMapTraceLevel, "Memory %p is not found in map", address);
    return -1;
  }
  zel_mem_map[id] = ZelMemoryMap{};
  MAP_TRACE(wz::kMemMapTraceLevel, "Deleted normid = %d", id);
  return 0;
}

int wzlb_mem_map_dump(char* fname) {
  if (fname == nullptr || *fname == '\0') {
    MAP_TRACE(WZLB_LEVEL_1, "Memory dump file is NULL");
    return -1;
  }
  if (mem_map_entry_max == 0) {
    MAP_TRACE(wz::kMemMapTraceLevel, "Memory map is not initialized");
    return -1;
  }
  const std::unique_ptr<FILE, FileCloser> file(std::fopen(fname, "w"));
  if (file == nullptr) {
    MAP_TRACE(WZLB_LEVEL_1, "Error in opening the file '%s'", fname);
    return -1;
  }
  write_entries(file.get());
  return 0;
}

int wzlb_mem_map_free(void) {
  if (zel_mem_map == nullptr) {
    MAP_TRACE(WZLB_LEVEL_1, "Memory Map not intialized");
    return -1;
  }
  map_records() = false;
  mem_map_entry_max = 0;
  mem_map_max_norm_id = 0;
  wzlb_obj_hash_destroy(&mem_map_norm_tbl);
  WZLB_FREE(std::exchange(zel_mem_map, nullptr), kLabel, -1);
  return 0;
}
