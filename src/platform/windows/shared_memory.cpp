// Memory of one run: named sections of the paging file. An empty section, the
// anchor, exists as long as any process of the run does; the environment
// variable that children inherit holds the run's id. A process that finds an
// id, but no anchor under it, belongs to no living run and begins its own.

#include "platform/windows/system.h"

namespace tarn::platform {
namespace {

constexpr char kRunVariable[] = "tarn_run_memory";
constexpr char kObjectPrefix[] = "Local\\tarn_run_";
constexpr std::uint32_t kRunIdSize = 25;  // process id, '_', creation time, NUL
constexpr std::uint32_t kObjectNameSize =
    sizeof kObjectPrefix + kRunIdSize + 1 + kRunMemoryNameSize;
constexpr std::uint32_t kAnchorSize = 4096;
constexpr std::uint64_t kPageSize = 4096;

struct Region {
  char name[kRunMemoryNameSize];
  void* address;
  std::uint64_t size;
};
Region regions[kRunMemoryNames];
std::uint32_t region_count;
char run_id[kRunIdSize];
HANDLE anchor;

char* append(char* to, const char* text) {
  while (*text != 0) *to++ = *text++;
  *to = 0;
  return to;
}

char* append_hex(char* to, std::uint64_t value, std::uint32_t digits) {
  for (std::uint32_t i = digits; i-- > 0;) *to++ = "0123456789abcdef"[value >> (i * 4) & 15];
  *to = 0;
  return to;
}

void object_name(char* to, const char* name) {
  to = append(append(to, kObjectPrefix), run_id);
  if (name != nullptr) append(append(to, "_"), name);
}

bool join_run() {
  char object[kObjectNameSize];
  const std::uint32_t length = GetEnvironmentVariableA(kRunVariable, run_id, kRunIdSize);
  if (length == 0 || length >= kRunIdSize) return false;
  object_name(object, nullptr);
  anchor = ::OpenFileMappingA(FILE_MAP_READ, FALSE, object);
  return anchor != nullptr;
}

// No other living process has this id and this time of creation.
bool begin_run() {
  FILETIME created, exited, kernel, user;
  if (!::GetProcessTimes(::GetCurrentProcess(), &created, &exited, &kernel, &user)) return false;
  char* end = append_hex(run_id, ::GetCurrentProcessId(), 8);
  end = append_hex(append(end, "_"), created.dwHighDateTime, 7);
  append_hex(end, created.dwLowDateTime, 8);
  char object[kObjectNameSize];
  object_name(object, nullptr);
  anchor =
      ::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kAnchorSize, object);
  return anchor != nullptr && ::SetEnvironmentVariableA(kRunVariable, run_id);
}

bool usable_name(const char* name) {
  if (name == nullptr) return false;
  std::uint32_t length = 0;
  for (; name[length] != 0; ++length) {
    if (length == kRunMemoryNameSize - 1 || name[length] == '\\') return false;
  }
  return length > 0;
}

bool same(const char* a, const char* b) {
  for (; *a == *b; ++a, ++b) {
    if (*a == 0) return true;
  }
  return false;
}

void* fail(std::uint32_t code) {
  ::SetLastError(code);
  return nullptr;
}

}  // namespace

void* OpenRunSharedMemory(const char* name, std::uint64_t size) {
  if (!usable_name(name) || size == 0 || size > kRunMemoryLimit) {
    return fail(kErrorInvalidParameter);
  }
  size = (size + kPageSize - 1) & ~(kPageSize - 1);
  for (std::uint32_t i = 0; i < region_count; ++i) {
    if (!same(regions[i].name, name)) continue;
    return size <= regions[i].size ? regions[i].address : fail(kErrorNotEnoughMemory);
  }
  if (region_count == kRunMemoryNames) return fail(kErrorNotEnoughMemory);
  if (anchor == nullptr && !join_run() && !begin_run()) return nullptr;

  char object[kObjectNameSize];
  object_name(object, name);
  const HANDLE section = ::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                              static_cast<DWORD>(size), object);
  if (section == nullptr) return nullptr;
  // An existing section keeps its size: map all of it, and see.
  void* const address = ::MapViewOfFile(section, FILE_MAP_ALL_ACCESS, 0, 0, 0);
  MEMORY_BASIC_INFORMATION view;
  if (address == nullptr || ::VirtualQuery(address, &view, sizeof view) == 0 ||
      view.RegionSize < size) {
    if (address != nullptr) ::UnmapViewOfFile(address);
    ::CloseHandle(section);
    return fail(kErrorNotEnoughMemory);
  }
  Region& region = regions[region_count++];
  append(region.name, name);
  region.address = address;
  region.size = view.RegionSize;
  return address;
}

}  // namespace tarn::platform
