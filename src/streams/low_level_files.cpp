#include "streams/low_level_files.h"

#include "numerics/elementary.h"
#include "paneview/paneview.h"
#include "platform/platform.h"
#include "process/missing_routines.h"
#include "process/process_state.h"
#include "streams/file_stream.h"

namespace tarn {
namespace {

constexpr std::int32_t kDrives = 26;

constexpr std::uint32_t kNotWritable = 0x05;   // read-only, system
constexpr std::uint32_t kNotReadable = 0x204;  // system, sparse
constexpr std::uint32_t kNoMode = 0xFFFFFFFF;

// The attributes that forbid a mode.
std::uint32_t forbidden_attributes(std::int32_t mode) {
  switch (mode) {
    case 2:
      return kNotWritable;
    case 4:
      return kNotReadable;
    case 6:
      return kNotWritable | kNotReadable;
    default:
      return kNoMode;
  }
}

}  // namespace

char* getcwd(char* buffer, std::int32_t size) {
  if (!buffer || size == 0) return nullptr;
  const auto room = static_cast<std::uint32_t>(size);
  const std::uint32_t length = platform::GetCurrentDirectoryA(room, buffer);
  if (length == 0 || length > room - 1) {
    set_errno(kErrnoRange);
    return nullptr;
  }
  return buffer;
}

std::int32_t _chdir(const char* path) { return paneview::chdir(path); }

std::int32_t _chdrive(std::int32_t drive) {
  if (drive < 1 || drive > kDrives) return -1;
  const char root[] = {static_cast<char>('a' + drive - 1), ':', '\0'};
  return paneview::chdir(root);
}

std::int32_t getdrive() {
  std::uint32_t mask = platform::GetLogicalDrives();
  for (std::int32_t count = 0; count < kDrives; ++count) {
    mask >>= 1;
    if (mask == 0) return count;
  }
  return kDrives;
}

std::int32_t FileExists(const char* path) {
  const std::uint32_t attributes = platform::GetFileAttributesA(path);
  return attributes != platform::kInvalidAttributes &&
         !(attributes & platform::kAttributeDirectory);
}

std::int32_t exists(const char* path) {
  FILE* const stream = fopen(path, "rb");
  if (!stream) return 0;
  fclose(stream);
  return 1;
}

std::int64_t get_file_size(const char* path) {
  const platform::Handle file = platform::CreateFileA(path, platform::kGenericRead, 0, nullptr,
                                                      platform::kOpenExisting, 0, nullptr);
  if (file == platform::invalid_handle()) return -1;
  std::int64_t size = -1;
  platform::GetFileSizeEx(file, &size);
  platform::CloseHandle(file);
  return size;
}

std::int32_t _access(const char* path, std::int32_t mode) {
  const std::uint32_t attributes = platform::GetFileAttributesA(path);
  if (attributes == platform::kInvalidAttributes) return -1;
  if (mode == 0 || (attributes & platform::kAttributeDirectory)) return 0;
  const std::uint32_t forbidden = forbidden_attributes(mode);
  return forbidden == kNoMode || (attributes & forbidden) ? -1 : 0;
}

std::int32_t _unlink(const char* path) { return paneview::remove(path); }

std::int32_t _read(std::int32_t, void*, std::uint32_t) { __read(); }

std::int32_t _write(std::int32_t, const void*, std::uint32_t) { __write(); }

std::int32_t _lseek(std::int32_t, std::int32_t, std::int32_t) { lseek(); }

std::int32_t _chsize(std::int32_t, std::int32_t) { lseek(); }

}  // namespace tarn
