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

void GetLocalTime(SystemTime* time) { ::GetLocalTime(reinterpret_cast<SYSTEMTIME*>(time)); }

Status FileTimeToLocalFileTime(const FileTime* time, FileTime* local) {
  return ::FileTimeToLocalFileTime(reinterpret_cast<const FILETIME*>(time),
                                   reinterpret_cast<FILETIME*>(local));
}

Status FileTimeToDosDateTime(const FileTime* time, std::uint16_t* dos_date,
                             std::uint16_t* dos_time) {
  return ::FileTimeToDosDateTime(reinterpret_cast<const FILETIME*>(time), dos_date, dos_time);
}

Status DosDateTimeToFileTime(std::uint16_t dos_date, std::uint16_t dos_time, FileTime* time) {
  return ::DosDateTimeToFileTime(dos_date, dos_time, reinterpret_cast<FILETIME*>(time));
}

Status SetFileTime(Handle file, const FileTime* created, const FileTime* accessed,
                   const FileTime* written) {
  return ::SetFileTime(file, reinterpret_cast<const FILETIME*>(created),
                       reinterpret_cast<const FILETIME*>(accessed),
                       reinterpret_cast<const FILETIME*>(written));
}

void Sleep(std::uint32_t milliseconds) { ::Sleep(milliseconds); }

}  // namespace tarn::platform
