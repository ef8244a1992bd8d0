#include "platform/windows/window_libraries.h"

namespace tarn::platform {
namespace {

struct ServiceRow {
  const char *library, *name;
};

// In the order of the fields of WindowLibraries.
constexpr ServiceRow kServices[] = {
#define TARN_SERVICE_ROW(name) {"USER32.DLL", #name},
    TARN_USER32_SERVICES(TARN_SERVICE_ROW)
#undef TARN_SERVICE_ROW
#define TARN_SERVICE_ROW(name) {"GDI32.DLL", #name},
        TARN_GDI32_SERVICES(TARN_SERVICE_ROW)
#undef TARN_SERVICE_ROW
};
constexpr std::size_t kServiceCount = sizeof kServices / sizeof kServices[0];
static_assert(sizeof(WindowLibraries) == kServiceCount * sizeof(void*));

union {
  WindowLibraries by_name;
  void* by_row[kServiceCount];
} services;

bool load_all() {
  for (std::size_t i = 0; i < kServiceCount; ++i) {
    services.by_row[i] = late_service<void*>(kServices[i].library, kServices[i].name);
    if (services.by_row[i] == nullptr) return false;
  }
  return true;
}

}  // namespace

const WindowLibraries* window_libraries() {
  static enum { kUnknown, kLoaded, kMissing } state;
  if (state == kUnknown) state = load_all() ? kLoaded : kMissing;
  return state == kLoaded ? &services.by_name : nullptr;
}

}  // namespace tarn::platform
