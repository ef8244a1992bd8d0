// The registry of the user: the file tarnley/registry in the folder that
// XDG_CONFIG_HOME names, or in ~/.config. It is read anew by each call, so that
// a change takes effect at once, and never written.

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/base/base.h"
#include "platform/posix/registry/registry_text.h"

namespace tarn::platform {
namespace {

constexpr std::size_t kMaxFileSize = 1 << 20;  // a longer file counts as missing
constexpr std::size_t kMaxKeySize = 1024;
constexpr std::uint32_t kTextType = 1;  // REG_SZ

bool registry_path(char (&path)[kPathSize]) {
  const char* const configuration = getenv("XDG_CONFIG_HOME");
  const char* const home = getenv("HOME");
  int length = -1;
  if (configuration != nullptr && configuration[0] == '/') {  // relative ones don't count
    length = snprintf(path, sizeof path, "%s/tarnley/registry", configuration);
  } else if (home != nullptr && *home != '\0') {
    length = snprintf(path, sizeof path, "%s/.config/tarnley/registry", home);
  }
  return length > 0 && length < static_cast<int>(sizeof path);
}

// The whole file, which the caller frees; empty if there is none.
RegistryText read_registry_file() {
  char path[kPathSize];
  if (!registry_path(path)) return {nullptr, 0};
  const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (file < 0) return {nullptr, 0};
  RegistryText text{nullptr, 0};
  struct stat facts;
  if (fstat(file, &facts) == 0 && S_ISREG(facts.st_mode) && facts.st_size > 0 &&
      facts.st_size <= static_cast<off_t>(kMaxFileSize)) {
    const auto size = static_cast<std::size_t>(facts.st_size);
    auto* const bytes = static_cast<char*>(malloc(size));
    ssize_t taken = 0;
    while (bytes != nullptr && text.size < size) {
      taken = read(file, bytes + text.size, size - text.size);
      if (taken > 0) text.size += static_cast<std::size_t>(taken);
      if (taken == 0 || (taken < 0 && errno != EINTR)) break;
    }
    text.begin = bytes;
  }
  close(file);
  return text;
}

// The path of an open key; null if the handle is none. The root's is empty.
const char* key_path(Handle key) {
  // Windows also accepts the sign-extended form of the predefined key.
  if ((reinterpret_cast<std::uint64_t>(key) & 0xFFFFFFFF) == kCurrentUserKey) return "";
  const OpenObject* const object = find_handle(key, HandleKind::kKey);
  return object != nullptr ? static_cast<const char*>(object->record) : nullptr;
}

// The path of `path` under `root`, which the caller frees.
char* joined_path(const char* root, const char* path) {
  const std::size_t size = strlen(root) + strlen(path) + 2;
  if (size > kMaxKeySize) return nullptr;
  auto* const whole = static_cast<char*>(malloc(size));
  if (whole == nullptr) return nullptr;
  snprintf(whole, size, "%s%s%s", root, *root != '\0' && *path != '\0' ? "\\" : "", path);
  std::size_t length = strlen(whole);
  if (length > 0 && whole[length - 1] == '\\') whole[--length] = '\0';
  return whole;
}

}  // namespace

std::uint32_t RegOpenKeyExA(Handle root, const char* path, std::uint32_t, std::uint32_t access,
                            Handle* key) {
  constexpr std::uint32_t kKeyWrite = 0x00006;  // set values, make keys
  const char* const above = key_path(root);
  if (above == nullptr) return kErrorInvalidHandle;
  if (key == nullptr) return kErrorInvalidParameter;
  if ((access & kKeyWrite) != 0) return kErrorAccessDenied;
  char* const whole = joined_path(above, path != nullptr ? path : "");
  if (whole == nullptr) return kErrorFileNotFound;
  const RegistryText text = read_registry_file();
  const bool found = *whole == '\0' || has_registry_key(text, whole);
  free(const_cast<char*>(text.begin));
  const Handle handle =
      found ? add_handle({HandleKind::kKey, -1, false, false, false, whole}) : nullptr;
  if (handle != nullptr) {
    *key = handle;
    return 0;
  }
  free(whole);
  return found ? GetLastError() : kErrorFileNotFound;
}

std::uint32_t RegQueryValueExA(Handle key, const char* name, std::uint32_t* reserved,
                               std::uint32_t* type, std::uint8_t* data, std::uint32_t* size) {
  const char* const path = key_path(key);
  if (path == nullptr) return kErrorInvalidHandle;
  if (reserved != nullptr || (data != nullptr && size == nullptr)) return kErrorInvalidParameter;
  const RegistryText text = read_registry_file();
  RegistryText value{nullptr, 0};
  std::uint32_t result = kErrorFileNotFound;
  if (find_registry_value(text, path, name != nullptr ? name : "", &value)) {
    const auto needed = static_cast<std::uint32_t>(value.size + 1);
    result = data != nullptr && *size < needed ? kErrorMoreData : 0;
    if (result == 0 && data != nullptr) {
      memcpy(data, value.begin, value.size);
      data[value.size] = 0;
    }
    if (size != nullptr) *size = needed;
    if (type != nullptr) *type = kTextType;
  }
  free(const_cast<char*>(text.begin));
  return result;
}

std::uint32_t RegCloseKey(Handle key) {
  if ((reinterpret_cast<std::uint64_t>(key) & 0xFFFFFFFF) == kCurrentUserKey) return 0;
  const OpenObject object = remove_handle(key, HandleKind::kKey);
  if (object.kind == HandleKind::kFree) return kErrorInvalidHandle;
  free(object.record);
  return 0;
}

}  // namespace tarn::platform
