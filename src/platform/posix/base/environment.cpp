// The environment: the host's own, so children inherit what is set here. Names
// are matched without case, as on Windows; where the host has several that
// differ by case only, the one written exactly as asked comes first. A variable
// that is set again keeps the spelling it had.

#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

pthread_mutex_t environment_lock = PTHREAD_MUTEX_INITIALIZER;

// The entry "NAME=value" of that name, or null.
const char* find_entry(const char* name, std::size_t length) {
  const char* by_other_case = nullptr;
  for (char* const* entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    if (strncasecmp(*entry, name, length) != 0 || (*entry)[length] != '=') continue;
    if (memcmp(*entry, name, length) == 0) return *entry;
    if (by_other_case == nullptr) by_other_case = *entry;
  }
  return by_other_case;
}

bool usable_name(const char* name) {
  return name != nullptr && *name != '\0' && strchr(name, '=') == nullptr;
}

}  // namespace

std::uint32_t GetEnvironmentVariableW(const char16_t* name, char16_t* buffer, std::uint32_t size) {
  char bytes[kPathSize];
  if (!to_narrow(name, bytes)) return 0;
  const MutexLock lock(environment_lock);
  const char* const entry = usable_name(bytes) ? find_entry(bytes, strlen(bytes)) : nullptr;
  if (entry == nullptr) {
    SetLastError(kErrorEnvironmentVariableNotFound);
    return 0;
  }
  const std::uint32_t length = put_wide(entry + strlen(bytes) + 1, buffer, size);
  if (length == 0) SetLastError(0);  // present, but empty
  return length;
}

std::uint32_t GetEnvironmentVariableA(const char* name, char* buffer, std::uint32_t size) {
  const MutexLock lock(environment_lock);
  const char* const entry = usable_name(name) ? find_entry(name, strlen(name)) : nullptr;
  if (entry == nullptr) {
    SetLastError(kErrorEnvironmentVariableNotFound);
    return 0;
  }
  const char* const value = entry + strlen(name) + 1;
  const std::size_t length = strlen(value);
  if (length >= size || buffer == nullptr) return static_cast<std::uint32_t>(length + 1);
  memcpy(buffer, value, length + 1);
  if (length == 0) SetLastError(0);  // present, but empty
  return static_cast<std::uint32_t>(length);
}

Bool SetEnvironmentVariableA(const char* name, const char* value) {
  if (!usable_name(name)) return fail(kErrorInvalidParameter);
  const MutexLock lock(environment_lock);
  const std::size_t length = strlen(name);
  const char* const entry = find_entry(name, length);
  char* const spelling = strndup(entry != nullptr ? entry : name, length);
  if (spelling == nullptr) return fail(kErrorNotEnoughMemory);
  const int failed = value != nullptr ? setenv(spelling, value, 1) : unsetenv(spelling);
  free(spelling);
  return failed == 0 ? 1 : fail_by_errno();
}

Bool SetEnvironmentVariableW(const char16_t* name, const char16_t* value) {
  char bytes[kPathSize];
  if (name == nullptr) return fail(kErrorEnvironmentVariableNotFound);
  if (!to_narrow(name, bytes)) return 0;
  char* const narrow = narrow_copy(value);
  if (value != nullptr && narrow == nullptr) return 0;
  const Bool is_set = SetEnvironmentVariableA(bytes, narrow);
  free(narrow);
  return is_set;
}

char* GetEnvironmentStrings() {
  const MutexLock lock(environment_lock);
  std::size_t size = 1;
  for (char* const* entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    size += strlen(*entry) + 1;
  }
  auto* const strings = static_cast<char*>(malloc(size));
  if (strings == nullptr) {
    fail(kErrorNotEnoughMemory);
    return nullptr;
  }
  char* to = strings;
  for (char* const* entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    to = stpcpy(to, *entry) + 1;
  }
  *to = '\0';
  return strings;
}

Bool FreeEnvironmentStringsA(char* strings) {
  free(strings);
  return 1;
}

char16_t* GetEnvironmentStringsW() {
  char* const strings = GetEnvironmentStrings();
  if (strings == nullptr) return nullptr;
  std::size_t size = 1;
  while (strings[size - 1] != '\0') size += strlen(strings + size - 1) + 1;
  auto* const wide = static_cast<char16_t*>(malloc(size * sizeof(char16_t)));
  if (wide != nullptr) {
    MultiByteToWideChar(kUtf8, 0, strings, static_cast<std::int32_t>(size), wide,
                        static_cast<std::int32_t>(size));
  } else {
    fail(kErrorNotEnoughMemory);
  }
  free(strings);
  return wide;
}

Bool FreeEnvironmentStringsW(char16_t* strings) {
  free(strings);
  return 1;
}

}  // namespace tarn::platform
