// Parallel tasks: processes that meet at barriers in a region of memory that they
// share. The contract is include/tarn/parallel.h. The first process is the master;
// it starts the slaves, each with its number in the environment variable
// merle_parallel_id. A process that a task has started is not a task, although it
// has inherited the variable: it begins a run of its own.
//
// State: one run a process. The region:
//
//   0     63 + 1 flags of a byte: task k has arrived at the barrier, and waits
//   64    8 bytes: 1182 while the run is alive; otherwise every task leaves at
//         its next barrier, by ExitProcess(0), or 1 where a task was lost
//   72    the broadcast area, 4, 8 or up to 1,024 bytes
//   128   to the end: memory for allocate_auto_shared_memory
//
// A thread in each task watches others: the master's its slaves, a slave's the
// master. It records one that has ended, and a task that reaches a barrier at which
// that one is missing leaves with status 1; the first reports it on standard error.
#pragma once

#include "include/tarn/parallel.h"
#include "platform/platform.h"

namespace tarn {

// The flags end where the control word begins.
inline constexpr std::int32_t kMostSlaves = 63;
inline constexpr std::int64_t kParallelMemorySize = 4096;

// ---- Processors and processes -----------------------------------------------------

// What GETPROCESSORCOUNTS@ counts in `count` records.
void count_processors(const platform::LogicalProcessorRecord* records, std::uint64_t count,
                      std::int32_t* cores, std::int32_t* logical);

}  // namespace tarn
