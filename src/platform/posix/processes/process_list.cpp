// The processes of the system, from /proc.

#include <ctype.h>
#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/loader/loader.h"
#include "platform/posix/processes/child_processes.h"
#include "platform/posix/processes/processes.h"
#include "platform/posix/processes/program_start.h"

namespace tarn::platform {
namespace {

constexpr std::size_t kArgumentsSize = kCommandLineSize + kPathSize + 256;

// A growing list. `arguments` has room for a process's arguments while it is made.
struct Snapshot {
  std::size_t count, room, next;
  ProcessEntry* entries;
  char* arguments;
  struct stat runner;  // the file of this executable
};

void free_snapshot(Snapshot* snapshot) {
  free(snapshot->entries);
  free(snapshot->arguments);
  free(snapshot);
}

// Bytes read, 0 if there are none, with a NUL after them.
std::size_t read_whole(const char* path, char* buffer, std::size_t size) {
  buffer[0] = '\0';
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  std::size_t used = 0;
  for (ssize_t got = 1; got > 0 && used < size - 1; used += static_cast<std::size_t>(got)) {
    got = read(file, buffer + used, size - 1 - used);
    if (got < 0) break;
  }
  close(file);
  buffer[used] = '\0';
  return used;
}

void set_name(ProcessEntry* entry, const char* path) {
  snprintf(entry->file_name, sizeof entry->file_name, "%s", base_name(path));
}

// The program that a runner was given, among its arguments; null without one.
const char* program_of_runner(const char* arguments, std::size_t size) {
  const char* const end = arguments + size;
  const char* argument = arguments + strlen(arguments) + 1;
  if (argument < end && strcmp(argument, kCommandLineOption) == 0) {
    argument += sizeof kCommandLineOption;
    if (argument < end) argument += strlen(argument) + 1;
  }
  return argument < end ? argument : nullptr;
}

bool is_runner(const Snapshot& snapshot, const char* link, const char* target) {
  struct stat facts;
  if (stat(link, &facts) == 0 && facts.st_dev == snapshot.runner.st_dev &&
      facts.st_ino == snapshot.runner.st_ino) {
    return has_program();
  }
  return strcmp(base_name(target), "tarnrun") == 0;
}

// False for a process that is gone or has ended.
bool describe(Snapshot* snapshot, const char* id, ProcessEntry* entry) {
  char path[64], status[512], target[kPathSize];
  snprintf(path, sizeof path, "/proc/%s/stat", id);
  read_whole(path, status, sizeof status);
  char* const name = strchr(status, '(');
  char* const name_end = strrchr(status, ')');
  if (!name || !name_end) return false;
  char state;
  int parent, threads;
  if (sscanf(name_end + 1, " %c %d %*d %*d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %d",
             &state, &parent, &threads) != 3 ||
      state == 'Z' || state == 'X') {
    return false;
  }
  *name_end = '\0';
  *entry = ProcessEntry{};
  entry->length = sizeof *entry;
  entry->process_id = static_cast<std::uint32_t>(strtoul(id, nullptr, 10));
  entry->parent_id = static_cast<std::uint32_t>(parent);
  entry->thread_count = static_cast<std::uint32_t>(threads);
  set_name(entry, name + 1);  // cut at 15 bytes; another user's process shows no more

  snprintf(path, sizeof path, "/proc/%s/exe", id);
  const ssize_t length = readlink(path, target, sizeof target - 1);
  if (length <= 0) return true;
  target[length] = '\0';
  set_name(entry, target);
  if (!is_runner(*snapshot, path, target)) return true;
  snprintf(path, sizeof path, "/proc/%s/cmdline", id);
  const std::size_t size = read_whole(path, snapshot->arguments, kArgumentsSize);
  const char* const program = program_of_runner(snapshot->arguments, size);
  if (program) set_name(entry, program);
  return true;
}

ProcessEntry* room_for_entry(Snapshot* snapshot) {
  if (snapshot->count == snapshot->room) {
    const std::size_t room = snapshot->room ? 2 * snapshot->room : 128;
    auto* const larger =
        static_cast<ProcessEntry*>(realloc(snapshot->entries, room * sizeof(ProcessEntry)));
    if (!larger) return nullptr;
    snapshot->entries = larger;
    snapshot->room = room;
  }
  return &snapshot->entries[snapshot->count];
}

bool list_processes(Snapshot* snapshot) {
  DIR* const processes = opendir("/proc");
  if (!processes) {
    fail_by_errno();
    return false;
  }
  bool good = true;
  for (const dirent* item; good && (item = readdir(processes)) != nullptr;) {
    if (!isdigit(static_cast<unsigned char>(item->d_name[0]))) continue;
    ProcessEntry* const entry = room_for_entry(snapshot);
    if (!entry) {
      fail(kErrorNotEnoughMemory);
      good = false;
    } else if (describe(snapshot, item->d_name, entry)) {
      ++snapshot->count;
    }
  }
  closedir(processes);
  return good;
}

Bool give_next(Handle handle, ProcessEntry* entry, bool from_start) {
  const OpenObject* const object = find_handle(handle, HandleKind::kSnapshot);
  if (!object) return 0;
  if (entry->length < sizeof *entry) return fail(kErrorInsufficientBuffer);
  auto* const snapshot = static_cast<Snapshot*>(object->record);
  if (from_start) snapshot->next = 0;
  if (snapshot->next == snapshot->count) return fail(kErrorNoMoreFiles);
  *entry = snapshot->entries[snapshot->next++];
  return 1;
}

}  // namespace

// Only the processes, whatever the flags ask for.
Handle CreateToolhelp32Snapshot(std::uint32_t, std::uint32_t) {
  auto* const snapshot = static_cast<Snapshot*>(calloc(1, sizeof(Snapshot)));
  if (!snapshot) {
    fail(kErrorNotEnoughMemory);
    return invalid_handle();
  }
  snapshot->arguments = static_cast<char*>(malloc(kArgumentsSize));
  if (stat("/proc/self/exe", &snapshot->runner) != 0) snapshot->runner = {};
  if (!snapshot->arguments) fail(kErrorNotEnoughMemory);
  const bool good = snapshot->arguments && list_processes(snapshot);
  const Handle handle =
      good ? add_handle({HandleKind::kSnapshot, -1, false, false, false, snapshot}) : nullptr;
  if (handle) return handle;
  free_snapshot(snapshot);
  return invalid_handle();
}

Bool Process32First(Handle snapshot, ProcessEntry* entry) {
  return give_next(snapshot, entry, true);
}

Bool Process32Next(Handle snapshot, ProcessEntry* entry) {
  return give_next(snapshot, entry, false);
}

Bool close_snapshot(Handle handle) {
  const OpenObject object = remove_handle(handle, HandleKind::kSnapshot);
  if (object.kind == HandleKind::kFree) return 0;
  free_snapshot(static_cast<Snapshot*>(object.record));
  return 1;
}

}  // namespace tarn::platform
