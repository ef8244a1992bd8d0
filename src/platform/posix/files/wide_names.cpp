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
