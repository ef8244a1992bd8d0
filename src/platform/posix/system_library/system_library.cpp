#include "platform/posix/system_library/system_library.h"

#include <string.h>

#include "platform/export_names.h"
#include "platform/image_imports.h"

namespace tarn::platform {
namespace {

constexpr const char* kRows[] = {
#define TARN_SYSTEM_EXPORT(name) #name,
#include "platform/posix/system_library/system_exports.inc"
#undef TARN_SYSTEM_EXPORT
};

constexpr auto kNames = sort_names<kRows>();

}  // namespace

void* find_system_routine(const char* name) {
  constexpr std::size_t kFirst = __COUNTER__ + 1;
  switch (kNames.find(name)) {
#define TARN_SYSTEM_EXPORT(name) \
  case __COUNTER__ - kFirst:     \
    return reinterpret_cast<void*>(&tarn::platform::name);
#include "platform/posix/system_library/system_exports.inc"
  }
  return nullptr;
}

// What images may have of other DLLs: random bytes, arguments and kinds of paths, for
// portable programs.
void* find_bcrypt_routine(const char* name) {
  return strcmp(name, "BCryptGenRandom") == 0 ? reinterpret_cast<void*>(&BCryptGenRandom) : nullptr;
}

void* find_advapi_routine(const char* name) {
  const struct {
    const char* name;
    void* routine;
  } rows[] = {
      {"CryptAcquireContextA", reinterpret_cast<void*>(&CryptAcquireContextA)},
      {"CryptGenRandom", reinterpret_cast<void*>(&CryptGenRandom)},
      {"CryptReleaseContext", reinterpret_cast<void*>(&CryptReleaseContext)},
      {"SystemFunction036", reinterpret_cast<void*>(&SystemFunction036)},
  };
  for (const auto& row : rows) {
    if (strcmp(name, row.name) == 0) return row.routine;
  }
  return nullptr;
}

void* find_shell_routine(const char* name) {
  return strcmp(name, "CommandLineToArgvW") == 0 ? reinterpret_cast<void*>(&CommandLineToArgvW)
                                                 : nullptr;
}

void* find_path_routine(const char* name) {
  if (strcmp(name, "PathIsRelativeA") == 0) return reinterpret_cast<void*>(&PathIsRelativeA);
  if (strcmp(name, "PathIsRelativeW") == 0) return reinterpret_cast<void*>(&PathIsRelativeW);
  return nullptr;
}

}  // namespace tarn::platform
