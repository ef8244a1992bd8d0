// Files and folders by name.

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/files/file_claims.h"
#include "platform/posix/files/files.h"

namespace tarn::platform {
namespace {

// As fail_on_path, for an operation that only a folder supports.
Bool fail_on_folder(const char* path) {
  struct stat facts;
  const int error = errno;
  if (error == ENOTDIR && stat(path, &facts) == 0) return fail(kErrorDirectory);
  errno = error;
  return fail_on_path(path);
}

// What GetDriveTypeA returns.
enum DriveType : std::uint32_t { kNoDrive = 1, kFixed = 3, kRemote = 4, kCdRom = 5, kInMemory = 6 };

// File systems by the numbers that statfs returns, from linux/magic.h and
// statfs(2).
constexpr struct {
  std::uint32_t number;
  DriveType type;
} kFileSystems[] = {
    {0x00006969, kRemote},    // NFS
    {0xFF534D42, kRemote},    // CIFS
    {0xFE534D42, kRemote},    // SMB2
    {0x00009660, kCdRom},     // ISO 9660
    {0x15013346, kCdRom},     // UDF
    {0x01021994, kInMemory},  // tmpfs
    {0x858458F6, kInMemory},  // ramfs
};

}  // namespace

bool is_held(const char* host_path) {
  const int descriptor = open(host_path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (descriptor < 0) return false;  // nor can anyone hold it by this user's rights
  const bool held = deletion_is_denied(descriptor);
  close(descriptor);
  return held;
}

FileTime file_time_of(const timespec& time) {
  return file_time((time.tv_sec + kSecondsFrom1601To1970) * kUnitsPerSecond + time.tv_nsec / 100);
}

std::uint32_t attributes_of(std::uint32_t mode) {
  const std::uint32_t kind = S_ISDIR(mode)   ? kAttributeDirectory
                             : S_ISREG(mode) ? kAttributeArchive
                                             : kAttributeNormal;
  const bool read_only = (mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
  return read_only ? kind | kAttributeReadOnly : kind;
}

std::uint32_t GetFileAttributesA(const char* path) {
  char host[kPathSize];
  struct stat facts;
  if (find_device(path) != nullptr) return kAttributeArchive;
  if (!to_host_path(path, host)) return kInvalidAttributes;
  if (stat(host, &facts) != 0) {
    fail_on_path(host);
    return kInvalidAttributes;
  }
  return attributes_of(facts.st_mode);
}

Bool DeleteFileA(const char* path) {
  char host[kPathSize];
  struct stat facts;
  if (!to_host_path(path, host)) return 0;
  if (lstat(host, &facts) != 0) return fail_on_path(host);
  if (S_ISREG(facts.st_mode)) {
    if ((attributes_of(facts.st_mode) & kAttributeReadOnly) != 0) return fail(kErrorAccessDenied);
    if (is_held(host)) return fail(kErrorSharingViolation);
  }
  return unlink(host) == 0 ? 1 : fail_on_path(host);
}

Bool CreateDirectoryA(const char* path, void*) {
  constexpr mode_t kNewFolder = 0777;  // less the umask
  char host[kPathSize];
  if (!to_host_path(path, host)) return 0;
  if (mkdir(host, kNewFolder) == 0) return 1;
  // The folder to make it in is what is missing.
  return errno == ENOENT ? fail(kErrorPathNotFound) : fail_on_path(host);
}

Bool SetCurrentDirectoryA(const char* path) {
  char host[kPathSize];
  if (path != nullptr && *path == '\0') return fail(kErrorInvalidName);
  if (!to_host_path(path, host)) return 0;
  return chdir(host) == 0 ? 1 : fail_on_folder(host);
}

std::uint32_t GetCurrentDirectoryA(std::uint32_t size, char* buffer) {
  char host[kPathSize];
  if (getcwd(host, sizeof host) == nullptr) return static_cast<std::uint32_t>(fail_by_errno());
  const std::size_t length = from_host_path(host, buffer, size);
  return static_cast<std::uint32_t>(length < size ? length : length + 1);
}

std::uint32_t GetDriveTypeA(const char* root) {
  char host[kPathSize];
  if (root == nullptr) root = "\\";
  const std::size_t length = strlen(root);
  struct statfs facts;
  // A root ends with a separator.
  if (length == 0 || (root[length - 1] != '\\' && root[length - 1] != '/') ||
      !to_host_path(root, host) || statfs(host, &facts) != 0) {
    return kNoDrive;
  }
  for (const auto& system : kFileSystems) {
    if (system.number == static_cast<std::uint32_t>(facts.f_type)) return system.type;
  }
  return kFixed;
}

Bool GetDiskFreeSpaceA(const char* root, std::uint32_t* sectors, std::uint32_t* bytes,
                       std::uint32_t* free_clusters, std::uint32_t* clusters) {
  constexpr std::uint32_t kSector = 512, kMost = 0x7FFFFFFF;
  char host[kPathSize];
  struct statfs facts;
  if (!to_host_path(root == nullptr ? "." : root, host)) return 0;
  if (statfs(host, &facts) != 0) return fail_on_path(host);
  const auto counted = [](std::uint64_t count) {
    return count < kMost ? static_cast<std::uint32_t>(count) : kMost;
  };
  if (sectors != nullptr) *sectors = static_cast<std::uint32_t>(facts.f_frsize) / kSector;
  if (bytes != nullptr) *bytes = kSector;
  if (free_clusters != nullptr) *free_clusters = counted(facts.f_bavail);
  if (clusters != nullptr) *clusters = counted(facts.f_blocks);
  return 1;
}

Bool GetDiskFreeSpaceExA(const char* folder, std::uint64_t* free_to_caller, std::uint64_t* total,
                         std::uint64_t* free) {
  char host[kPathSize];
  struct statfs facts;
  if (!to_host_path(folder == nullptr ? "." : folder, host)) return 0;
  if (statfs(host, &facts) != 0) return fail_on_path(host);
  const auto unit = static_cast<std::uint64_t>(facts.f_frsize);
  if (free_to_caller != nullptr) *free_to_caller = facts.f_bavail * unit;
  if (total != nullptr) *total = facts.f_blocks * unit;
  if (free != nullptr) *free = facts.f_bfree * unit;
  return 1;
}

std::uint32_t GetLogicalDrives() { return std::uint32_t{1} << ('Z' - 'A'); }

}  // namespace tarn::platform
