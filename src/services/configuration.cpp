#include "services/configuration.h"

#include "platform/platform.h"
#include "storage/heap.h"

namespace tarn {
namespace {

constexpr std::uint32_t kProbeSize = 4;
constexpr std::uint32_t kRegistryTextSize = 32'768;
constexpr std::uint32_t kTextType = 1;  // REG_SZ
constexpr char kConfigurationKey[] = "Software\\Tarnley\\Common";

// The record that "DllGetVersion" fills; its published name is DLLVERSIONINFO.
struct DllVersion {
  std::uint32_t size, major, minor, build, platform_id;
};
static_assert(sizeof(DllVersion) == 20);

char* environment_text;
char registry_text[kRegistryTextSize];

// The value in the static buffer, always terminated, or null.
char* read_registry(const char* key, const char* value) {
  platform::Handle open_key = nullptr;
  if (platform::RegOpenKeyExA(reinterpret_cast<platform::Handle>(platform::kCurrentUserKey), key, 0,
                              platform::kKeyRead, &open_key) != 0) {
    return nullptr;
  }
  std::uint32_t size = kRegistryTextSize;
  std::uint32_t type = kTextType;
  const std::uint32_t failure = platform::RegQueryValueExA(
      open_key, value, nullptr, &type, reinterpret_cast<std::uint8_t*>(registry_text), &size);
  platform::RegCloseKey(open_key);
  if (failure) return nullptr;
  // A value may be stored without its NUL.
  registry_text[size < kRegistryTextSize ? size : kRegistryTextSize - 1] = '\0';
  return registry_text;
}

}  // namespace

char* getenv(const char* name) {
  if (environment_text) {
    free(environment_text);
    environment_text = nullptr;
  }
  char probe[kProbeSize];
  const std::uint32_t needed = platform::GetEnvironmentVariableA(name, probe, kProbeSize);
  if (needed == 0) return nullptr;
  const std::uint32_t size = needed + 4;
  char* const buffer = static_cast<char*>(malloc(size));
  if (!buffer) return nullptr;
  const std::uint32_t length = platform::GetEnvironmentVariableA(name, buffer, size);
  // Another thread may have lengthened the value since the probe.
  if (length == 0 || length >= size) {
    free(buffer);
    return nullptr;
  }
  environment_text = buffer;
  return buffer;
}

char* ReadRegAndEnv(const char* key, const char* value) {
  char* const text = read_registry(key, value);
  return text ? text : getenv(value);
}

char* read_config_key(const char* value) { return ReadRegAndEnv(kConfigurationKey, value); }

std::uint32_t GetDllVersion(const char* library) {
  const platform::Module module = platform::LoadLibraryA(library);
  if (!module) return 0;
  std::uint32_t result = 0;
  const auto get_version = reinterpret_cast<std::int32_t(TARNAPI*)(DllVersion*)>(
      platform::GetProcAddress(module, "DllGetVersion"));
  if (get_version) {
    DllVersion info{sizeof info, 0, 0, 0, 0};
    if (get_version(&info) >= 0) result = (info.major << 16) | (info.minor & 0xFFFF);
  }
  platform::FreeLibrary(module);
  return result;
}

}  // namespace tarn
