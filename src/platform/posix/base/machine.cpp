// The processors that this process may use, grouped by core. Like one group of
// processors on Windows they are 64 at most.

#include <sched.h>
#include <stdio.h>

#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

constexpr unsigned kMostProcessors = 64;

std::uint64_t bit(unsigned processor) { return std::uint64_t{1} << processor; }

std::uint64_t usable_processors() {
  cpu_set_t usable;
  CPU_ZERO(&usable);
  if (sched_getaffinity(0, sizeof usable, &usable) != 0) CPU_SET(0, &usable);
  std::uint64_t mask = 0;
  for (unsigned i = 0; i < kMostProcessors; ++i) {
    if (CPU_ISSET(i, &usable)) mask |= bit(i);
  }
  return mask;
}

// The processors of the core that `processor` belongs to: "0,4" or "0-1".
// Itself alone where the system doesn't tell.
std::uint64_t core_of(unsigned processor) {
  char path[96];
  snprintf(path, sizeof path, "/sys/devices/system/cpu/cpu%u/topology/thread_siblings_list",
           processor);
  std::uint64_t mask = bit(processor);
  FILE* const list = fopen(path, "re");
  if (!list) return mask;
  unsigned first, last;
  while (fscanf(list, "%u", &first) == 1) {
    last = first;
    int next = fgetc(list);
    if (next == '-') {
      if (fscanf(list, "%u", &last) != 1) break;
      next = fgetc(list);
    }
    for (unsigned i = first; i <= last && i < kMostProcessors; ++i) mask |= bit(i);
    if (next != ',') break;
  }
  fclose(list);
  return mask;
}

}  // namespace

Status GetLogicalProcessorInformation(LogicalProcessorRecord* records, std::uint32_t* length) {
  const std::uint64_t usable = usable_processors();
  std::uint64_t cores[kMostProcessors];
  std::uint32_t count = 0;
  std::uint64_t seen = 0;
  for (unsigned i = 0; i < kMostProcessors; ++i) {
    if (!(usable & bit(i)) || seen & bit(i)) continue;
    cores[count] = core_of(i) & usable & ~seen;
    seen |= cores[count++];
  }
  const std::uint32_t room = *length;
  *length = count * static_cast<std::uint32_t>(sizeof *records);
  if (room < *length) return fail(kErrorInsufficientBuffer);
  for (std::uint32_t i = 0; i < count; ++i) {
    records[i] = LogicalProcessorRecord{};
    records[i].processor_mask = cores[i];
    records[i].flags = (cores[i] & (cores[i] - 1)) != 0;
  }
  return 1;
}

}  // namespace tarn::platform
