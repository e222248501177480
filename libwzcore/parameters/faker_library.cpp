// The process's own copy of the two calls comes first, so that a host decides which library serves
// it. Otherwise the library is loaded from where libwz.so lies, then from the system's folders: a
// program that links libwz alone pays nothing for fake data until it declares some.
#include "libwzcore/parameters/faker_library.h"

#include <dlfcn.h>
#include <wz/wzlb_faker.h>

#include <string>

#include "libwzcore/internal/trace.h"

#pragma weak wzlb_faker_class_to_id
#pragma weak wzlb_faker_get_by_id

namespace wz {
namespace {

void* open_library() {
  static const char here = 0;
  Dl_info self{};
  if (dladdr(&here, &self) != 0 && self.dli_fname != nullptr) {
    const std::string path = self.dli_fname;
    const std::string sibling = path.substr(0, path.rfind('/') + 1) + WZ_FAKER_LIBRARY;
    if (void* handle = dlopen(sibling.c_str(), RTLD_NOW | RTLD_LOCAL); handle != nullptr) {
      return handle;
    }
  }
  return dlopen(WZ_FAKER_LIBRARY, RTLD_NOW | RTLD_LOCAL);
}

FakerLibrary find_library() {
  FakerLibrary library{wzlb_faker_class_to_id, wzlb_faker_get_by_id};
  if (library.class_to_id != nullptr && library.get_by_id != nullptr) {
    return library;
  }
  void* handle = open_library();
  if (handle == nullptr) {
    WZLB_TRACE(WZLB_LEVEL_1, WZLB_MODULE_PARAMETER, "%s is not there", WZ_FAKER_LIBRARY);
    return {};
  }
  library.class_to_id =
      reinterpret_cast<decltype(library.class_to_id)>(dlsym(handle, "wzlb_faker_class_to_id"));
  library.get_by_id =
      reinterpret_cast<decltype(library.get_by_id)>(dlsym(handle, "wzlb_faker_get_by_id"));
  return library.class_to_id != nullptr && library.get_by_id != nullptr ? library : FakerLibrary{};
}

}  // namespace

const FakerLibrary& faker_library() {
  static const FakerLibrary library = find_library();
  return library;
}

}  // namespace wz
