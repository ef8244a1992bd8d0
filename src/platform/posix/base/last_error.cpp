// The thread's last error, and the host's errors in Windows terms.

#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

__thread std::uint32_t last_error;

constexpr struct {
  int host;
  std::uint32_t windows;
} kCodes[] = {
    {EPERM, kErrorAccessDenied},
    {ENOENT, kErrorFileNotFound},
    {EIO, kErrorIoDevice},
    {ENXIO, kErrorFileNotFound},
    {EBADF, kErrorInvalidHandle},
    {EAGAIN, kErrorSharingViolation},
    {ENOMEM, kErrorNotEnoughMemory},
    {EACCES, kErrorAccessDenied},
    {EFAULT, kErrorNoAccess},
    {EBUSY, kErrorSharingViolation},
    {EEXIST, kErrorAlreadyExists},
    {ENODEV, kErrorNotSupported},
    {ENOTDIR, kErrorPathNotFound},
    {EISDIR, kErrorAccessDenied},
    {EINVAL, kErrorInvalidParameter},
    {ENFILE, kErrorTooManyOpenFiles},
    {EMFILE, kErrorTooManyOpenFiles},
    {ETXTBSY, kErrorSharingViolation},
    {EFBIG, kErrorDiskFull},
    {ENOSPC, kErrorDiskFull},
    {EDQUOT, kErrorDiskFull},
    {ESPIPE, kErrorInvalidFunction},
    {EROFS, kErrorAccessDenied},
    {EPIPE, kErrorBrokenPipe},
    {ENAMETOOLONG, kErrorFileNameTooLong},
    {ELOOP, kErrorPathNotFound},
    {EOVERFLOW, kErrorInvalidParameter},
};

}  // namespace

std::uint32_t windows_code(int error) {
  for (const auto& [host, windows] : kCodes) {
    if (host == error) return windows;
  }
  return kErrorNotSupported;
}

std::uint32_t GetLastError() { return last_error; }

void SetLastError(std::uint32_t code) { last_error = code; }

Bool fail(std::uint32_t code) {
  last_error = code;
  return 0;
}

void* null_for(std::uint32_t code) {
  fail(code);
  return nullptr;
}

Bool fail_by_errno() { return fail(windows_code(errno)); }

Bool fail_on_path(const char* host_path) {
  std::size_t length = strnlen(host_path, kPathSize - 1);
  if (errno == ENOTDIR && length > 0 && host_path[length - 1] == '/') {
    return fail(kErrorInvalidName);  // a file, named as a folder
  }
  if (errno != ENOENT) return fail_by_errno();
  char folder[kPathSize];
  while (length > 1 && host_path[length - 1] == '/') --length;
  while (length > 0 && host_path[length - 1] != '/') --length;
  memcpy(folder, host_path, length);
  folder[length] = '\0';
  struct stat facts;
  if (length > 0 && (stat(folder, &facts) != 0 || !S_ISDIR(facts.st_mode))) {
    return fail(kErrorPathNotFound);
  }
  return fail(kErrorFileNotFound);
}

}  // namespace tarn::platform
