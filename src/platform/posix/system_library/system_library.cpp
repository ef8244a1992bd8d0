#include "platform/posix/system_library/system_library.h"

#include <string.h>

#include "platform/image_imports.h"

namespace tarn::platform {
namespace {

// Sorted by name, for the search.
const struct {
  const char* name;
  void* routine;
} kExports[] = {
#define TARN_SYSTEM_EXPORT(name) {#name, reinterpret_cast<void*>(&name)},
#include "platform/posix/system_library/system_exports.inc"
#undef TARN_SYSTEM_EXPORT
};

}  // namespace

void* find_system_routine(const char* name) {
  std::size_t low = 0, high = sizeof kExports / sizeof kExports[0];
  while (low < high) {
    const std::size_t middle = (low + high) / 2;
    const int order = strcmp(name, kExports[middle].name);
    if (order == 0) return kExports[middle].routine;
    if (order < 0) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return nullptr;
}

}  // namespace tarn::platform
