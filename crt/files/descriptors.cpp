#include "descriptors.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "../images/lock.h"

#undef _fmode
extern "C" {
int _fmode;
int* __p__fmode(void) { return &_fmode; }
errno_t _set_fmode(int mode) {
  if (mode != _O_TEXT && mode != _O_BINARY) return errno = EINVAL;
  _fmode = mode;
  return 0;
}
errno_t _get_fmode(int* mode) {
  if (!mode) return errno = EINVAL;
  *mode = _fmode;
  return 0;
}
}

namespace crt {
namespace {

constexpr int kBlock = 64;
constexpr DWORD kMostBytes = 1u << 30;  // of one call of the system

Descriptor first_block[kBlock];
Descriptor* blocks[kMostDescriptors / kBlock] = {first_block};
bool standard_open;
Lock table_lock;
int creation_mask;  // umask

void set_kind(Descriptor& file, HANDLE handle) {
  const DWORD kind = GetFileType(handle) & ~FILE_TYPE_REMOTE;
  DWORD mode;
  file.device = kind == FILE_TYPE_CHAR;
  file.console = file.device && GetConsoleMode(handle, &mode);
  file.pipe = kind == FILE_TYPE_PIPE;
}

void set(Descriptor& file, HANDLE handle, int flags) {
  file = {};
  file.handle = handle;
  file.text = flags & _O_BINARY ? false : flags & _O_TEXT ? true : !(_fmode & _O_BINARY);
  file.append = flags & _O_APPEND;
  file.inherits = !(flags & _O_NOINHERIT);
  set_kind(file, handle);
}

constexpr DWORD kStandard[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};

void open_standard() {
  for (int i = 0; i < 3; ++i) {
    const HANDLE handle = GetStdHandle(kStandard[i]);
    if (GetFileType(handle) != FILE_TYPE_UNKNOWN) set(first_block[i], handle, 0);
  }
  standard_open = true;
}

Descriptor* slot_of(int number) {
  if (!standard_open) open_standard();
  if (number < 0 || number >= kMostDescriptors) return nullptr;
  Descriptor* const block = blocks[number / kBlock];
  return block ? &block[number % kBlock] : nullptr;
}

// How open's flags ask the system.
DWORD access_of(int flags) {
  switch (flags & (_O_WRONLY | _O_RDWR)) {
    case 0:
      return GENERIC_READ;
    case _O_WRONLY:
      return GENERIC_WRITE;
    default:
      return GENERIC_READ | GENERIC_WRITE;
  }
}

DWORD disposition_of(int flags) {
  switch (flags & (_O_CREAT | _O_EXCL | _O_TRUNC)) {
    case _O_CREAT:
      return OPEN_ALWAYS;
    case _O_CREAT | _O_EXCL:
    case _O_CREAT | _O_EXCL | _O_TRUNC:
      return CREATE_NEW;
    case _O_TRUNC:
    case _O_TRUNC | _O_EXCL:
      return TRUNCATE_EXISTING;
    case _O_CREAT | _O_TRUNC:
      return CREATE_ALWAYS;
    default:
      return OPEN_EXISTING;
  }
}

bool share_of(int share, DWORD* result) {
  switch (share) {
    case _SH_DENYRW:
      *result = 0;
      return true;
    case _SH_DENYWR:
      *result = FILE_SHARE_READ;
      return true;
    case _SH_DENYRD:
      *result = FILE_SHARE_WRITE;
      return true;
    case _SH_DENYNO:
      *result = FILE_SHARE_READ | FILE_SHARE_WRITE;
      return true;
    default:
      return false;
  }
}

}  // namespace

Descriptor* descriptor(int number) {
  Descriptor* const file = slot_of(number);
  if (file && file->handle) return file;
  errno = EBADF;
  return nullptr;
}

int claim_descriptor(HANDLE handle, int flags) {
  const Locked locked(table_lock);
  if (!standard_open) open_standard();
  for (int number = 0; number < kMostDescriptors; ++number) {
    Descriptor*& block = blocks[number / kBlock];
    if (!block) block = static_cast<Descriptor*>(calloc(kBlock, sizeof(Descriptor)));
    if (!block) return fail_with(ENOMEM);
    Descriptor& file = block[number % kBlock];
    if (file.handle) continue;
    set(file, handle, flags);
    return number;
  }
  return fail_with(EMFILE);
}

bool place_descriptor(int number, HANDLE handle, int flags) {
  const Locked locked(table_lock);
  if (number < 0 || number >= kMostDescriptors) return false;
  if (!standard_open) open_standard();
  Descriptor*& block = blocks[number / kBlock];
  if (!block) block = static_cast<Descriptor*>(calloc(kBlock, sizeof(Descriptor)));
  if (!block) return false;
  Descriptor& file = block[number % kBlock];
  if (file.handle) CloseHandle(file.handle);
  set(file, handle, flags);
  if (number <= 2) SetStdHandle(kStandard[number], handle);
  return true;
}

void release_descriptor(int number) {
  if (Descriptor* const file = slot_of(number)) file->handle = nullptr;
}

int open_file(const char* path, int flags, int share, int mode) {
  SECURITY_ATTRIBUTES security = {sizeof security, nullptr, !(flags & _O_NOINHERIT)};
  DWORD sharing;
  if (!path || !share_of(share, &sharing)) return fail_with(EINVAL);
  DWORD access = access_of(flags);
  DWORD attributes = FILE_ATTRIBUTE_NORMAL;
  if ((flags & _O_CREAT) && !(mode & ~creation_mask & _S_IWRITE))
    attributes = FILE_ATTRIBUTE_READONLY;
  if (flags & _O_TEMPORARY) {
    attributes |= FILE_FLAG_DELETE_ON_CLOSE;
    access |= DELETE;
    sharing |= FILE_SHARE_DELETE;
  }
  if (flags & _O_SHORT_LIVED) attributes |= FILE_ATTRIBUTE_TEMPORARY;
  const HANDLE handle =
      CreateFileA(path, access, sharing, &security, disposition_of(flags), attributes, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return fail();
  const int number = claim_descriptor(handle, flags);
  if (number < 0) CloseHandle(handle);
  return number;
}

int fail_on_handle() {
  const DWORD error = GetLastError();
  return error == ERROR_ACCESS_DENIED ? fail_with(EBADF) : fail(error);
}

bool ends_lines(const Descriptor& file) {
  DWORD mode;
  return !file.console || !GetConsoleMode(file.handle, &mode) || (mode & ENABLE_LINE_INPUT);
}

void (*before_console_read)();

long long read_bytes(Descriptor& file, void* buffer, size_t size) {
  DWORD count = 0;
  if (file.has_ahead && size > 0) {
    file.has_ahead = false;
    *static_cast<unsigned char*>(buffer) = file.ahead;
    return 1;
  }
  if (file.console && before_console_read) before_console_read();
  for (;;) {
    SetLastError(ERROR_SUCCESS);
    if (!ReadFile(file.handle, buffer, size > kMostBytes ? kMostBytes : static_cast<DWORD>(size),
                  &count, nullptr)) {
      break;
    }
    // Nothing, because of Ctrl+C: that is a signal, and no end of the input.
    if (count > 0 || !file.console || GetLastError() != ERROR_OPERATION_ABORTED) return count;
  }
  return GetLastError() == ERROR_BROKEN_PIPE ? 0 : fail_on_handle();  // 0: its writer has gone
}

long long write_bytes(Descriptor& file, const void* bytes, size_t size) {
  if (file.append) SetFilePointerEx(file.handle, LARGE_INTEGER{}, nullptr, FILE_END);
  const char* next = static_cast<const char*>(bytes);
  for (size_t left = size; left > 0;) {
    DWORD count = 0;
    if (!WriteFile(file.handle, next, left > kMostBytes ? kMostBytes : static_cast<DWORD>(left),
                   &count, nullptr)) {
      return fail_on_handle();
    }
    if (count == 0) return fail_with(ENOSPC);
    next += count;
    left -= count;
  }
  return static_cast<long long>(size);
}

long long seek_file(Descriptor& file, long long distance, int whence) {
  LARGE_INTEGER position, result;
  position.QuadPart = distance;
  if (whence < SEEK_SET || whence > SEEK_END) return fail_with(EINVAL);
  if (file.console || file.pipe) return fail_with(ESPIPE);
  if (file.device) return 0;  // the null device takes each position, and has none
  if (!SetFilePointerEx(file.handle, position, &result, static_cast<DWORD>(whence))) return fail();
  return result.QuadPart;
}

}  // namespace crt

CRT_API int _umask(int mode) {
  const int before = crt::creation_mask;
  crt::creation_mask = mode & (_S_IREAD | _S_IWRITE);
  return before;
}
