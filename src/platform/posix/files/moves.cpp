// Names of files and folders: their change, their absolute form, and the removal of
// folders.

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/files/file_claims.h"
#include "platform/posix/files/files.h"

namespace tarn::platform {
namespace {

bool copy_bytes(int from, int to, off_t size) {
  for (off_t left = size; left > 0;) {
    const ssize_t sent = sendfile(to, from, nullptr, static_cast<std::size_t>(left));
    if (sent <= 0) return false;
    left -= sent;
  }
  return true;
}

bool copy_all(int from, int to, off_t size) {
  return copy_bytes(from, to, size) && (fsync(to) == 0 || errno == EINVAL);
}

// Of the source's: who may do what, and the times. A device keeps its own.
void put_facts(int copy, const struct stat& facts) {
  struct stat own;
  if (fstat(copy, &own) != 0 || !S_ISREG(own.st_mode)) return;
  const timespec times[] = {facts.st_atim, facts.st_mtim};
  fchmod(copy, facts.st_mode & 07777);
  futimens(copy, times);
}

// A copy under a private name beside `to` takes its name when it is whole.
Bool move_by_copy(const char* from, const char* to) {
  char unfinished[kPathSize + 32];
  struct stat facts;
  snprintf(unfinished, sizeof unfinished, "%s.new-%d", to, getpid());
  const int source = open(from, O_RDONLY | O_CLOEXEC);
  if (source < 0) return fail_on_path(from);
  const int copy = open(unfinished, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  bool done = copy >= 0 && fstat(source, &facts) == 0 && copy_all(source, copy, facts.st_size);
  if (done) {
    put_facts(copy, facts);
    done = rename(unfinished, to) == 0 && unlink(from) == 0;
  }
  const int failure = errno;
  close(source);
  if (copy >= 0) close(copy);
  if (!done && copy >= 0) unlink(unfinished);
  errno = failure;
  return done ? 1 : fail_on_path(to);
}

}  // namespace

Bool MoveFileExA(const char* from, const char* to, std::uint32_t flags) {
  char host_from[kPathSize], host_to[kPathSize];
  struct stat source, target;
  if ((flags & ~(kMoveReplaces | kMoveCopies)) != 0) return fail(kErrorNotSupported);
  if (!to_host_path(from, host_from) || !to_host_path(to, host_to)) return 0;
  if (lstat(host_from, &source) != 0) return fail_on_path(host_from);
  if (S_ISREG(source.st_mode) && is_held(host_from)) return fail(kErrorSharingViolation);
  const bool exists = lstat(host_to, &target) == 0;
  const bool same = exists && source.st_ino == target.st_ino && source.st_dev == target.st_dev;
  if (exists && !same) {  // the same one is renamed to another case
    if ((flags & kMoveReplaces) == 0) return fail(kErrorAlreadyExists);
    if (S_ISDIR(target.st_mode) || (attributes_of(target.st_mode) & kAttributeReadOnly) != 0) {
      return fail(kErrorAccessDenied);
    }
    if (is_held(host_to)) return fail(kErrorAccessDenied);
  }
  const unsigned how = exists ? 0 : RENAME_NOREPLACE;
  int result = renameat2(AT_FDCWD, host_from, AT_FDCWD, host_to, how);
  if (result != 0 && errno == EINVAL && how != 0) result = rename(host_from, host_to);
  if (result == 0) return 1;
  if (errno != EXDEV) return errno == ENOENT ? fail(kErrorPathNotFound) : fail_on_path(host_to);
  if ((flags & kMoveCopies) == 0 || !S_ISREG(source.st_mode)) return fail(kErrorNotSameDevice);
  return move_by_copy(host_from, host_to);
}

Bool CopyFileA(const char* from, const char* to, Bool only_new) {
  constexpr std::uint32_t kShareAll = 7;
  const Handle source =
      CreateFileA(from, kGenericRead, kShareAll, nullptr, kOpenExisting, 0, nullptr);
  if (source == invalid_handle()) return 0;
  FileInformation facts, target;
  bool same = false;
  if (only_new == 0) {
    const Handle old = CreateFileA(to, 0, kShareAll, nullptr, kOpenExisting, 0, nullptr);
    same = old != invalid_handle() && GetFileInformationByHandle(source, &facts) &&
           GetFileInformationByHandle(old, &target) && facts.volume == target.volume &&
           facts.index_high == target.index_high && facts.index_low == target.index_low;
    if (old != invalid_handle()) CloseHandle(old);
  }
  const Handle copy = same ? invalid_handle()
                           : CreateFileA(to, kGenericWrite, kShareRead, nullptr,
                                         only_new != 0 ? kCreateNew : kCreateAlways, 0, nullptr);
  bool done = false;
  if (copy != invalid_handle()) {
    const int in = find_handle(source, HandleKind::kFile)->descriptor;
    const int out = find_handle(copy, HandleKind::kFile)->descriptor;
    struct stat found;
    done = fstat(in, &found) == 0 && copy_bytes(in, out, found.st_size);
    if (done) put_facts(out, found);
    if (!done) fail_by_errno();
  } else if (same) {
    fail(kErrorSharingViolation);
  }
  const std::uint32_t reason = GetLastError();
  CloseHandle(source);
  if (copy != invalid_handle()) {
    CloseHandle(copy);
    if (!done) DeleteFileA(to);
  }
  SetLastError(reason);
  return done ? 1 : 0;
}

Bool MoveFileA(const char* from, const char* to) { return MoveFileExA(from, to, kMoveCopies); }

Bool ReplaceFileA(const char* to, const char* from, const char* backup, std::uint32_t, void*,
                  void*) {
  if (GetFileAttributesA(from) == kInvalidAttributes) return 0;
  if (GetFileAttributesA(to) == kInvalidAttributes) return 0;
  if (backup == nullptr) return MoveFileExA(from, to, kMoveReplaces);
  if (!MoveFileExA(to, backup, kMoveReplaces)) return 0;
  if (MoveFileExA(from, to, kMoveReplaces)) return 1;
  const std::uint32_t reason = GetLastError();
  MoveFileExA(backup, to, kMoveReplaces);
  return fail(reason);
}

Bool CreateHardLinkA(const char* path, const char* existing, void*) {
  char host_new[kPathSize], host_old[kPathSize];
  if (!to_host_path(path, host_new) || !to_host_path(existing, host_old)) return 0;
  if (link(host_old, host_new) == 0) return 1;
  if (errno == EEXIST) return fail(kErrorAlreadyExists);
  struct stat facts;
  return fail_on_path(stat(host_old, &facts) == 0 ? host_new : host_old);
}

Bool RemoveDirectoryA(const char* path) {
  char host[kPathSize];
  if (!to_host_path(path, host)) return 0;
  if (rmdir(host) == 0) return 1;
  if (errno == ENOTEMPTY || errno == EEXIST) return fail(kErrorDirectoryNotEmpty);
  struct stat facts;
  if (errno == ENOTDIR && stat(host, &facts) == 0) return fail(kErrorDirectory);
  return fail_on_path(host);
}

namespace {

// The length of a drive that the host has not, or of another machine's name and folder, at the
// start of a path; or 0.
std::size_t foreign_root(const char* path) {
  if (has_drive(path)) return (path[0] | 0x20) == 'z' ? 0 : 2;
  const bool names_machine = is_separator(path[0]) && is_separator(path[1]) && path[2] != '\0' &&
                             strchr("?./\\", path[2]) == nullptr;
  if (!names_machine) return 0;
  const std::size_t machine = 2 + strcspn(path + 2, "\\/");
  return path[machine] == '\0' ? machine : machine + 1 + strcspn(path + machine + 1, "\\/");
}

// Nothing is known of such a folder, so a path on a drive is from its root.
bool full_foreign_path(const char* path, std::size_t root, char (&whole)[kPathSize + 2]) {
  char inner[kPathSize] = "\\", host[kPathSize], found[kPathSize + 2];
  const char* rest = path + root;
  const bool is_bare = *rest == '\0' && !has_drive(path);
  rest += strspn(rest, "\\/");
  if (strlen(path) + 2 >= kPathSize) return fail(kErrorFileNameTooLong);
  strcpy(inner + 1, rest);
  if (!translate_path(inner, host) || !to_program_path(host, found, sizeof found)) return false;
  for (std::size_t i = 0; i < root; ++i) whole[i] = path[i] == '/' ? '\\' : path[i];
  strcpy(whole + root, is_bare ? "" : found + 2);
  return true;
}

bool full_path(const char* path, char (&whole)[kPathSize + 2]) {
  if (path == nullptr || *path == '\0') return fail(kErrorInvalidName);
  const std::size_t root = foreign_root(path);
  if (root != 0) return full_foreign_path(path, root, whole);
  char host[kPathSize];
  return translate_path(path, host) && to_program_path(host, whole, sizeof whole);
}

}  // namespace

std::uint32_t GetFullPathNameA(const char* path, std::uint32_t size, char* buffer,
                               char** file_part) {
  char whole[kPathSize + 2];
  if (!full_path(path, whole)) return 0;
  const std::size_t length = strlen(whole);
  if (length >= size || buffer == nullptr) return static_cast<std::uint32_t>(length + 1);
  memcpy(buffer, whole, length + 1);
  if (file_part != nullptr) {
    char* const last = strrchr(buffer, '\\');
    *file_part = last != nullptr && last[1] != '\0' ? last + 1 : nullptr;
  }
  return static_cast<std::uint32_t>(length);
}

Bool PathIsRelativeA(const char* path) {
  return path == nullptr || (path[0] != '\\' && (path[0] == '\0' || path[1] != ':')) ? 1 : 0;
}

Bool PathIsRelativeW(const char16_t* path) {
  return path == nullptr || (path[0] != u'\\' && (path[0] == 0 || path[1] != u':')) ? 1 : 0;
}

std::uint32_t GetTempPathA(std::uint32_t size, char* buffer) {
  char folder[kPathSize], path[kPathSize + 2];
  std::uint32_t length = 0;
  static constexpr const char* kVariables[] = {"TMP", "TEMP", "TMPDIR"};
  for (const char* const variable : kVariables) {
    length = GetEnvironmentVariableA(variable, folder, sizeof folder);
    if (length != 0) break;
  }
  if (length == 0) strcpy(folder, "/tmp");
  if (length >= sizeof folder) return static_cast<std::uint32_t>(fail(kErrorFileNameTooLong));
  length = GetFullPathNameA(folder, sizeof path - 1, path, nullptr);
  if (length == 0) return 0;
  if (length >= sizeof path - 1) return static_cast<std::uint32_t>(fail(kErrorFileNameTooLong));
  if (path[length - 1] != '\\') strcpy(path + length++, "\\");
  if (length >= size || buffer == nullptr) return static_cast<std::uint32_t>(length + 1);
  memcpy(buffer, path, length + 1);
  return static_cast<std::uint32_t>(length);
}

std::uint32_t make_temp_name(const char* folder, const char* prefix, std::uint32_t unique,
                             char* buffer, std::size_t size) {
  constexpr std::uint32_t kNumbers = 0xFFFF;  // from 1
  const std::uint32_t attributes = GetFileAttributesA(folder);
  if (attributes == kInvalidAttributes || (attributes & kAttributeDirectory) == 0) {
    return static_cast<std::uint32_t>(fail(kErrorDirectory));
  }
  const char last = folder[strlen(folder) - 1];
  const char* const separator = last == '\\' || last == '/' ? "" : "\\";
  const std::uint32_t first = GetTickCount();
  for (std::uint32_t i = 0; i < kNumbers; ++i) {
    const std::uint32_t number = unique != 0 ? unique & kNumbers : (first + i) % kNumbers + 1;
    snprintf(buffer, size, "%s%s%s%x.tmp", folder, separator, prefix, number);
    if (unique != 0) return number;
    const Handle file = CreateFileA(buffer, kGenericWrite, 0, nullptr, kCreateNew, 0, nullptr);
    if (file != invalid_handle()) {
      CloseHandle(file);
      return number;
    }
    if (GetLastError() != kErrorFileExists) return 0;
  }
  return 0;
}

std::uint32_t GetTempFileNameA(const char* folder, const char* prefix, std::uint32_t unique,
                               char* buffer) {
  if (strlen(folder) > kLongestTempFolder) {
    return static_cast<std::uint32_t>(fail(kErrorBufferOverflow));
  }
  char start[4];
  snprintf(start, sizeof start, "%s", prefix);
  return make_temp_name(folder, start, unique, buffer, kTempNameSize);
}

}  // namespace tarn::platform
