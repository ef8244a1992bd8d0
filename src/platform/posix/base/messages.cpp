// What the platform's error codes mean, in words.

#include <string.h>

#include "platform/image_imports.h"
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
    {kErrorLockViolation, "Part of the file is locked by another opener."},
    {kErrorHandleEof, "The end of the file is reached."},
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

constexpr std::uint32_t kAllocates = 0x0100;
constexpr std::uint32_t kOneLine = 0x00FF;

// The text of the code; null, with the last error, for texts of others than the system
// and for a code without a text. No text has places for arguments, so that what a caller
// says of these is the same to it.
const char* message_of(std::uint32_t flags, std::uint32_t code, const void* buffer) {
  constexpr std::uint32_t kFromSystem = 0x1000;
  constexpr std::uint32_t kIgnoreInserts = 0x0200, kArgumentArray = 0x2000;
  constexpr std::uint32_t kOthers = kAllocates | kOneLine | kIgnoreInserts | kArgumentArray;
  if ((flags & ~kOthers) != kFromSystem || buffer == nullptr) {
    fail(kErrorInvalidParameter);
    return nullptr;
  }
  for (const auto& row : kTexts) {
    if (row.code == code) return row.text;
  }
  fail(kErrorMessageNotFound);
  return nullptr;
}

// Stores the text and the end of its line, with kOneLine a blank. With kAllocates `buffer` is where
// the address of a new block goes, for LocalFree, and `size` the least room in it.
template <class Unit>
std::uint32_t put_message(const char* text, std::uint32_t flags, Unit* buffer, std::uint32_t size) {
  const char* const end = (flags & kOneLine) == kOneLine ? " " : "\r\n";
  const std::size_t length = strlen(text) + strlen(end);
  if ((flags & kAllocates) != 0) {
    const std::size_t room = length < size ? size : length + 1;
    auto* const block = static_cast<Unit*>(GlobalAlloc(0, room * sizeof(Unit)));
    if (block == nullptr) return 0;
    memcpy(buffer, &block, sizeof block);
    buffer = block;
  } else if (length >= size) {
    return static_cast<std::uint32_t>(fail(kErrorInsufficientBuffer));
  }
  const char* const parts[] = {text, end};
  for (const char* const part : parts) {
    for (const char* at = part; *at != '\0'; ++at) *buffer++ = static_cast<Unit>(*at);
  }
  *buffer = 0;
  return static_cast<std::uint32_t>(length);
}

}  // namespace

std::uint32_t FormatMessageA(std::uint32_t flags, const void*, std::uint32_t code, std::uint32_t,
                             char* buffer, std::uint32_t size, void*) {
  const char* const text = message_of(flags, code, buffer);
  return text == nullptr ? 0 : put_message(text, flags, buffer, size);
}

std::uint32_t FormatMessageW(std::uint32_t flags, const void*, std::uint32_t code, std::uint32_t,
                             char16_t* buffer, std::uint32_t size, void*) {
  const char* const text = message_of(flags, code, buffer);
  return text == nullptr ? 0 : put_message(text, flags, buffer, size);
}

}  // namespace tarn::platform
