#include "platform/windows/system.h"

namespace tarn::platform {

static_assert(sizeof(SystemTime) == sizeof(SYSTEMTIME));
static_assert(sizeof(FileTime) == sizeof(FILETIME));

void GetSystemTimeAsFileTime(FileTime* time) {
  ::GetSystemTimeAsFileTime(reinterpret_cast<FILETIME*>(time));
}

Bool FileTimeToSystemTime(const FileTime* time, SystemTime* broken) {
  return ::FileTimeToSystemTime(reinterpret_cast<const FILETIME*>(time),
                                reinterpret_cast<SYSTEMTIME*>(broken));
}

Bool SystemTimeToTzSpecificLocalTime(const void* zone, const SystemTime* universal,
                                     SystemTime* local) {
  return ::SystemTimeToTzSpecificLocalTime(static_cast<const TIME_ZONE_INFORMATION*>(zone),
                                           reinterpret_cast<const SYSTEMTIME*>(universal),
                                           reinterpret_cast<SYSTEMTIME*>(local));
}

void GetLocalTime(SystemTime* time) { ::GetLocalTime(reinterpret_cast<SYSTEMTIME*>(time)); }

Bool FileTimeToLocalFileTime(const FileTime* time, FileTime* local) {
  return ::FileTimeToLocalFileTime(reinterpret_cast<const FILETIME*>(time),
                                   reinterpret_cast<FILETIME*>(local));
}

Bool FileTimeToDosDateTime(const FileTime* time, std::uint16_t* dos_date, std::uint16_t* dos_time) {
  return ::FileTimeToDosDateTime(reinterpret_cast<const FILETIME*>(time), dos_date, dos_time);
}

Bool DosDateTimeToFileTime(std::uint16_t dos_date, std::uint16_t dos_time, FileTime* time) {
  return ::DosDateTimeToFileTime(dos_date, dos_time, reinterpret_cast<FILETIME*>(time));
}

Bool SetFileTime(Handle file, const FileTime* created, const FileTime* accessed,
                 const FileTime* written) {
  return ::SetFileTime(file, reinterpret_cast<const FILETIME*>(created),
                       reinterpret_cast<const FILETIME*>(accessed),
                       reinterpret_cast<const FILETIME*>(written));
}

void Sleep(std::uint32_t milliseconds) { ::Sleep(milliseconds); }

}  // namespace tarn::platform
