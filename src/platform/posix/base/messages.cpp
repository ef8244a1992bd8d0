// What the platform's error codes mean, in words.

#include <string.h>

#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

constexpr struct {
  std::uint32_t code;
  const char* text;
} kTexts[] = {
    {0, "Success."},
    {kErrorInvalidFunction, "The operation does not apply to this object."},
    {kErrorFileNotFound, "The file was not found."},
    {kErrorPathNotFound, "The path was not found."},
    {kErrorTooManyOpenFiles, "Too many files are open."},
    {kErrorAccessDenied, "Access is denied."},
    {kErrorInvalidHandle, "The handle is not valid."},
    {kErrorNotEnoughMemory, "There is not enough memory."},
    {kErrorNoMoreFiles, "There are no more files."},
    {kErrorSharingViolation, "The file is in use by another opener."},
    {kErrorNotSupported, "The operation is not supported."},
    {kErrorFileExists, "The file exists."},
    {kErrorInvalidParameter, "An argument is not valid."},
    {kErrorBrokenPipe, "The other end of the pipe is closed."},
    {kErrorDiskFull, "The disk is full."},
    {kErrorInsufficientBuffer, "The buffer is too small."},
    {kErrorInvalidName, "The file name is not valid."},
    {kErrorModuleNotFound, "The module was not found."},
    {kErrorProcedureNotFound, "The routine was not found in the module."},
    {kErrorNegativeSeek, "The position is before the start of the file."},
    {kErrorAlreadyExists, "The object exists already."},
    {kErrorBadExeFormat, "The file is not a valid image."},
    {kErrorEnvironmentVariableNotFound, "The environment variable is not defined."},
    {kErrorFileNameTooLong, "The file name is too long."},
    {kErrorMoreData, "More data is available than the buffer holds."},
    {kErrorDirectory, "The name is not that of a folder."},
    {kErrorMessageNotFound, "There is no text for this code."},
    {kErrorInvalidAddress, "The address is not valid for this operation."},
    {kErrorNoAccess, "The memory is not accessible."},
    {kErrorIoDevice, "The device reported an error."},
};

}  // namespace

std::uint32_t FormatMessageA(std::uint32_t flags, const void*, std::uint32_t code, std::uint32_t,
                             char* buffer, std::uint32_t size, void*) {
  constexpr std::uint32_t kFromSystem = 0x1000;
  constexpr std::uint32_t kIgnoreInserts = 0x0200;
  constexpr char kEnd[] = "\r\n";
  if (flags != (kFromSystem | kIgnoreInserts) || buffer == nullptr) {
    return static_cast<std::uint32_t>(fail(kErrorInvalidParameter));
  }
  for (const auto& row : kTexts) {
    if (row.code != code) continue;
    const std::size_t length = strlen(row.text);
    if (length + sizeof kEnd > size) {
      return static_cast<std::uint32_t>(fail(kErrorInsufficientBuffer));
    }
    memcpy(buffer, row.text, length);
    memcpy(buffer + length, kEnd, sizeof kEnd);
    return static_cast<std::uint32_t>(length + sizeof kEnd - 1);
  }
  return static_cast<std::uint32_t>(fail(kErrorMessageNotFound));
}

}  // namespace tarn::platform
