// Drives, and files that are searched in the folders of a variable.
#include <direct.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "../strings/checked.h"
#include "wide_path.h"

using namespace crt;

namespace {

errno_t part(char* to, size_t size, const char* from) {
  return to || size > 0 ? copy_checked(to, size, 0, from) : 0;
}

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

CRT_API errno_t _splitpath_s(const char* path, char* drive, size_t drive_size, char* folder,
                             size_t folder_size, char* name, size_t name_size, char* extension,
                             size_t extension_size) {
  char parts[4][kPathSize];
  if (!path || strlen(path) >= _MAX_DIR) return errno = path ? ERANGE : EINVAL;
  _splitpath(path, parts[0], parts[1], parts[2], parts[3]);
  const errno_t errors[] = {part(drive, drive_size, parts[0]), part(folder, folder_size, parts[1]),
                            part(name, name_size, parts[2]),
                            part(extension, extension_size, parts[3])};
  for (const errno_t error : errors) {
    if (error == 0) continue;
    if (drive && drive_size > 0) *drive = '\0';
    if (folder && folder_size > 0) *folder = '\0';
    if (name && name_size > 0) *name = '\0';
    if (extension && extension_size > 0) *extension = '\0';
    return errno = error;
  }
  return 0;
}
CRT_API errno_t _makepath_s(char* path, size_t size, const char* drive, const char* folder,
                            const char* name, const char* extension) {
  size_t length = 5;  // of what _makepath adds
  const char* const texts[] = {drive, folder, name, extension};
  for (const char* const text : texts) {
    if (text) length += strlen(text);
  }
  char* const whole = static_cast<char*>(malloc(length));
  if (!whole) return refuse(path, size, ENOMEM);
  _makepath(whole, drive, folder, name, extension);
  const errno_t error = copy_checked(path, size, 0, whole);
  free(whole);
  return error;
}
