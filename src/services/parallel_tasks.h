// Parallel tasks: a program that runs as one master and a number of slaves, all
// processes, all started from the same command line. They meet at barriers in a
// region of memory that all processes of the run share, and no other process.
//
// The first process is the master. GetParallelTaskID starts the slaves there,
// each with its number in the environment variable merle_parallel_id, and from
// then on master and slaves run the same code and branch on their number:
//
//   task = GetParallelTaskID(3);     // four tasks, 0 to 3
//   BROADCASTINTEGER_at(&size);      // all have the master's size
//   ...                              // each its part of the work
//   TASKSYNCHRONISE_at();            // all are done
//
// State: one run a process. The region:
//
//   0     63 + 1 flags of a byte: task k has arrived at the barrier, and waits
//   64    8 bytes: 1182 while the run is alive; otherwise every task leaves at
//         its next barrier, by ExitProcess(0), or 1 where a task was lost
//   72    the broadcast area, 4, 8 or up to 1,024 bytes
//   128   to the end: memory for allocate_auto_shared_memory
//
// Outside a run (before GetParallelTaskID) barriers and broadcasts do nothing.
//
// A barrier has no time limit, and it spins, so a run wants as many processors as
// tasks. A thread in each task watches others: the master's its slaves, a slave's
// the master. It records one that has ended, however it ended, and a task that
// reaches a barrier at which that one is missing leaves with status 1. The first reports it
// on standard error. Tasks that no longer wait for it are not affected.
//
// A process that a task has started is not a task, although it has inherited the
// variable: it begins a run of its own.
//
// Threads: one thread a process calls these routines.
#pragma once

#include "platform/platform.h"

namespace tarn {

// The flags end where the control word begins.
inline constexpr std::int32_t kMostSlaves = 63;
inline constexpr std::int64_t kParallelMemorySize = 4096;

// ---- A run --------------------------------------------------------------------

// Bytes of the region that the next GetParallelTaskID makes, 1 to 2^30, rounded
// up to whole pages; 4,096 without this call. All tasks must agree. After the
// last page an access faults.
TARNAPI void SetParallelTaskMemorySize(std::int64_t size);

// Begins a run, or joins it as a slave, and passes the first barrier: all tasks
// have come up. Result: the task's number, 0 for the master. `slaves` matters in
// the master only: below 1, none are started. A further call in a slave,
// or in a master that has slaves, is a barrier; in a master that has none, or has
// called TerminateParallelProcessing, it begins the next run, whose region is new
// unless its size is no larger and no task shared it.
// Raises 345, with a string that says why, for more than 63 slaves, a value of
// merle_parallel_id that is no slave's number, a region that cannot be made of
// the size asked for, a slave's number that cannot be put in the environment, a
// slave that cannot be started and a thread that cannot; no further slave is
// started then.
TARNAPI std::int32_t GetParallelTaskID(std::int32_t slaves);

// Stores this process's task number (-1: no parallel run, 0: the master, above
// 0: a slave) and, in the master, the number of slaves.
TARNAPI void GetParallelTaskStatus(std::int32_t* task, std::int32_t* count);

// 1 if merle_parallel_id is set, else 0. A master that has started slaves has
// it set too, and so have the programs that a task starts: ask before
// GetParallelTaskID.
TARNAPI std::int32_t IsSlaveProcess();

// Tells every task of the run to leave at its next barrier. Outside a parallel
// run it has nothing to do.
TARNAPI void TerminateParallelProcessing();

// The next `size` bytes of the region, or null outside a run. Not aligned, and
// not tested against the end of the region: all sizes together must stay below
// its size less 128. Tasks that make the same calls get the same offsets. A
// broadcast of more than 56 bytes overwrites the first 968 bytes returned:
// a program that uses both releases those by a first call with 968.
TARNAPI void* allocate_auto_shared_memory(std::int64_t size);

// ---- Meeting --------------------------------------------------------------------

// The barrier: returns once all tasks of the run have called it.
TARNAPI void TASKSYNCHRONISE_at();

// Each task makes the same call; all have the master's value afterwards. Two
// barriers.
TARNAPI void BROADCASTINTEGER_at(std::int32_t* value);
TARNAPI void BROADCASTDOUBLE_at(double* value);
// In pieces of 1,024 bytes, two barriers each. The count is 0 afterwards; one
// of 0 or below does nothing.
TARNAPI void BROADCASTBYTES_at(void* buffer, std::int32_t* count);

// ---- Processors and processes -----------------------------------------------------

// Cores, and the logical processors on them, that the program may use.
TARNAPI void GETPROCESSORCOUNTS_at(std::int32_t* cores, std::int32_t* logical);

// The logical processors; unless `power_of_two` is 0, cut to a power of two, at
// least 1.
TARNAPI std::int32_t RecommendedProcessorCount(std::int32_t power_of_two);

// Ends, with code 9, every process but this one whose program file has this
// name; capitals count as small letters. One that may not be ended is passed
// over. The name of a program image on the host is the image's.
TARNAPI void KillSlaves(const char* name);

// What GETPROCESSORCOUNTS@ counts in `count` records.
void count_processors(const platform::LogicalProcessorRecord* records, std::uint64_t count,
                      std::int32_t* cores, std::int32_t* logical);

}  // namespace tarn
