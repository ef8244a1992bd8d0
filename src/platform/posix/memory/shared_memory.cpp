// Memory of one run: one anonymous memory file, with a directory of names in
// its first page and the blocks after it. It has no path; the system frees it
// with its last descriptor. The environment variable that children inherit
// holds "pid:descriptor:token" of a process that has it open. A child uses the
// descriptor that it inherited itself, or opens that of the announced process;
// in both cases the token in the directory proves that it is the run's file,
// and not something that got the same number later. Then it announces itself,
// so that its own children don't depend on a process that may end first.

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

constexpr std::uint64_t kPageSize = 4096;
constexpr std::uint64_t kMagic = 0x314D454D4E555254;  // "TRUNMEM1"

struct Entry {
  char name[kRunMemoryNameSize];
  std::uint64_t offset, size;  // whole pages
};

struct Directory {
  std::uint64_t magic, token;
  std::uint64_t end;  // of the last block
  std::uint32_t count, reserved;
  Entry entries[kRunMemoryNames];
};
static_assert(sizeof(Directory) <= kPageSize);

// No other mapping comes this close after the memory, as on Windows, whose
// address space has steps of this size.
constexpr std::uint64_t kGuardSize = 65536;

Directory* directory;
int run_file = -1;
char announced[64];             // the environment variable's value for this run
void* mapped[kRunMemoryNames];  // this process's view of each entry

void announce(int file, std::uint64_t token) {
  snprintf(announced, sizeof announced, "%d:%d:%016llx", static_cast<int>(getpid()), file,
           static_cast<unsigned long long>(token));
  SetEnvironmentVariableA(kRunMemoryVariable, announced);
}

bool holds_run(int file, std::uint64_t token) {
  struct stat facts;
  std::uint64_t head[2];
  return fstat(file, &facts) == 0 && S_ISREG(facts.st_mode) &&
         facts.st_size >= static_cast<off_t>(kPageSize) &&
         pread(file, head, sizeof head, 0) == sizeof head && head[0] == kMagic && head[1] == token;
}

bool map_directory(int file) {
  void* const page = mmap(nullptr, kPageSize, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  if (page == MAP_FAILED) return false;
  directory = static_cast<Directory*>(page);
  run_file = file;
  return true;
}

bool join_run(const char* value) {
  int pid, file;
  unsigned long long token;
  if (sscanf(value, "%d:%d:%llx", &pid, &file, &token) != 3 || pid <= 0 || file < 0) return false;

  if (!holds_run(file, token)) {
    char path[64];
    snprintf(path, sizeof path, "/proc/%d/fd/%d", pid, file);
    struct stat facts;
    if (stat(path, &facts) != 0 || !S_ISREG(facts.st_mode)) return false;
    file = open(path, O_RDWR | O_NONBLOCK);
    if (file < 0) return false;
    if (!holds_run(file, token)) {
      close(file);
      return false;
    }
  }
  if (!map_directory(file)) return false;
  announce(file, token);
  return true;
}

// The descriptor stays open across exec, for the children.
bool begin_run() {
  std::uint64_t token;
  if (getrandom(&token, sizeof token, 0) != sizeof token) return false;
  const int file = memfd_create("tarn_run_memory", 0);
  if (file < 0) return false;
  if (ftruncate(file, kPageSize) != 0 || !map_directory(file)) {
    close(file);
    return false;
  }
  directory->magic = kMagic;
  directory->token = token;
  directory->end = kPageSize;
  announce(file, token);
  return true;
}

// A record lock belongs to the process and ends with it, so a killed process
// never leaves the directory locked.
bool set_lock(short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  int result;
  do {
    result = fcntl(run_file, F_SETLKW, &lock);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

// Index of the name's entry, which is made if necessary; -1 if it can't be.
int find_entry(const char* name, std::uint64_t size) {
  if (directory->count > kRunMemoryNames) return -1;
  std::uint32_t i = 0;
  while (i < directory->count && strcmp(directory->entries[i].name, name) != 0) ++i;
  if (i < directory->count) return directory->entries[i].size >= size ? static_cast<int>(i) : -1;
  if (i == kRunMemoryNames) return -1;
  const std::uint64_t end = directory->end + size;
  if (ftruncate(run_file, static_cast<off_t>(end)) != 0) return -1;
  Entry& entry = directory->entries[i];
  strcpy(entry.name, name);
  entry.offset = directory->end;
  entry.size = size;
  directory->end = end;
  directory->count = i + 1;
  return static_cast<int>(i);
}

void forget_run() {
  if (directory != nullptr) {
    munmap(directory, kPageSize);
    close(run_file);
  }
  directory = nullptr;
  run_file = -1;
  memset(mapped, 0, sizeof mapped);
}

// The run that the environment names, or a new one. The process stays in its
// run if the environment cannot be read.
bool enter_run() {
  char value[sizeof announced] = "";
  const std::uint32_t length = GetEnvironmentVariableA(kRunMemoryVariable, value, sizeof value);
  const bool unread = length == 0 && GetLastError() != kErrorEnvironmentVariableNotFound;
  if (length >= sizeof value) value[0] = '\0';
  if (directory != nullptr && (unread || strcmp(value, announced) == 0)) return true;
  forget_run();
  return join_run(value) || begin_run();
}

bool usable_name(const char* name) {
  if (name == nullptr) return false;
  const std::size_t length = strnlen(name, kRunMemoryNameSize);
  return length > 0 && length < kRunMemoryNameSize && strchr(name, '\\') == nullptr;
}

}  // namespace

// By the token; what is before it is of the process that announced the run.
bool name_one_run(const char* value, const char* other) {
  const auto token = [](const char* name) {
    const char* const colon = strrchr(name, ':');
    return colon != nullptr ? colon : name;
  };
  return strcmp(token(value), token(other)) == 0;
}

void* OpenRunSharedMemory(const char* name, std::uint64_t size) {
  if (!usable_name(name) || size == 0 || size > kRunMemoryLimit) {
    fail(kErrorInvalidParameter);
    return nullptr;
  }
  size = (size + kPageSize - 1) & ~(kPageSize - 1);
  survive_refused_writes();
  if (!enter_run()) {
    fail(kErrorNotEnoughMemory);
    return nullptr;
  }
  if (!set_lock(F_WRLCK)) {
    fail(kErrorAccessDenied);
    return nullptr;
  }
  const int index = find_entry(name, size);
  set_lock(F_UNLCK);
  if (index < 0) {
    fail(kErrorNotEnoughMemory);
    return nullptr;
  }

  void*& address = mapped[index];
  if (address == nullptr) {
    const Entry& entry = directory->entries[index];
    const std::uint64_t reserved = entry.size + kGuardSize;
    void* const view = mmap(nullptr, reserved, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (view == MAP_FAILED) {
      fail(kErrorNotEnoughMemory);
      return nullptr;
    }
    if (mmap(view, entry.size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, run_file,
             static_cast<off_t>(entry.offset)) == MAP_FAILED) {
      munmap(view, reserved);
      fail(kErrorNotEnoughMemory);
      return nullptr;
    }
    address = view;
  }
  return address;
}

}  // namespace tarn::platform
