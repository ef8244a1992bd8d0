// errno: one cell a thread. The first thread's is static, so that a program
// without threads never allocates one.
#include <stdlib.h>
#include <string.h>

#include "../crt.h"
#include "../images/lock.h"
#include "../images/shared_block.h"
#include "cells.h"

namespace crt {
namespace {

int first_cell;
DWORD slot = TLS_OUT_OF_INDEXES;

struct Row {
  unsigned short code;
  unsigned char error;
};

// By code. A code that is not here is EINVAL.
constexpr Row kRows[] = {
    {ERROR_INVALID_FUNCTION, EINVAL},
    {ERROR_FILE_NOT_FOUND, ENOENT},
    {ERROR_PATH_NOT_FOUND, ENOENT},
    {ERROR_TOO_MANY_OPEN_FILES, EMFILE},
    {ERROR_ACCESS_DENIED, EACCES},
    {ERROR_INVALID_HANDLE, EBADF},
    {ERROR_ARENA_TRASHED, ENOMEM},
    {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
    {ERROR_INVALID_BLOCK, ENOMEM},
    {ERROR_BAD_ENVIRONMENT, E2BIG},
    {ERROR_BAD_FORMAT, ENOEXEC},
    {ERROR_OUTOFMEMORY, ENOMEM},
    {ERROR_INVALID_DRIVE, ENOENT},
    {ERROR_CURRENT_DIRECTORY, EACCES},
    {ERROR_NOT_SAME_DEVICE, EXDEV},
    {ERROR_NO_MORE_FILES, ENOENT},
    {ERROR_WRITE_PROTECT, EACCES},
    {ERROR_SHARING_VIOLATION, EACCES},
    {ERROR_LOCK_VIOLATION, EACCES},
    {ERROR_HANDLE_DISK_FULL, ENOSPC},
    {ERROR_BAD_NETPATH, ENOENT},
    {ERROR_NETWORK_ACCESS_DENIED, EACCES},
    {ERROR_BAD_NET_NAME, ENOENT},
    {ERROR_FILE_EXISTS, EEXIST},
    {ERROR_CANNOT_MAKE, EACCES},
    {ERROR_FAIL_I24, EACCES},
    {ERROR_NO_PROC_SLOTS, EAGAIN},
    {ERROR_DRIVE_LOCKED, EACCES},
    {ERROR_BROKEN_PIPE, EPIPE},
    {ERROR_DISK_FULL, ENOSPC},
    {ERROR_INVALID_TARGET_HANDLE, EBADF},
    {ERROR_INVALID_NAME, ENOENT},
    {ERROR_WAIT_NO_CHILDREN, ECHILD},
    {ERROR_CHILD_NOT_COMPLETE, ECHILD},
    {ERROR_DIRECT_ACCESS_HANDLE, EBADF},
    {ERROR_NEGATIVE_SEEK, EINVAL},
    {ERROR_SEEK_ON_DEVICE, EACCES},
    {ERROR_DIR_NOT_EMPTY, ENOTEMPTY},
    {ERROR_NOT_LOCKED, EACCES},
    {ERROR_BAD_PATHNAME, ENOENT},
    {ERROR_MAX_THRDS_REACHED, EAGAIN},
    {ERROR_LOCK_FAILED, EACCES},
    {ERROR_ALREADY_EXISTS, EEXIST},
    {ERROR_FILENAME_EXCED_RANGE, ENOENT},
    {ERROR_NO_DATA, EPIPE},
    {ERROR_PIPE_NOT_CONNECTED, EPIPE},
    {ERROR_DIRECTORY, ENOTDIR},
    {ERROR_NESTING_NOT_ALLOWED, EAGAIN},
    {ERROR_NOT_ENOUGH_QUOTA, ENOMEM},
};

}  // namespace

// By number, from 0. Programs know them and their count by these names.
extern "C" const char* const error_texts[] __asm__("_sys_errlist") = {
    "No error",
    "Operation not permitted",
    "No such file or directory",
    "No such process",
    "Interrupted function call",
    "Input/output error",
    "No such device or address",
    "Arg list too long",
    "Exec format error",
    "Bad file descriptor",
    "No child processes",
    "Resource temporarily unavailable",
    "Not enough space",
    "Permission denied",
    "Bad address",
    "Unknown error",
    "Resource device",
    "File exists",
    "Improper link",
    "No such device",
    "Not a directory",
    "Is a directory",
    "Invalid argument",
    "Too many open files in system",
    "Too many open files",
    "Inappropriate I/O control operation",
    "Unknown error",
    "File too large",
    "No space left on device",
    "Invalid seek",
    "Read-only file system",
    "Too many links",
    "Broken pipe",
    "Domain error",
    "Result too large",
    "Unknown error",
    "Resource deadlock avoided",
    "Unknown error",
    "Filename too long",
    "No locks available",
    "Function not implemented",
    "Directory not empty",
    "Illegal byte sequence",
};
extern "C" const int error_text_count __asm__("_sys_nerr") = sizeof error_texts /
                                                             sizeof *error_texts;

namespace {

// From 100.
constexpr const char* kPosixTexts[] = {
    "Address in use",
    "Address not available",
    "Address family not supported",
    "Connection already in progress",
    "Bad message",
    "Operation canceled",
    "Connection aborted",
    "Connection refused",
    "Connection reset",
    "Destination address required",
    "Host unreachable",
    "Identifier removed",
    "Operation in progress",
    "Already connected",
    "Too many symbolic link levels",
    "Message too long",
    "Network down",
    "Network reset",
    "Network unreachable",
    "No buffer space",
    "No message available",
    "No link",
    "No message",
    "No protocol option",
    "No stream resources",
    "Not a stream",
    "Not connected",
    "State not recoverable",
    "Not a socket",
    "Not supported",
    "Operation not supported",
    "Unknown error",
    "Value too large",
    "Owner dead",
    "Protocol error",
    "Protocol not supported",
    "Wrong protocol type",
    "Stream timeout",
    "Timed out",
    "Text file busy",
    "Operation would block",
};

template <int count>
const char* text_at(const char* const (&texts)[count], int index) {
  return index >= 0 && index < count ? texts[index] : nullptr;
}

}  // namespace

int fail_with(int error) {
  errno = error;
  return -1;
}

int fail(DWORD code) {
  for (const Row& row : kRows) {
    if (row.code == code) return fail_with(row.error);
  }
  return fail_with(EINVAL);
}

namespace {

// A thread of one image may call another, which has a run-time of its own.
struct Threads {
  void (*begin_in_program)();
  bool begun;
};

Threads* threads;  // of the process; null until this image's constructors run

void begin_in_image() {
  if (has_threads) return;
  slot = TlsAlloc();
  use_cell(&first_cell);
  has_threads = true;
}

// A DLL is ready for threads at once; the program, when there are any.
__attribute__((constructor)) void join_threads() {
  threads = static_cast<Threads*>(shared_block("THREADS", sizeof(Threads)));
  if (is_program()) threads->begin_in_program = begin_in_image;
  if (!is_program() || threads->begun) begin_in_image();
}

}  // namespace

}  // namespace crt

void crt::begin_threads() {
  begin_in_image();
  if (!threads) return;
  threads->begun = true;
  if (threads->begin_in_program) threads->begin_in_program();
}

void crt::use_cell(int* cell) { TlsSetValue(slot, cell); }

// A thread that the program started by the system's own means gets a cell when it
// first asks.
CRT_API int* _errno(void) {
  using namespace crt;
  if (!has_threads) return &first_cell;
  const DWORD last_error = GetLastError();
  int* cell = static_cast<int*>(TlsGetValue(slot));
  if (!cell) {
    use_cell(&first_cell);  // calloc sets errno without memory
    cell = static_cast<int*>(calloc(1, sizeof(int)));
    if (!cell) cell = &first_cell;
    use_cell(cell);
  }
  SetLastError(last_error);
  return cell;
}
CRT_API char* strerror(int error) {
  using namespace crt;
  const char* text = text_at(error_texts, error);
  if (!text) text = text_at(kPosixTexts, error - EADDRINUSE);
  return const_cast<char*>(text ? text : "Unknown error");
}
CRT_API errno_t strerror_s(char* to, size_t size, int error) {
  if (!to || size == 0) return EINVAL;
  strncpy(to, strerror(error), size - 1);
  to[size - 1] = '\0';
  return 0;
}
CRT_API errno_t _set_errno(int value) {
  errno = value;
  return 0;
}
CRT_API errno_t _get_errno(int* value) {
  if (!value) return errno = EINVAL;
  *value = errno;
  return 0;
}
CRT_API unsigned long* __doserrno(void) {
  static unsigned long code;
  code = GetLastError();
  return &code;
}
CRT_API errno_t _set_doserrno(unsigned long value) {
  SetLastError(value);
  return 0;
}
CRT_API errno_t _get_doserrno(unsigned long* value) {
  if (!value) return errno = EINVAL;
  *value = GetLastError();
  return 0;
}
