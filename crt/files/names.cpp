// Files and folders by name.
#include <direct.h>
#include <fcntl.h>
#include <io.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "../strings/utf8.h"
#include "descriptors.h"

using namespace crt;

namespace {

int done(BOOL succeeded) { return succeeded ? 0 : fail(); }

template <class Act>
int with_narrow(const wchar_t* path, Act act) {
  const NarrowPath narrow(path);
  return narrow.valid() ? act(narrow) : -1;
}

}  // namespace

CRT_API int _unlink(const char* path) { return done(DeleteFileA(path)); }
CRT_API int _rmdir(const char* path) { return done(RemoveDirectoryA(path)); }

// A file, or an empty folder, as POSIX has it.
CRT_API int remove(const char* path) {
  const DWORD attributes = GetFileAttributesA(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) return fail();
  return attributes & FILE_ATTRIBUTE_DIRECTORY ? _rmdir(path) : _unlink(path);
}

// As on Windows `to` must not exist: EEXIST.
CRT_API int rename(const char* from, const char* to) {
  return done(MoveFileExA(from, to, MOVEFILE_COPY_ALLOWED));
}

CRT_API int _mkdir(const char* path) { return done(CreateDirectoryA(path, nullptr)); }
CRT_API int _chdir(const char* path) { return done(SetCurrentDirectoryA(path)); }

CRT_API char* _getcwd(char* buffer, int size) {
  const DWORD needed = GetCurrentDirectoryA(0, nullptr);
  if (needed == 0) {
    fail();
    return nullptr;
  }
  if (buffer && (size <= 0 || needed > static_cast<DWORD>(size))) {
    errno = ERANGE;
    return nullptr;
  }
  const size_t room =
      size > 0 && static_cast<DWORD>(size) > needed ? static_cast<size_t>(size) : needed;
  char* const to = buffer ? buffer : static_cast<char*>(malloc(room));
  if (to) GetCurrentDirectoryA(static_cast<DWORD>(room), to);
  return to;
}

CRT_API int _access(const char* path, int mode) {
  const DWORD attributes = GetFileAttributesA(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) return fail();
  const bool denied = (mode & W_OK) && (attributes & FILE_ATTRIBUTE_READONLY) &&
                      !(attributes & FILE_ATTRIBUTE_DIRECTORY);
  return denied ? fail_with(EACCES) : 0;
}

CRT_API int _chmod(const char* path, int mode) {
  DWORD attributes = GetFileAttributesA(path);
  if (attributes == INVALID_FILE_ATTRIBUTES) return fail();
  attributes &= ~DWORD{FILE_ATTRIBUTE_READONLY};
  if (!(mode & _S_IWRITE)) attributes |= FILE_ATTRIBUTE_READONLY;
  return done(SetFileAttributesA(path, attributes));
}

CRT_API char* _fullpath(char* buffer, const char* path, size_t size) {
  if (!path || !*path) return _getcwd(buffer, static_cast<int>(size));
  const DWORD needed = GetFullPathNameA(path, 0, nullptr, nullptr);
  if (needed == 0) {
    fail();
    return nullptr;
  }
  if (buffer && needed > size) {
    errno = ERANGE;
    return nullptr;
  }
  char* const to = buffer ? buffer : static_cast<char*>(malloc(needed));
  if (to) GetFullPathNameA(path, needed, to, nullptr);
  return to;
}

namespace {

int set_size(Descriptor& file, long long size) {
  const long long here = seek_file(file, 0, SEEK_CUR);
  if (here < 0 || seek_file(file, size, SEEK_SET) < 0) return -1;
  const int result = SetEndOfFile(file.handle) ? 0 : fail_on_handle();
  seek_file(file, here, SEEK_SET);
  return result;
}

}  // namespace

CRT_API errno_t _chsize_s(int number, long long size) {
  Descriptor* const file = descriptor(number);
  if (!file) return EBADF;
  if (size < 0) return errno = EINVAL;
  return set_size(*file, size) == 0 ? 0 : errno;
}
CRT_API int _chsize(int number, long size) { return _chsize_s(number, size) == 0 ? 0 : -1; }
CRT_API int ftruncate64(int number, long long size) {
  return _chsize_s(number, size) == 0 ? 0 : -1;
}

CRT_API long long _filelengthi64(int number) {
  const Descriptor* const file = descriptor(number);
  LARGE_INTEGER size;
  if (!file) return -1;
  return GetFileSizeEx(file->handle, &size) ? size.QuadPart : fail();
}
CRT_API long _filelength(int number) {
  const long long length = _filelengthi64(number);
  return length > LONG_MAX ? fail_with(EFBIG) : static_cast<long>(length);
}

CRT_API int _eof(int number) {
  Descriptor* const file = descriptor(number);
  if (!file) return -1;
  const long long here = seek_file(*file, 0, SEEK_CUR);
  const long long size = _filelengthi64(number);
  return here < 0 || size < 0 ? -1 : here >= size;
}

CRT_API int _wunlink(const wchar_t* path) { return with_narrow(path, _unlink); }
CRT_API int _wremove(const wchar_t* path) { return with_narrow(path, remove); }
CRT_API int _wrmdir(const wchar_t* path) { return with_narrow(path, _rmdir); }
CRT_API int _wmkdir(const wchar_t* path) { return with_narrow(path, _mkdir); }
CRT_API int _wchdir(const wchar_t* path) { return with_narrow(path, _chdir); }
CRT_API int _waccess(const wchar_t* path, int mode) {
  return with_narrow(path, [mode](const char* narrow) { return _access(narrow, mode); });
}
CRT_API int _wchmod(const wchar_t* path, int mode) {
  return with_narrow(path, [mode](const char* narrow) { return _chmod(narrow, mode); });
}
CRT_API int _wrename(const wchar_t* from, const wchar_t* to) {
  return with_narrow(from, [to](const char* narrow_from) {
    return with_narrow(to,
                       [narrow_from](const char* narrow) { return rename(narrow_from, narrow); });
  });
}
CRT_API wchar_t* _wgetcwd(wchar_t* buffer, int size) {
  char narrow[kPathSize];
  wchar_t wide[kPathSize];
  if (!_getcwd(narrow, sizeof narrow) || !to_wide(narrow, wide, kPathSize)) return nullptr;
  const size_t needed = wcslen(wide) + 1;
  if (buffer && (size <= 0 || needed > static_cast<size_t>(size))) {
    errno = ERANGE;
    return nullptr;
  }
  const size_t room =
      size > 0 && static_cast<size_t>(size) > needed ? static_cast<size_t>(size) : needed;
  wchar_t* const to = buffer ? buffer : static_cast<wchar_t*>(malloc(room * sizeof(wchar_t)));
  return to ? wcscpy(to, wide) : nullptr;
}
CRT_API wchar_t* _wfullpath(wchar_t* buffer, const wchar_t* path, size_t size) {
  char narrow[kPathSize];
  wchar_t wide[kPathSize];
  const NarrowPath given(path ? path : L"");
  if (!given.valid() || !_fullpath(narrow, given, sizeof narrow) ||
      !to_wide(narrow, wide, kPathSize)) {
    return nullptr;
  }
  const size_t needed = wcslen(wide) + 1;
  if (buffer && needed > size) {
    errno = ERANGE;
    return nullptr;
  }
  wchar_t* const to = buffer ? buffer : static_cast<wchar_t*>(malloc(needed * sizeof(wchar_t)));
  return to ? wcscpy(to, wide) : nullptr;
}
CRT_API int _wopen(const wchar_t* path, int flags, ...) {
  __builtin_va_list arguments;
  __builtin_va_start(arguments, flags);
  const int mode = flags & _O_CREAT ? __builtin_va_arg(arguments, int) : 0;
  __builtin_va_end(arguments);
  return with_narrow(path,
                     [flags, mode](const char* narrow) { return _open(narrow, flags, mode); });
}
