// What the system says about itself and about the program. The console's start
// asks the system; this only tells.

#include "console/console_state.h"
#include "platform/pe_format.h"
#include "platform/platform.h"
#include "startup/initialise.h"

namespace tarn {

std::uint64_t GetPhysicalMemorySize() { return console.physical_memory; }

void GetWinVer(std::uint32_t* platform_id, std::uint32_t* major, std::uint32_t* minor) {
  *platform_id = console.version.platform_id;
  *major = console.version.major;
  *minor = console.version.minor;
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
