#include "platform/windows/system.h"

namespace tarn::platform {

static_assert(sizeof(SystemTime) == sizeof(SYSTEMTIME));
static_assert(sizeof(FileTime) == sizeof(FILETIME));

void GetSystemTimeAsFileTime(FileTime* time) {
  ::GetSystemTimeAsFileTime(reinterpret_cast<FILETIME*>(time));
}

Status FileTimeToSystemTime(const FileTime* time, SystemTime* broken) {
  return ::FileTimeToSystemTime(reinterpret_cast<const FILETIME*>(time),
                                reinterpret_cast<SYSTEMTIME*>(broken));
}

Status SystemTimeToTzSpecificLocalTime(const void* zone, const SystemTime* universal,
                                       SystemTime* local) {
  return ::SystemTimeToTzSpecificLocalTime(static_cast<const TIME_ZONE_INFORMATION*>(zone),
                                           reinterpret_cast<const SYSTEMTIME*>(universal),
                                           reinterpret_cast<SYSTEMTIME*>(local));
}

void Sleep(std::uint32_t milliseconds) { ::Sleep(milliseconds); }

}  // namespace tarn::platform
