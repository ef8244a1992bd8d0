// The processors that a process may use: each of its threads has a mask of its own on
// the host. Those of the system are the ones that this process could use at first.

#include <dirent.h>
#include <errno.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/processes/child_processes.h"

namespace tarn::platform {
namespace {

constexpr unsigned kMostProcessors = 64;

// 0 if the thread is gone.
std::uint64_t mask_of(pid_t thread) {
  cpu_set_t usable;
  CPU_ZERO(&usable);
  std::uint64_t mask = 0;
  if (sched_getaffinity(thread, sizeof usable, &usable) != 0) return 0;
  for (unsigned i = 0; i < kMostProcessors; ++i) {
    if (CPU_ISSET(i, &usable)) mask |= std::uint64_t{1} << i;
  }
  return mask;
}

const std::uint64_t present_processors = mask_of(0);

}  // namespace

Bool GetProcessAffinityMask(Handle process, std::uint64_t* usable, std::uint64_t* present) {
  const int id = host_id(process);
  if (id < 0) return 0;
  *usable = mask_of(id);
  *present = present_processors;
  return *usable != 0 ? 1 : fail(kErrorAccessDenied);
}

Bool SetProcessAffinityMask(Handle process, std::uint64_t usable) {
  const int id = host_id(process);
  if (id < 0) return 0;
  if (usable == 0 || (usable & ~present_processors) != 0) return fail(kErrorInvalidParameter);
  cpu_set_t set;
  CPU_ZERO(&set);
  for (unsigned i = 0; i < kMostProcessors; ++i) {
    if ((usable >> i & 1) != 0) CPU_SET(i, &set);
  }
  char path[64];
  snprintf(path, sizeof path, "/proc/%d/task", id);
  DIR* const threads = opendir(path);
  if (threads == nullptr) return fail_by_errno();
  bool set_all = true;
  while (const dirent* const thread = readdir(threads)) {
    const int number = atoi(thread->d_name);  // 0 for "." and ".."
    if (number == 0 || sched_setaffinity(number, sizeof set, &set) == 0) continue;
    set_all = set_all && errno == ESRCH;
  }
  closedir(threads);
  return set_all ? 1 : fail(kErrorAccessDenied);
}

}  // namespace tarn::platform
