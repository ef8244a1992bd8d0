// Locks on parts of files, the forms that report by their result, and those with wide names.
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/locking.h>
#include <sys/stat.h>

#include "../strings/checked.h"
#include "../strings/utf8.h"
#include "descriptors.h"

using namespace crt;

namespace {

errno_t as_error(int result) { return result == -1 ? errno : 0; }

errno_t opened(int* result, int number) {
  *result = number;
  return as_error(number);
}

}  // namespace

// From the position on. What is locked by somebody else is tried ten times, a second apart,
// unless the mode says otherwise.
CRT_API int _locking(int number, int mode, long size) {
  constexpr int kAttempts = 10;
  Descriptor* const file = descriptor(number);
  if (!file) return -1;
  if (size < 0 || mode < _LK_UNLCK || mode > _LK_NBRLCK) return fail_with(EINVAL);
  const long long here = seek_file(*file, 0, SEEK_CUR);
  if (here < 0) return -1;
  const auto low = static_cast<DWORD>(here), high = static_cast<DWORD>(here >> 32);
  const auto count = static_cast<DWORD>(size);
  if (mode == _LK_UNLCK) {
    return UnlockFile(file->handle, low, high, count, 0) ? 0 : fail_with(EACCES);
  }
  const bool waits = mode == _LK_LOCK || mode == _LK_RLCK;
  for (int attempt = 1; !LockFile(file->handle, low, high, count, 0); ++attempt) {
    if (!waits) return fail_with(EACCES);
    if (attempt == kAttempts) return fail_with(EDEADLOCK);
    Sleep(1000);
  }
  return 0;
}

CRT_API errno_t _access_s(const char* path, int mode) { return as_error(_access(path, mode)); }
CRT_API errno_t _waccess_s(const wchar_t* path, int mode) { return as_error(_waccess(path, mode)); }
CRT_API errno_t _sopen_s(int* result, const char* path, int flags, int share, int mode) {
  if (!result) return errno = EINVAL;
  return opened(result, open_file(path, flags, share, mode));
}
CRT_API errno_t _wsopen_s(int* result, const wchar_t* path, int flags, int share, int mode) {
  const NarrowPath narrow(path);
  if (!result) return errno = EINVAL;
  return opened(result, narrow.valid() ? open_file(narrow, flags, share, mode) : -1);
}
CRT_API int _wcreat(const wchar_t* path, int mode) {
  const NarrowPath narrow(path);
  return narrow.valid() ? _creat(narrow, mode) : -1;
}
extern "C" int wide_sopen(const wchar_t*, int, int, ...) __asm__("_wsopen");
extern "C" int wide_sopen(const wchar_t* path, int flags, int share, ...) {
  va_list arguments;
  va_start(arguments, share);
  const int mode = flags & _O_CREAT ? va_arg(arguments, int) : 0;
  va_end(arguments);
  const NarrowPath narrow(path);
  return narrow.valid() ? open_file(narrow, flags, share, mode) : -1;
}
CRT_API errno_t _umask_s(int mode, int* before) {
  if (!before || (mode & ~(_S_IREAD | _S_IWRITE))) return errno = EINVAL;
  *before = _umask(mode);
  return 0;
}
CRT_API errno_t _mktemp_s(char* form, size_t size) {
  if (!form || length_within(form, size) == size) return refuse(form, size, EINVAL);
  return _mktemp(form) ? 0 : refuse(form, size, errno);
}
CRT_API errno_t tmpnam_s(char* to, size_t size) {
  char name[L_tmpnam + 16];
  return tmpnam(name) ? copy_checked(to, size, 0, name) : refuse(to, size, errno);
}
CRT_API errno_t _wmktemp_s(wchar_t* form, size_t size) {
  if (!form || length_within(form, size) == size) return refuse(form, size, EINVAL);
  return _wmktemp(form) ? 0 : refuse(form, size, errno);
}
CRT_API errno_t _wtmpnam_s(wchar_t* to, size_t size) {
  wchar_t name[L_tmpnam + 16];
  return _wtmpnam(name) ? copy_checked(to, size, 0, name) : refuse(to, size, errno);
}
