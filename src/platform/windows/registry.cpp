#include "platform/windows/system.h"

namespace tarn::platform {
namespace {

// ADVAPI32 brings half a dozen further libraries into the process, so it is
// loaded by the first program that asks the registry something.
constexpr char kRegistryLibrary[] = "ADVAPI32.DLL";

}  // namespace

std::uint32_t RegOpenKeyExA(Handle root, const char* path, std::uint32_t options,
                            std::uint32_t access, Handle* key) {
  const auto service = late_service<decltype(&::RegOpenKeyExA)>(kRegistryLibrary, "RegOpenKeyExA");
  if (!service) return kErrorProcedureNotFound;
  return static_cast<std::uint32_t>(
      service(static_cast<HKEY>(root), path, options, access, reinterpret_cast<HKEY*>(key)));
}

std::uint32_t RegQueryValueExA(Handle key, const char* name, std::uint32_t* reserved,
                               std::uint32_t* type, std::uint8_t* data, std::uint32_t* size) {
  const auto service =
      late_service<decltype(&::RegQueryValueExA)>(kRegistryLibrary, "RegQueryValueExA");
  if (!service) return kErrorProcedureNotFound;
  return static_cast<std::uint32_t>(
      service(static_cast<HKEY>(key), name, reinterpret_cast<DWORD*>(reserved),
              reinterpret_cast<DWORD*>(type), data, reinterpret_cast<DWORD*>(size)));
}

std::uint8_t SystemFunction036(void* buffer, std::uint32_t length) {
  using Service = BOOLEAN WINAPI(void*, ULONG);
  const auto service = late_service<Service*>(kRegistryLibrary, "SystemFunction036");
  return service ? service(buffer, length) : 0;
}

std::uint32_t RegCloseKey(Handle key) {
  const auto service = late_service<decltype(&::RegCloseKey)>(kRegistryLibrary, "RegCloseKey");
  if (!service) return kErrorProcedureNotFound;
  return static_cast<std::uint32_t>(service(static_cast<HKEY>(key)));
}

}  // namespace tarn::platform
