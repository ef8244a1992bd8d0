// What is known of a file, by its handle or its path, and the one attribute that the
// host keeps.

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/files/files.h"

namespace tarn::platform {
namespace {

constexpr mode_t kWriters = S_IWUSR | S_IWGRP | S_IWOTH;

std::uint32_t low_half(std::uint64_t value) { return static_cast<std::uint32_t>(value); }
std::uint32_t high_half(std::uint64_t value) { return static_cast<std::uint32_t>(value >> 32); }

std::uint64_t size_of(const struct stat& facts) {
  return S_ISREG(facts.st_mode) ? static_cast<std::uint64_t>(facts.st_size) : 0;
}

}  // namespace

std::uint32_t GetFileType(Handle file) {
  const OpenObject* const object = find_handle(file, HandleKind::kFile);
  struct stat facts;
  if (object == nullptr) return kFileTypeUnknown;
  if (fstat(object->descriptor, &facts) != 0) {
    fail_by_errno();
    return kFileTypeUnknown;
  }
  SetLastError(0);
  if (S_ISCHR(facts.st_mode)) return kFileTypeCharacter;
  return S_ISFIFO(facts.st_mode) || S_ISSOCK(facts.st_mode) ? kFileTypePipe : kFileTypeDisk;
}

Bool GetFileInformationByHandle(Handle file, FileInformation* information) {
  const OpenObject* const object = find_handle(file, HandleKind::kFile);
  struct stat facts;
  if (object == nullptr) return 0;
  if (fstat(object->descriptor, &facts) != 0) return fail_by_errno();
  if (!S_ISREG(facts.st_mode) && !S_ISDIR(facts.st_mode)) return fail(kErrorInvalidFunction);
  *information = {attributes_of(facts.st_mode), file_time_of(facts.st_ctim),
                  file_time_of(facts.st_atim),  file_time_of(facts.st_mtim),
                  low_half(facts.st_dev),       high_half(size_of(facts)),
                  low_half(size_of(facts)),     static_cast<std::uint32_t>(facts.st_nlink),
                  high_half(facts.st_ino),      low_half(facts.st_ino)};
  return 1;
}

Bool GetFileTime(Handle file, FileTime* created, FileTime* accessed, FileTime* written) {
  FileInformation facts;
  if (!GetFileInformationByHandle(file, &facts)) return 0;
  if (created != nullptr) *created = facts.created;
  if (accessed != nullptr) *accessed = facts.accessed;
  if (written != nullptr) *written = facts.written;
  return 1;
}

Bool DeviceIoControl(Handle file, std::uint32_t control, void*, std::uint32_t, void*, std::uint32_t,
                     std::uint32_t* returned, void*) {
  if (returned != nullptr) *returned = 0;
  const OpenObject* const object = find_handle(file, HandleKind::kFile);
  struct stat facts;
  if (object == nullptr) return 0;
  if (fstat(object->descriptor, &facts) != 0) return fail_by_errno();
  return control == kControlSetSparse && S_ISREG(facts.st_mode) ? 1 : fail(kErrorInvalidFunction);
}

Bool GetFileAttributesExA(const char* path, std::uint32_t level, FileAttributeData* data) {
  char host[kPathSize];
  struct stat facts;
  if (level != 0 || data == nullptr) return fail(kErrorInvalidParameter);
  if (find_device(path) != nullptr) return fail(kErrorInvalidParameter);
  if (!to_host_path(path, host)) return 0;
  if (stat(host, &facts) != 0) return fail_on_path(host);
  *data = {attributes_of(facts.st_mode), file_time_of(facts.st_ctim), file_time_of(facts.st_atim),
           file_time_of(facts.st_mtim),  high_half(size_of(facts)),   low_half(size_of(facts))};
  return 1;
}

Bool SetFileAttributesA(const char* path, std::uint32_t attributes) {
  char host[kPathSize];
  struct stat facts;
  if (!to_host_path(path, host)) return 0;
  if (stat(host, &facts) != 0) return fail_on_path(host);
  mode_t mask = umask(0);
  umask(mask);
  const mode_t mode = (attributes & kAttributeReadOnly) != 0
                          ? facts.st_mode & ~kWriters
                          : facts.st_mode | (kWriters & ~mask) | S_IWUSR;
  return chmod(host, mode & 07777) == 0 ? 1 : fail_on_path(host);
}

}  // namespace tarn::platform
