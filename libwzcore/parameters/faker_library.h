// libwzfaker, which need not be there.
#pragma once

namespace wz {

struct FakerLibrary {
  // Both null when there is no such library; see <wz/wzlb_faker.h>.
  int (*class_to_id)(const char* value) = nullptr;
  const char* (*get_by_id)(int id, const char* args) = nullptr;
};

// Found at the first call and kept for the life of the process, because ids hold that long.
[[nodiscard]] const FakerLibrary& faker_library();

}  // namespace wz
