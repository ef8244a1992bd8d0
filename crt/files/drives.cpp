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
  if (drive == 0 || drive == _getdrive()) return _getcwd(buffer, size);
  if (drive < 0 || drive > 26) {
    fail_with(EACCES);
    return nullptr;
  }
  const char name[] = {static_cast<char>('A' + drive - 1), ':', '\0'};
  return _fullpath(buffer, name, static_cast<size_t>(size));
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
