#include "platform/posix/loader/carried.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <strings.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/carried_files.h"

namespace tarn::platform {
namespace {

// Filled in after this is compiled.
[[gnu::used]] const volatile CarriedRecord own_record = empty_carried_record();

const std::uint8_t* carried;
std::uint64_t carried_size, carried_count;

CarriedEntry entry_at(std::uint64_t index) {
  CarriedEntry entry;
  memcpy(&entry, carried + sizeof carried_count + index * sizeof entry, sizeof entry);
  return entry;
}

FileBytes bytes_of(const CarriedEntry& entry) {
  return {carried + entry.begin, entry.size, entry.size, -1};
}

bool check_entries() {
  if (carried_size < sizeof carried_count) return false;
  memcpy(&carried_count, carried, sizeof carried_count);
  if (carried_count == 0 || carried_count > kMostCarried) return false;
  const std::uint64_t begin = sizeof carried_count + carried_count * sizeof(CarriedEntry);
  if (begin > carried_size) return false;
  for (std::uint64_t i = 0; i < carried_count; ++i) {
    const CarriedEntry entry = entry_at(i);
    if (!memchr(entry.name, '\0', sizeof entry.name) || strpbrk(entry.name, "/\\:")) return false;
    if (entry.begin < begin || entry.begin > carried_size) return false;
    if (entry.size == 0 || entry.size > carried_size - entry.begin) return false;
  }
  return true;
}

}  // namespace

bool carries_program() { return own_record.size != 0; }

bool open_carried(LoadError* error) {
  const std::uint64_t begin = own_record.begin, size = own_record.size;
  const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  struct stat facts;
  if (file < 0 || fstat(file, &facts) != 0) {
    refuse(error, "cannot read itself: %s", strerror(errno));
    if (file >= 0) close(file);
    return false;
  }
  const auto whole = static_cast<std::uint64_t>(facts.st_size);
  bool good = true;
  if (begin % kCarriedUnit != 0) {
    good = refuse(error, "is damaged: the position of its program is wrong");
  } else if (begin > whole || size > whole - begin) {
    good = refuse(error, "is cut off: the file ends before its program does");
  } else {
    // Nobody writes to the file of a program that runs.
    void* const mapped =
        mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, file, static_cast<off_t>(begin));
    if (mapped == MAP_FAILED) {
      good = refuse(error, "cannot read itself: %s", strerror(errno));
    } else {
      carried = static_cast<const std::uint8_t*>(mapped);
      carried_size = size;
      good = (carried_sum(carried, size) == own_record.sum && check_entries()) ||
             refuse(error, "is damaged: its program does not match its checksum");
    }
  }
  close(file);
  return good;
}

bool carried_program(FileBytes* file) {
  if (carried_count == 0) return false;
  *file = bytes_of(entry_at(0));
  return true;
}

bool carried_library(const char* name, FileBytes* file) {
  for (std::uint64_t i = 1; i < carried_count; ++i) {
    const CarriedEntry entry = entry_at(i);
    if (strcasecmp(entry.name, name) != 0) continue;
    *file = bytes_of(entry);
    return true;
  }
  return false;
}

}  // namespace tarn::platform
