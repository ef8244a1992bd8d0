// stat and kin. A folder is read, written and searched by everybody; a file is written
// unless it has the attribute; it is executed by its name's extension.
#include <fcntl.h>
#include <io.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/utime.h>

#include "../strings/utf8.h"
#include "../time/time.h"
#include "descriptors.h"

using namespace crt;

namespace {

constexpr unsigned short kReaders = _S_IREAD | _S_IREAD >> 3 | _S_IREAD >> 6;
constexpr unsigned short kWriters = _S_IWRITE | _S_IWRITE >> 3 | _S_IWRITE >> 6;
constexpr unsigned short kExecutors = _S_IEXEC | _S_IEXEC >> 3 | _S_IEXEC >> 6;

bool is_executable(const char* path) {
  const char* const point = strrchr(path, '.');
  if (!point) return false;
  static constexpr const char* kExtensions[] = {".exe", ".com", ".bat", ".cmd"};
  for (const char* extension : kExtensions) {
    if (_stricmp(point, extension) == 0) return true;
  }
  return false;
}

unsigned short mode_of(DWORD attributes, bool executable) {
  unsigned mode = kReaders;
  if (attributes & FILE_ATTRIBUTE_DIRECTORY)
    return static_cast<unsigned short>(_S_IFDIR | mode | kWriters | kExecutors);
  if (!(attributes & FILE_ATTRIBUTE_READONLY)) mode |= kWriters;
  if (executable) mode |= kExecutors;
  return static_cast<unsigned short>(_S_IFREG | mode);
}

// The number of the drive that the path names, or of the current one.
unsigned drive_of(const char* path) {
  char letter = path[0];
  char folder[kPathSize];
  if (path[0] == '\0' || path[1] != ':') {
    const DWORD length = GetCurrentDirectoryA(sizeof folder, folder);
    letter = length > 1 && length < sizeof folder && folder[1] == ':' ? folder[0] : 'C';
  }
  return static_cast<unsigned>((letter | 0x20) - 'a');
}

template <class Facts>
void set_times(struct _stat64* result, const Facts& facts) {
  result->st_atime = seconds_of(facts.ftLastAccessTime);
  result->st_mtime = seconds_of(facts.ftLastWriteTime);
  result->st_ctime = seconds_of(facts.ftCreationTime);
  result->st_size = static_cast<long long>(
      static_cast<unsigned long long>(facts.nFileSizeHigh) << 32 | facts.nFileSizeLow);
}

// Result: false for a time that the system does not have.
bool file_time_of(long long seconds, FILETIME* result) {
  constexpr long long kMost = INT64_MAX / kUnitsPerSecond - kSecondsFrom1601To1970;
  if (seconds < -kSecondsFrom1601To1970 || seconds > kMost) return false;
  *result = file_time((seconds + kSecondsFrom1601To1970) * kUnitsPerSecond);
  return true;
}

bool is_device_name(const char* path) {
  static constexpr const char* kDevices[] = {"nul", "con", "conin$", "conout$"};
  for (const char* device : kDevices) {
    if (_stricmp(path, device) == 0) return true;
  }
  return false;
}

}  // namespace

CRT_API int _stat64(const char* path, struct _stat64* result) {
  WIN32_FILE_ATTRIBUTE_DATA facts;
  char whole[kPathSize];
  *result = {};
  if (!path || !*path) return fail_with(ENOENT);
  if (is_device_name(path)) {
    result->st_mode = _S_IFCHR | kReaders | kWriters;
    result->st_nlink = 1;
    return 0;
  }
  // A separator at the end is a folder's.
  const size_t length = strlen(path);
  const bool ends = path[length - 1] == '\\' || path[length - 1] == '/';
  if (length >= sizeof whole) return fail_with(ENOENT);
  strcpy(whole, path);
  if (ends && length > 1 && whole[length - 2] != ':') whole[length - 1] = '\0';
  if (!GetFileAttributesExA(*whole ? whole : path, GetFileExInfoStandard, &facts)) return fail();
  if (ends && !(facts.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) return fail_with(ENOENT);
  result->st_dev = result->st_rdev = drive_of(path);
  result->st_mode = mode_of(facts.dwFileAttributes, is_executable(path));
  result->st_nlink = 1;
  set_times(result, facts);
  return 0;
}

CRT_API int _wstat64(const wchar_t* path, struct _stat64* result) {
  const NarrowPath narrow(path);
  return narrow.valid() ? _stat64(narrow, result) : -1;
}

CRT_API int _fstat64(int number, struct _stat64* result) {
  *result = {};
  const Descriptor* const file = descriptor(number);
  if (!file) return -1;
  result->st_nlink = 1;
  if (file->device || file->pipe) {
    result->st_mode =
        static_cast<unsigned short>((file->device ? _S_IFCHR : _S_IFIFO) | kReaders | kWriters);
    result->st_dev = result->st_rdev = static_cast<_dev_t>(number);
    return 0;
  }
  BY_HANDLE_FILE_INFORMATION facts;
  if (!GetFileInformationByHandle(file->handle, &facts)) {
    // Of a handle that may only be written, as the shell passes one, the size is known.
    LARGE_INTEGER size;
    if (!GetFileSizeEx(file->handle, &size)) return fail();
    result->st_mode = mode_of(0, false);
    result->st_size = size.QuadPart;
    return 0;
  }
  result->st_mode = mode_of(facts.dwFileAttributes, false);
  result->st_nlink = static_cast<short>(facts.nNumberOfLinks);
  set_times(result, facts);
  return 0;
}

CRT_API int _futime64(int number, struct __utimbuf64* times) {
  const Descriptor* const file = descriptor(number);
  if (!file) return -1;
  FILETIME accessed, written;
  GetSystemTimeAsFileTime(&accessed);
  written = accessed;
  if (times &&
      !(file_time_of(times->actime, &accessed) && file_time_of(times->modtime, &written))) {
    return fail_with(EINVAL);
  }
  return SetFileTime(file->handle, nullptr, &accessed, &written) ? 0 : fail();
}
CRT_API int _utime64(const char* path, struct __utimbuf64* times) {
  const int number = _open(path, _O_RDWR | _O_BINARY);
  if (number < 0) return -1;
  const int result = _futime64(number, times);
  _close(number);
  return result;
}
CRT_API int _wutime64(const wchar_t* path, struct __utimbuf64* times) {
  const NarrowPath narrow(path);
  return narrow.valid() ? _utime64(narrow, times) : -1;
}
