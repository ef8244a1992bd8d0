// open, read, write and kin.
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "descriptors.h"

using namespace crt;

namespace {

constexpr unsigned char kEndMark = 0x1A;

// The byte after the last one that was read, which stays to be read; 0 if there is none. A pipe
// or a console waits for it.
char byte_ahead(Descriptor& file) {
  char byte = 0;
  if ((file.device && !file.console) || !ends_lines(file)) return 0;
  if (read_bytes(file, &byte, 1) != 1) return 0;
  if (file.pipe || file.console) {
    file.has_ahead = true;
    file.ahead = static_cast<unsigned char>(byte);
  } else {
    seek_file(file, -1, SEEK_CUR);
  }
  return byte;
}

// A carriage return before a line feed is dropped; Ctrl-Z ends a file.
int to_text(Descriptor& file, char* bytes, int count) {
  int kept = 0;
  for (int i = 0; i < count; ++i) {
    if (bytes[i] == kEndMark && !file.device) {
      file.at_end = true;
      break;
    }
    if (bytes[i] == '\r') {
      const char following = i + 1 < count ? bytes[i + 1] : byte_ahead(file);
      if (following == '\n') continue;
    }
    bytes[kept++] = bytes[i];
  }
  return kept;
}

}  // namespace

CRT_API int _sopen(const char* path, int flags, int share, ...) {
  int mode = 0;
  if (flags & _O_CREAT) {
    va_list arguments;
    va_start(arguments, share);
    mode = va_arg(arguments, int);
    va_end(arguments);
  }
  return open_file(path, flags, share, mode);
}
CRT_API int _open(const char* path, int flags, ...) {
  int mode = 0;
  if (flags & _O_CREAT) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, int);
    va_end(arguments);
  }
  return open_file(path, flags, _SH_DENYNO, mode);
}
CRT_API int _creat(const char* path, int mode) {
  return open_file(path, _O_CREAT | _O_TRUNC | _O_RDWR, _SH_DENYNO, mode);
}

// Bytes that are written to the second come out of the first.
CRT_API int _pipe(int* ends, unsigned size, int flags) {
  if (!ends) return fail_with(EINVAL);
  SECURITY_ATTRIBUTES security = {sizeof security, nullptr, !(flags & _O_NOINHERIT)};
  HANDLE reading, writing;
  if (!CreatePipe(&reading, &writing, &security, size)) return fail();
  ends[0] = claim_descriptor(reading, flags);
  ends[1] = claim_descriptor(writing, flags);
  if (ends[0] >= 0 && ends[1] >= 0) return 0;
  if (ends[0] >= 0) release_descriptor(ends[0]);
  CloseHandle(reading);
  CloseHandle(writing);
  return -1;
}

CRT_API int _close(int number) {
  Descriptor* const file = descriptor(number);
  if (!file) return -1;
  const HANDLE handle = file->handle;
  release_descriptor(number);
  return CloseHandle(handle) ? 0 : fail();
}

CRT_API int _read(int number, void* buffer, unsigned size) {
  Descriptor* const file = descriptor(number);
  if (!file) return -1;
  if (size > INT_MAX) return fail_with(EINVAL);
  if (!file->text) return static_cast<int>(read_bytes(*file, buffer, size));
  if (file->at_end) return 0;
  for (;;) {
    const int count = static_cast<int>(read_bytes(*file, buffer, size));
    if (count <= 0) return count;
    const int kept = to_text(*file, static_cast<char*>(buffer), count);
    if (kept > 0 || file->at_end) return kept;
  }
}

CRT_API int _write(int number, const void* bytes, unsigned size) {
  Descriptor* const file = descriptor(number);
  if (!file) return -1;
  if (size > INT_MAX) return fail_with(EINVAL);
  if (!file->text) return static_cast<int>(write_bytes(*file, bytes, size));
  char piece[1024];
  const char* at = static_cast<const char*>(bytes);
  const char* const end = at + size;
  while (at < end) {
    size_t length = 0;
    for (; at < end && length + 2 <= sizeof piece; ++at) {
      if (*at == '\n') piece[length++] = '\r';
      piece[length++] = *at;
    }
    if (write_bytes(*file, piece, length) < 0) return -1;
  }
  return static_cast<int>(size);
}

CRT_API long long _lseeki64(int number, long long distance, int whence) {
  Descriptor* const file = descriptor(number);
  if (!file) return -1;
  file->at_end = false;
  return seek_file(*file, distance, whence);
}
CRT_API long _lseek(int number, long distance, int whence) {
  const long long position = _lseeki64(number, distance, whence);
  return position > LONG_MAX ? fail_with(EFBIG) : static_cast<long>(position);
}
CRT_API long long _telli64(int number) { return _lseeki64(number, 0, SEEK_CUR); }
CRT_API long _tell(int number) { return _lseek(number, 0, SEEK_CUR); }

CRT_API int _isatty(int number) {
  const Descriptor* const file = descriptor(number);
  return file && file->device ? 64 : 0;
}

CRT_API int _commit(int number) {
  const Descriptor* const file = descriptor(number);
  if (!file) return -1;
  return FlushFileBuffers(file->handle) ? 0 : fail();
}

CRT_API intptr_t _get_osfhandle(int number) {
  const Descriptor* const file = descriptor(number);
  return file ? reinterpret_cast<intptr_t>(file->handle) : -1;
}
CRT_API int _open_osfhandle(intptr_t handle, int flags) {
  if (handle == 0 || handle == -1) return fail_with(EBADF);  // no handle, INVALID_HANDLE_VALUE
  return claim_descriptor(reinterpret_cast<HANDLE>(handle), flags);
}

namespace {

int duplicate(const Descriptor& file, HANDLE* copy) {
  const HANDLE self = GetCurrentProcess();
  return DuplicateHandle(self, file.handle, self, copy, 0, TRUE, DUPLICATE_SAME_ACCESS) ? 0
                                                                                        : fail();
}

int flags_of(const Descriptor& file) {
  return (file.text ? _O_TEXT : _O_BINARY) | (file.append ? _O_APPEND : 0);
}

}  // namespace

CRT_API int _dup(int number) {
  const Descriptor* const file = descriptor(number);
  HANDLE copy;
  if (!file || duplicate(*file, &copy) != 0) return -1;
  const int made = claim_descriptor(copy, flags_of(*file));
  if (made < 0) CloseHandle(copy);
  return made;
}

CRT_API int _dup2(int number, int wanted) {
  const Descriptor* const file = descriptor(number);
  if (!file) return -1;
  if (number == wanted) return 0;
  HANDLE copy;
  if (duplicate(*file, &copy) != 0) return -1;
  const int flags = flags_of(*file);
  if (!place_descriptor(wanted, copy, flags)) {
    CloseHandle(copy);
    return fail_with(EBADF);
  }
  _setmode(wanted, flags & (_O_TEXT | _O_BINARY));  // a stream's, too
  return 0;
}
