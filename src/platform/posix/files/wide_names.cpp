// The operations on files whose names are UTF-16: those of the same name for bytes.

#include <string.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/files/files.h"

namespace tarn::platform {
namespace {

// A find's names are cut, as its records are.
void put_found(const FindData& found, WideFindData* data) {
  static_assert(offsetof(FindData, name) == offsetof(WideFindData, name));
  memcpy(data, &found, offsetof(FindData, name));
  memset(data->name, 0, sizeof *data - offsetof(WideFindData, name));
  put_wide(found.name, data->name, sizeof data->name / sizeof data->name[0]);
}

}  // namespace

Handle CreateFileW(const char16_t* path, std::uint32_t access, std::uint32_t share, void* security,
                   std::uint32_t creation, std::uint32_t attributes, Handle template_file) {
  char bytes[kPathSize];
  return to_narrow(path, bytes)
             ? CreateFileA(bytes, access, share, security, creation, attributes, template_file)
             : invalid_handle();
}

Bool DeleteFileW(const char16_t* path) {
  char bytes[kPathSize];
  return to_narrow(path, bytes) && DeleteFileA(bytes);
}

Bool RemoveDirectoryW(const char16_t* path) {
  char bytes[kPathSize];
  return to_narrow(path, bytes) && RemoveDirectoryA(bytes);
}

Bool CreateDirectoryW(const char16_t* path, void* security) {
  char bytes[kPathSize];
  return to_narrow(path, bytes) && CreateDirectoryA(bytes, security);
}

Bool SetFileAttributesW(const char16_t* path, std::uint32_t attributes) {
  char bytes[kPathSize];
  return to_narrow(path, bytes) && SetFileAttributesA(bytes, attributes);
}

Bool CopyFileW(const char16_t* from, const char16_t* to, Bool only_new) {
  char old_name[kPathSize], new_name[kPathSize];
  return to_narrow(from, old_name) && to_narrow(to, new_name) &&
         CopyFileA(old_name, new_name, only_new);
}

Bool MoveFileW(const char16_t* from, const char16_t* to) {
  return MoveFileExW(from, to, kMoveCopies);
}

Bool MoveFileExW(const char16_t* from, const char16_t* to, std::uint32_t flags) {
  char old_name[kPathSize], new_name[kPathSize];
  return to_narrow(from, old_name) && to_narrow(to, new_name) &&
         MoveFileExA(old_name, new_name, flags);
}

Bool ReplaceFileW(const char16_t* to, const char16_t* from, const char16_t* backup,
                  std::uint32_t flags, void* exclude, void* reserved) {
  char target[kPathSize], source[kPathSize], kept[kPathSize];
  return to_narrow(to, target) && to_narrow(from, source) &&
         (backup == nullptr || to_narrow(backup, kept)) &&
         ReplaceFileA(target, source, backup != nullptr ? kept : nullptr, flags, exclude, reserved);
}

Bool CreateHardLinkW(const char16_t* path, const char16_t* existing, void* security) {
  char new_name[kPathSize], old_name[kPathSize];
  return to_narrow(path, new_name) && to_narrow(existing, old_name) &&
         CreateHardLinkA(new_name, old_name, security);
}

std::uint32_t GetFileAttributesW(const char16_t* path) {
  char bytes[kPathSize];
  return to_narrow(path, bytes) ? GetFileAttributesA(bytes) : kInvalidAttributes;
}

Bool GetFileAttributesExW(const char16_t* path, std::uint32_t level, FileAttributeData* data) {
  char bytes[kPathSize];
  return to_narrow(path, bytes) && GetFileAttributesExA(bytes, level, data);
}

Bool SetCurrentDirectoryW(const char16_t* path) {
  char bytes[kPathSize];
  return to_narrow(path, bytes) && SetCurrentDirectoryA(bytes);
}

std::uint32_t GetFullPathNameW(const char16_t* path, std::uint32_t size, char16_t* buffer,
                               char16_t** file_part) {
  char bytes[kPathSize], whole[kPathSize + 2];
  if (!to_narrow(path, bytes) || GetFullPathNameA(bytes, sizeof whole, whole, nullptr) == 0) {
    return 0;
  }
  const std::uint32_t length = put_wide(whole, buffer, size);
  if (file_part != nullptr && buffer != nullptr && length < size) {
    char16_t* last = buffer + length;
    while (last > buffer && last[-1] != '\\') --last;
    *file_part = *last != 0 ? last : nullptr;
  }
  return length;
}

std::uint32_t GetCurrentDirectoryW(std::uint32_t size, char16_t* buffer) {
  char bytes[kPathSize + 2];
  return GetCurrentDirectoryA(sizeof bytes, bytes) == 0 ? 0 : put_wide(bytes, buffer, size);
}

std::uint32_t GetTempFileNameW(const char16_t* folder, const char16_t* prefix, std::uint32_t unique,
                               char16_t* buffer) {
  char narrow_folder[kPathSize], narrow_prefix[kPathSize], name[kPathSize + kTempNameRoom];
  char16_t start[4] = {};
  for (std::size_t i = 0; i < 3 && prefix != nullptr && prefix[i] != 0; ++i) start[i] = prefix[i];
  if (!to_narrow(folder, narrow_folder) || !to_narrow(start, narrow_prefix)) return 0;
  if (lstrlenW(folder) > kLongestTempFolder) {
    SetLastError(kErrorBufferOverflow);
    return 0;
  }
  const std::uint32_t number =
      make_temp_name(narrow_folder, narrow_prefix, unique, name, sizeof name);
  if (number != 0) put_wide(name, buffer, kTempNameSize);
  return number;
}

std::uint32_t GetTempPathW(std::uint32_t size, char16_t* buffer) {
  char bytes[kPathSize + 2];
  return GetTempPathA(sizeof bytes, bytes) == 0 ? 0 : put_wide(bytes, buffer, size);
}

Bool GetDiskFreeSpaceW(const char16_t* root, std::uint32_t* sectors, std::uint32_t* bytes,
                       std::uint32_t* free_clusters, std::uint32_t* clusters) {
  char narrow[kPathSize];
  return to_narrow(root, narrow) && GetDiskFreeSpaceA(root == nullptr ? nullptr : narrow, sectors,
                                                      bytes, free_clusters, clusters);
}

Bool GetDiskFreeSpaceExW(const char16_t* folder, std::uint64_t* free_to_caller,
                         std::uint64_t* total, std::uint64_t* free) {
  char narrow[kPathSize];
  return to_narrow(folder, narrow) &&
         GetDiskFreeSpaceExA(folder == nullptr ? nullptr : narrow, free_to_caller, total, free);
}

Handle FindFirstFileW(const char16_t* pattern, WideFindData* data) {
  char bytes[kPathSize];
  FindData found;
  if (!to_narrow(pattern, bytes)) return invalid_handle();
  const Handle find = FindFirstFileA(bytes, &found);
  if (find != invalid_handle()) put_found(found, data);
  return find;
}

Bool FindNextFileW(Handle find, WideFindData* data) {
  FindData found;
  if (!FindNextFileA(find, &found)) return 0;
  put_found(found, data);
  return 1;
}

}  // namespace tarn::platform
