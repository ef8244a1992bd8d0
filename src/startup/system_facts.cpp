// What the system says about itself and about the program.

#include "platform/pe_format.h"
#include "platform/platform.h"
#include "startup/initialise.h"

namespace tarn {
namespace {

platform::VersionInfo version;
std::uint64_t physical_memory;

// The record that "DllGetVersion" fills; its published name is DLLVERSIONINFO.
struct DllVersion {
  std::uint32_t size, major, minor, build, platform_id;
};
static_assert(sizeof(DllVersion) == 20);

}  // namespace

void record_system_facts() {
  version.length = sizeof version;
  platform::GetVersionExA(&version);
  platform::MemoryStatus memory{};
  memory.length = sizeof memory;
  if (platform::GlobalMemoryStatusEx(&memory)) physical_memory = memory.total_physical;
}

std::uint64_t GetPhysicalMemorySize() { return physical_memory; }

void GetWinVer(std::uint32_t* platform_id, std::uint32_t* major, std::uint32_t* minor) {
  *platform_id = version.platform_id;
  *major = version.major;
  *minor = version.minor;
}

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

extern "C" std::int32_t __GetNtWindowsMode() {
  const auto* const base = static_cast<const std::uint8_t*>(platform::GetModuleHandleA(nullptr));
  if (!base) return 0;
  const auto* const dos = reinterpret_cast<const pe::DosHeader*>(base);
  const auto* const headers = reinterpret_cast<const pe::NtHeaders*>(base + dos->pe_offset);
  // An image that marked itself "NOTE" has lost its first word, no more.
  return headers->magic == pe::kPeMagic && headers->optional.subsystem == pe::kSubsystemGraphical;
}

}  // namespace tarn
