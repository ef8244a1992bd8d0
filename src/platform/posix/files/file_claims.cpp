// A claim is a set of locks on bytes far beyond the end of any file, one range
// of bytes for each thing an opener does or denies. The locks belong to the
// open file description, so they distinguish two openers in one process, and
// end with it, however the process ends. They never exclude each other: an
// opener first sets its own and then checks whether someone else has a lock in
// a range that contradicts. A file system without locks has no share modes.
//
// An exclusive lock needs the right to write the file, and counts whoever set
// it, even another program that locks the whole file. A reader can only have a
// shared lock, but anybody who may read the file can set one, and could keep
// everybody else out. So a shared lock counts only if a process of this user
// holds it, and on exactly the byte that claims use.

#include "platform/posix/files/file_claims.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace tarn::platform {
namespace {

// Ordered so that the ranges that an opener without sharing checks are
// adjacent.
enum Range : int { kDeniesReading, kReads, kWrites, kDeniesWriting, kDeniesDeletion, kRanges };

constexpr off_t kFirstRange = off_t{1} << 62;
constexpr off_t kRangeSize = off_t{1} << 32;

constexpr struct {
  bool FileUse::*member;
  Range range;
  unsigned contradicts;  // one bit per range
} kRules[] = {
    {&FileUse::reads, kReads, 1u << kDeniesReading},
    {&FileUse::writes, kWrites, 1u << kDeniesWriting},
    {&FileUse::denies_reading, kDeniesReading, 1u << kReads},
    {&FileUse::denies_writing, kDeniesWriting, 1u << kWrites},
    {&FileUse::denies_deletion, kDeniesDeletion, 0},
};

struct flock lock_on(short type, off_t begin, off_t size) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = begin;
  lock.l_len = size;
  return lock;
}

off_t shared_byte(int range) { return kFirstRange + range * kRangeSize; }

// A lock that keeps this opener from setting one of that type.
bool held_against(int descriptor, short type, off_t begin, off_t size) {
  struct flock lock = lock_on(type, begin, size);
  return fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

// The ranges, one bit each, in which an open file, by its entry in /proc, has a
// claim's shared lock.
unsigned shared_locks(const char* facts_path) {
  FILE* const facts = fopen(facts_path, "re");
  if (facts == nullptr) return 0;
  unsigned ranges = 0;
  char line[256];
  while (fgets(line, sizeof line, facts) != nullptr) {
    long long begin, end;
    if (sscanf(line, "lock: %*d: OFDLCK %*s READ %*d %*s %lld %lld", &begin, &end) != 2) continue;
    for (int range = 0; range < kRanges; ++range) {
      if (begin == shared_byte(range) && end == begin) ranges |= 1u << range;
    }
  }
  fclose(facts);
  return ranges;
}

// Whether the process has such a lock on the file by a descriptor other than
// `except`.
bool process_holds(const char* process, const struct stat& file, unsigned wanted, int except) {
  char path[64];
  snprintf(path, sizeof path, "/proc/%.20s/fd", process);
  DIR* const descriptors = opendir(path);
  if (descriptors == nullptr) return false;
  bool held = false;
  while (const dirent* const entry = held ? nullptr : readdir(descriptors)) {
    struct stat facts;
    if (atoi(entry->d_name) == except ||
        fstatat(dirfd(descriptors), entry->d_name, &facts, 0) != 0 || facts.st_ino != file.st_ino ||
        facts.st_dev != file.st_dev) {
      continue;
    }
    snprintf(path, sizeof path, "/proc/%.20s/fdinfo/%.20s", process, entry->d_name);
    held = (shared_locks(path) & wanted) != 0;
  }
  closedir(descriptors);
  return held;
}

// By the user that the process runs as: its entry in /proc may belong to root
// all the same.
bool is_same_users(const char* process) {
  char path[64], line[256];
  snprintf(path, sizeof path, "/proc/%.20s/status", process);
  FILE* const facts = fopen(path, "re");
  if (facts == nullptr) return false;
  unsigned real = ~geteuid(), effective = real;
  while (fgets(line, sizeof line, facts) != nullptr) {
    if (sscanf(line, "Uid: %u %u", &real, &effective) == 2) break;
  }
  fclose(facts);
  return real == geteuid() && effective == real;
}

// Where the system shows no processes, none holds a lock.
bool held_by_same_user(int descriptor, unsigned wanted) {
  struct stat file;
  if (fstat(descriptor, &file) != 0) return false;
  if (process_holds("self", file, wanted, descriptor)) return true;
  DIR* const processes = opendir("/proc");
  if (processes == nullptr) return false;
  bool held = false;
  while (const dirent* const entry = held ? nullptr : readdir(processes)) {
    const int id = atoi(entry->d_name);
    held = id > 0 && id != getpid() && process_holds(entry->d_name, file, wanted, -1) &&
           is_same_users(entry->d_name);
  }
  closedir(processes);
  return held;
}

// True if another opener's claim has a lock in one of these ranges.
bool held_by_other(int descriptor, unsigned wanted) {
  bool shared = false;
  for (int range = 0; range < kRanges;) {
    int count = 0;  // of adjacent wanted ranges, queried together
    while ((wanted >> (range + count) & 1) != 0) ++count;
    const off_t begin = shared_byte(range), size = count * kRangeSize;
    if (count > 0 && held_against(descriptor, F_RDLCK, begin, size)) return true;
    shared = shared || (count > 0 && held_against(descriptor, F_WRLCK, begin, size));
    range += count + 1;
  }
  return shared && held_by_same_user(descriptor, wanted);
}

bool contradicted(int descriptor, const FileUse& use) {
  unsigned wanted = 0;
  for (const auto& rule : kRules) {
    if (use.*rule.member) wanted |= rule.contradicts;
  }
  return held_by_other(descriptor, wanted);
}

// False if the lock is refused.
bool set_lock(int descriptor, short type, off_t byte) {
  struct flock lock = lock_on(type, byte, 1);
  return fcntl(descriptor, F_OFD_SETLK, &lock) == 0 || (errno != EAGAIN && errno != EACCES);
}

// Locks a byte of the range for this opener: exclusively, a byte that nobody
// else has, if it may write the file; else the shared one. False if an
// exclusive lock of another program is in the way. A writer in whose way a
// shared lock is goes without a lock, as a shared lock must not be able to keep
// it out.
bool lock_in(int descriptor, int range, unsigned* seed) {
  const int access = fcntl(descriptor, F_GETFL) & O_ACCMODE;
  const off_t shared = shared_byte(range);
  if (access != O_RDONLY && set_lock(descriptor, F_WRLCK, shared + 1 + rand_r(seed))) return true;
  if (access != O_WRONLY && set_lock(descriptor, F_RDLCK, shared)) return true;
  return !held_against(descriptor, F_RDLCK, shared, kRangeSize);
}

void unlock_all(int descriptor) {
  struct flock lock = lock_on(F_UNLCK, kFirstRange, kRanges * kRangeSize);
  fcntl(descriptor, F_OFD_SETLK, &lock);
}

unsigned seed_of(int descriptor) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<unsigned>(now.tv_nsec) ^ static_cast<unsigned>(getpid()) << 16 ^
         static_cast<unsigned>(descriptor);
}

}  // namespace

bool claim_file(int descriptor, const FileUse& use) {
  constexpr int kAttempts = 16;
  constexpr unsigned kLongestWait = 2'000'000;  // nanoseconds
  unsigned seed = seed_of(descriptor);
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    bool locked = true;
    for (const auto& rule : kRules) {
      locked = locked && (!(use.*rule.member) || lock_in(descriptor, rule.range, &seed));
    }
    if (locked && !contradicted(descriptor, use)) return true;
    unlock_all(descriptor);
    // Of two openers at the same moment both give way, but only one can still
    // find the other's locks: the other one succeeds when it tries again.
    if (!locked || contradicted(descriptor, use)) return false;
    const timespec wait{0, static_cast<long>(static_cast<unsigned>(rand_r(&seed)) % kLongestWait)};
    nanosleep(&wait, nullptr);
  }
  return false;
}

bool deletion_is_denied(int descriptor) { return held_by_other(descriptor, 1u << kDeniesDeletion); }

}  // namespace tarn::platform
