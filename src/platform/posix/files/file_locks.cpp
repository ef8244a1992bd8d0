// Locks on parts of files. The host's locks belong to the open file, as Windows' do, but
// one open file's locks don't exclude each other, what is unlocked need not be what was
// locked, and who only reads cannot lock exclusively: within the process those rules are
// kept by a record for each lock, and the host's locks are for other processes. They bind
// those who lock; reads and writes of others pass.

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/files/files.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kFailAtOnce = 1, kExclusive = 2;

// Share modes are locks from here on (see file_claims.cpp); a part of a file that lies
// beyond is locked by its record alone.
constexpr std::uint64_t kHostLimit = std::uint64_t{1} << 62;

struct Part {
  std::uint64_t begin, size;

  bool touches(const Part& other) const {
    return size > 0 && other.size > 0 && begin <= other.begin + (other.size - 1) &&
           other.begin <= begin + (size - 1);
  }
};

struct FileLock {
  FileLock* next;
  Handle handle;
  dev_t device;
  ino_t file;
  Part part;
  bool exclusive;

  bool contradicts(const FileLock& other) const {
    return device == other.device && file == other.file && part.touches(other.part) &&
           (exclusive || other.exclusive);
  }
};

FileLock* locks;
pthread_mutex_t locks_lock = PTHREAD_MUTEX_INITIALIZER;
std::uint32_t taken_off;  // locks so far, for those who wait

std::uint64_t joined(std::uint32_t low, std::uint32_t high) {
  return std::uint64_t{high} << 32 | low;
}

// 0, or -1 with errno.
int set_host_lock(int descriptor, int command, short type, const Part& part) {
  if (part.size == 0 || part.begin >= kHostLimit) return 0;
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = static_cast<off_t>(part.begin);
  const std::uint64_t room = kHostLimit - part.begin;
  lock.l_len = static_cast<off_t>(part.size < room ? part.size : room);
  int result;
  do {
    result = fcntl(descriptor, command, &lock);
  } while (result != 0 && errno == EINTR);
  return result;
}

// The two below: with the lock of the records held.

bool is_contradicted(const FileLock& wanted) {
  for (const FileLock* lock = locks; lock != nullptr; lock = lock->next) {
    if (lock->contradicts(wanted)) return true;
  }
  return false;
}

// The host forgets the part for the whole open file: what other records still hold of it
// is locked again. They are shared locks, like the one that was taken off.
void unlock(int descriptor, const FileLock& taken) {
  set_host_lock(descriptor, F_OFD_SETLK, F_UNLCK, taken.part);
  for (const FileLock* lock = locks; lock != nullptr; lock = lock->next) {
    if (lock->handle == taken.handle && lock->part.touches(taken.part)) {
      set_host_lock(descriptor, F_OFD_SETLK, F_RDLCK, lock->part);
    }
  }
  __atomic_add_fetch(&taken_off, 1, __ATOMIC_RELEASE);
  wake_all(&taken_off);
}

Bool lock_part(Handle file, const Part& part, bool exclusive, bool waits) {
  const OpenObject* const object = find_handle(file, HandleKind::kFile);
  if (object == nullptr) return 0;
  const int descriptor = object->descriptor;
  const int access = fcntl(descriptor, F_GETFL) & O_ACCMODE;
  // The host locks for others only what the opener may read, or write.
  const short type = exclusive && access != O_RDONLY ? F_WRLCK : F_RDLCK;
  if (type == F_RDLCK && access == O_WRONLY) return fail(kErrorAccessDenied);
  struct stat facts;
  if (fstat(descriptor, &facts) != 0) return fail_by_errno();
  auto* const added = static_cast<FileLock*>(malloc(sizeof(FileLock)));
  if (added == nullptr) return fail(kErrorNotEnoughMemory);
  *added = {nullptr, file, facts.st_dev, facts.st_ino, part, exclusive};
  for (;;) {
    std::uint32_t seen;
    {
      const MutexLock lock(locks_lock);
      if (!is_contradicted(*added)) {
        added->next = locks;
        locks = added;
        break;
      }
      seen = taken_off;
    }
    if (!waits) {
      free(added);
      return fail(kErrorLockViolation);
    }
    sleep_on(&taken_off, seen, nullptr);
  }
  if (set_host_lock(descriptor, waits ? F_OFD_SETLKW : F_OFD_SETLK, type, part) == 0) return 1;
  const std::uint32_t code =
      errno == EAGAIN || errno == EACCES ? kErrorLockViolation : windows_code(errno);
  UnlockFile(file, static_cast<std::uint32_t>(part.begin),
             static_cast<std::uint32_t>(part.begin >> 32), static_cast<std::uint32_t>(part.size),
             static_cast<std::uint32_t>(part.size >> 32));
  return fail(code);
}

Bool unlock_part(Handle file, const Part& part) {
  const OpenObject* const object = find_handle(file, HandleKind::kFile);
  if (object == nullptr) return 0;
  const MutexLock lock(locks_lock);
  for (FileLock** link = &locks; *link != nullptr; link = &(*link)->next) {
    FileLock* const found = *link;
    if (found->handle != file || found->part.begin != part.begin || found->part.size != part.size) {
      continue;
    }
    *link = found->next;
    unlock(object->descriptor, *found);
    free(found);
    return 1;
  }
  return fail(kErrorNotLocked);
}

}  // namespace

void unlock_file(Handle file, int descriptor) {
  const MutexLock lock(locks_lock);
  for (FileLock** link = &locks; *link != nullptr;) {
    FileLock* const found = *link;
    if (found->handle != file) {
      link = &found->next;
      continue;
    }
    *link = found->next;
    unlock(descriptor, *found);
    free(found);
  }
}

Bool LockFile(Handle file, std::uint32_t low, std::uint32_t high, std::uint32_t size_low,
              std::uint32_t size_high) {
  return lock_part(file, {joined(low, high), joined(size_low, size_high)}, true, false);
}

Bool UnlockFile(Handle file, std::uint32_t low, std::uint32_t high, std::uint32_t size_low,
                std::uint32_t size_high) {
  return unlock_part(file, {joined(low, high), joined(size_low, size_high)});
}

Bool LockFileEx(Handle file, std::uint32_t flags, std::uint32_t reserved, std::uint32_t size_low,
                std::uint32_t size_high, Overlapped* place) {
  if (reserved != 0 || place == nullptr) return fail(kErrorInvalidParameter);
  return lock_part(file, {place->offset, joined(size_low, size_high)}, (flags & kExclusive) != 0,
                   (flags & kFailAtOnce) == 0);
}

Bool UnlockFileEx(Handle file, std::uint32_t reserved, std::uint32_t size_low,
                  std::uint32_t size_high, Overlapped* place) {
  if (reserved != 0 || place == nullptr) return fail(kErrorInvalidParameter);
  return unlock_part(file, {place->offset, joined(size_low, size_high)});
}

}  // namespace tarn::platform
