// Drives, and files that are searched in the folders of a variable.
#include <direct.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "../strings/checked.h"
#include "../strings/utf8.h"

using namespace crt;

namespace {

bool exists(const char* path) { return GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES; }

// `folder` and, if it has no separator at its end, one.
bool join(char (&path)[kPathSize], const char* folder, size_t length, const char* name) {
  if (length + strlen(name) + 2 > sizeof path) return false;
  memcpy(path, folder, length);
  if (length > 0 && !strchr("/\\:", path[length - 1])) path[length++] = '\\';
  strcpy(path + length, name);
  return true;
}

template <class Char>
bool name_drive(int drive, Char* name) {
  if (drive < 0 || drive > 26) {
    fail_with(EACCES);
    return false;
  }
  name[0] = static_cast<Char>('A' + drive - 1);
  return true;
}

size_t room_of(int size) { return size > 0 ? static_cast<size_t>(size) : 0; }

}  // namespace

// 1 for A:, and so on.
CRT_API int _getdrive(void) {
  char folder[kPathSize];
  const DWORD length = GetCurrentDirectoryA(sizeof folder, folder);
  return length > 1 && folder[1] == ':' ? (folder[0] | 0x20) - 'a' + 1 : 0;
}
CRT_API int _chdrive(int drive) {
  if (drive < 1 || drive > 26) return fail_with(EACCES);
  if (drive == _getdrive()) return 0;
  const char name[] = {static_cast<char>('A' + drive - 1), ':', '\0'};
  return SetCurrentDirectoryA(name) ? 0 : fail();
}
CRT_API unsigned long _getdrives(void) { return GetLogicalDrives(); }

// The folder of a drive, 0 for the current one.
CRT_API char* _getdcwd(int drive, char* buffer, int size) {
  char name[] = "A:";
  if (drive == 0 || drive == _getdrive()) return _getcwd(buffer, size);
  return name_drive(drive, name) ? _fullpath(buffer, name, room_of(size)) : nullptr;
}
CRT_API wchar_t* _wgetdcwd(int drive, wchar_t* buffer, int size) {
  wchar_t name[] = L"A:";
  if (drive == 0 || drive == _getdrive()) return _wgetcwd(buffer, size);
  return name_drive(drive, name) ? _wfullpath(buffer, name, room_of(size)) : nullptr;
}

CRT_API errno_t _searchenv_s(const char* name, const char* variable, char* to, size_t size) {
  char path[kPathSize], full[kPathSize];
  if (!name || !*name || !to || size == 0) return refuse(to, size, name && to ? ENOENT : EINVAL);
  if (exists(name)) {
    if (!_fullpath(full, name, sizeof full)) return refuse(to, size, errno);
    return copy_checked(to, size, 0, full);
  }
  const char* folders = variable ? getenv(variable) : nullptr;
  while (folders && *folders) {
    const size_t length = strcspn(folders, ";");
    if (length > 0 && join(path, folders, length, name) && exists(path)) {
      return copy_checked(to, size, 0, path);
    }
    folders += length + (folders[length] == ';');
  }
  return refuse(to, size, ENOENT);
}
CRT_API void _searchenv(const char* name, const char* variable, char* to) {
  _searchenv_s(name, variable, to, _MAX_PATH);
}

CRT_API errno_t _wsearchenv_s(const wchar_t* name, const wchar_t* variable, wchar_t* to,
                              size_t size) {
  char narrow[kPathSize];
  wchar_t wide[kPathSize];
  const NarrowPath narrow_name(name ? name : L""), narrow_variable(variable ? variable : L"");
  if (!narrow_name.valid() || !narrow_variable.valid()) return refuse(to, size, errno);
  const errno_t error = _searchenv_s(name ? static_cast<const char*>(narrow_name) : nullptr,
                                     narrow_variable, narrow, sizeof narrow);
  if (error != 0) return refuse(to, size, error);
  return to_wide(narrow, wide, kPathSize) ? copy_checked(to, size, 0, wide)
                                          : refuse(to, size, errno);
}
CRT_API void _wsearchenv(const wchar_t* name, const wchar_t* variable, wchar_t* to) {
  _wsearchenv_s(name, variable, to, _MAX_PATH);
}
