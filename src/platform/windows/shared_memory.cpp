// Memory of one run: named sections of the paging file. An empty section, the
// anchor, exists as long as any process of the run does; the environment
// variable that children inherit holds the run's id. A process that finds an
// id, but no anchor under it, belongs to no living run and begins its own.

#include "platform/windows/system.h"

namespace tarn::platform {
namespace {

constexpr char kObjectPrefix[] = "Local\\tarn_run_";
constexpr std::uint32_t kRunIdSize = 34;  // process id, '_', creation time, '_', number, NUL
constexpr std::uint32_t kObjectNameSize =
    sizeof kObjectPrefix + kRunIdSize + 1 + kRunMemoryNameSize;
constexpr std::uint32_t kAnchorSize = 4096;
constexpr std::uint64_t kPageSize = 4096;
constexpr std::uint64_t kGranularity = 65536;
constexpr int kMappingTries = 20;

struct Region {
  char name[kRunMemoryNameSize];
  void* address;
  std::uint64_t size;
};
Region regions[kRunMemoryNames];
std::uint32_t region_count;
char run_id[kRunIdSize];
HANDLE anchor;
std::uint32_t runs_begun;  // by this process

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

bool join_run(const char* value) {
  char object[kObjectNameSize];
  if (*value == 0) return false;
  append(run_id, value);
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
  end = append_hex(end, created.dwLowDateTime, 8);
  append_hex(append(end, "_"), runs_begun++, 8);
  char object[kObjectNameSize];
  object_name(object, nullptr);
  anchor =
      ::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kAnchorSize, object);
  return anchor != nullptr && ::SetEnvironmentVariableA(kRunMemoryVariable, run_id);
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

// The run that the environment names, or a new one. The process stays in its
// run if the environment cannot be read.
bool enter_run() {
  char value[kRunIdSize];
  const std::uint32_t length = GetEnvironmentVariableA(kRunMemoryVariable, value, kRunIdSize);
  const bool unread = length == 0 && ::GetLastError() != ERROR_ENVVAR_NOT_FOUND;
  if (length == 0 || length >= kRunIdSize) value[0] = 0;
  if (anchor != nullptr && (unread || same(value, run_id))) return true;
  if (anchor != nullptr) ::CloseHandle(anchor);
  anchor = nullptr;
  region_count = 0;
  return join_run(value) || begin_run();
}

// Maps all of the section, with no other memory within a step of the address
// space after it: where the view ends on such a step, the next one is reserved.
// Between the two calls another thread may take the place.
void* map_guarded(HANDLE section, std::uint64_t* size) {
  void* place = nullptr;
  for (int i = 0; i < kMappingTries; ++i) {
    void* const address = ::MapViewOfFileEx(section, FILE_MAP_ALL_ACCESS, 0, 0, 0, place);
    MEMORY_BASIC_INFORMATION view;
    if (address != nullptr && ::VirtualQuery(address, &view, sizeof view) != 0) {
      *size = view.RegionSize;
      char* const end = static_cast<char*>(address) + *size;
      if (reinterpret_cast<std::uint64_t>(end) % kGranularity != 0 ||
          ::VirtualAlloc(end, kGranularity, MEM_RESERVE, PAGE_NOACCESS) != nullptr) {
        return address;
      }
      ::UnmapViewOfFile(address);
      place = ::VirtualAlloc(nullptr, *size + kGranularity, MEM_RESERVE, PAGE_NOACCESS);
      if (place != nullptr) ::VirtualFree(place, 0, MEM_RELEASE);
    } else if (place == nullptr) {
      break;
    } else {
      place = nullptr;
    }
  }
  return nullptr;
}

void* fail(std::uint32_t code) {
  ::SetLastError(code);
  return nullptr;
}

}  // namespace

bool name_one_run(const char* value, const char* other) { return same(value, other); }

void* OpenRunSharedMemory(const char* name, std::uint64_t size) {
  if (!usable_name(name) || size == 0 || size > kRunMemoryLimit) {
    return fail(kErrorInvalidParameter);
  }
  if (!enter_run()) return nullptr;
  size = (size + kPageSize - 1) & ~(kPageSize - 1);
  for (std::uint32_t i = 0; i < region_count; ++i) {
    if (!same(regions[i].name, name)) continue;
    return size <= regions[i].size ? regions[i].address : fail(kErrorNotEnoughMemory);
  }
  if (region_count == kRunMemoryNames) return fail(kErrorNotEnoughMemory);

  char object[kObjectNameSize];
  object_name(object, name);
  const HANDLE section = ::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                              static_cast<DWORD>(size), object);
  if (section == nullptr) return nullptr;
  // An existing section keeps its size: map all of it and compare.
  std::uint64_t mapped_size = 0;
  void* const address = map_guarded(section, &mapped_size);
  if (address == nullptr || mapped_size < size) {
    if (address != nullptr) ::UnmapViewOfFile(address);
    ::CloseHandle(section);
    return fail(kErrorNotEnoughMemory);
  }
  Region& region = regions[region_count++];
  append(region.name, name);
  region.address = address;
  region.size = mapped_size;
  return address;
}

}  // namespace tarn::platform
