// A claim is a set of locks on bytes far behind the end of any file, one range
// of bytes for each thing an opener does or denies. The locks belong to the
// open file description, so they tell two openers in one process apart, and end
// with it, however the process ends. They never exclude each other: an opener
// first sets its own and then looks whether someone else has a lock in a range
// that contradicts. A file system without locks has no share modes.

#include "platform/posix/file_claims.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

namespace tarn::platform {
namespace {

// In an order that puts what an opener of its own looks for side by side.
enum Range : int { kDeniesReading, kReads, kWrites, kDeniesWriting, kDeniesDeletion, kRanges };

constexpr off_t kFirstRange = off_t{1} << 62;
constexpr off_t kRangeSize = off_t{1} << 32;

constexpr struct {
  bool FileUse::*member;
  Range range;
  unsigned contradicts;  // one bit a range
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

bool held_by_other(int descriptor, int range, int count) {
  struct flock lock = lock_on(F_WRLCK, kFirstRange + range * kRangeSize, count * kRangeSize);
  return fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

bool contradicted(int descriptor, const FileUse& use) {
  unsigned wanted = 0;
  for (const auto& rule : kRules) {
    if (use.*rule.member) wanted |= rule.contradicts;
  }
  for (int range = 0; range < kRanges;) {
    int count = 0;  // of wanted ranges side by side, asked for at once
    while ((wanted >> (range + count) & 1) != 0) ++count;
    if (count > 0 && held_by_other(descriptor, range, count)) return true;
    range += count + 1;
  }
  return false;
}

// A byte of the range for this opener. A descriptor that can't read can only
// have an exclusive lock, and so needs a byte that nobody else has.
void lock_in(int descriptor, int range, bool shared, unsigned* seed) {
  for (;;) {
    const off_t byte = shared ? 0 : 1 + rand_r(seed);
    struct flock lock =
        lock_on(shared ? F_RDLCK : F_WRLCK, kFirstRange + range * kRangeSize + byte, 1);
    if (fcntl(descriptor, F_OFD_SETLK, &lock) == 0 || (errno != EAGAIN && errno != EACCES)) return;
  }
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
  const bool shared = (fcntl(descriptor, F_GETFL) & O_ACCMODE) != O_WRONLY;
  unsigned seed = seed_of(descriptor);
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    for (const auto& rule : kRules) {
      if (use.*rule.member) lock_in(descriptor, rule.range, shared, &seed);
    }
    if (!contradicted(descriptor, use)) return true;
    unlock_all(descriptor);
    // Of two at the same moment both give way, but only one can find the
    // other's locks still there: the other one comes back.
    if (contradicted(descriptor, use)) return false;
    const timespec wait{0, static_cast<long>(static_cast<unsigned>(rand_r(&seed)) % kLongestWait)};
    nanosleep(&wait, nullptr);
  }
  return false;
}

bool deletion_is_denied(int descriptor) { return held_by_other(descriptor, kDeniesDeletion, 1); }

}  // namespace tarn::platform
