#include "process/system_facts.h"

#include "platform/pe_format.h"

namespace tarn {

SystemFacts system_facts;

void note_system_facts() {
  system_facts.version.length = sizeof system_facts.version;
  platform::GetVersionExA(&system_facts.version);
  system_facts.physical_memory = ask_physical_memory();
}

std::uint64_t ask_physical_memory() {
  platform::MemoryStatus memory{};
  memory.length = sizeof memory;
  return platform::GlobalMemoryStatusEx(&memory) ? memory.total_physical : 0;
}

std::uint64_t GetPhysicalMemorySize() { return system_facts.physical_memory; }

void GetWinVer(std::uint32_t* platform_id, std::uint32_t* major, std::uint32_t* minor) {
  *platform_id = system_facts.version.platform_id;
  *major = system_facts.version.major;
  *minor = system_facts.version.minor;
}

std::int32_t __GetNtWindowsMode() {
  const auto* const base = static_cast<const std::uint8_t*>(platform::GetModuleHandleA(nullptr));
  if (!base) return 0;
  const auto* const dos = reinterpret_cast<const pe::DosHeader*>(base);
  const auto* const headers = reinterpret_cast<const pe::NtHeaders*>(base + dos->pe_offset);
  // An image that marked itself "NOTE" has lost its first word, no more.
  return headers->magic == pe::kPeMagic && headers->optional.subsystem == pe::kSubsystemGraphical;
}

}  // namespace tarn
