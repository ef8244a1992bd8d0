/* Parallel tasks: a program that runs as one master and a number of slaves, all
 * processes, all started from the same command line. They meet at barriers in
 * memory that all processes of the run share, and no other process.
 *
 *   int task = GetParallelTaskID(3);  four tasks, 0 (the master) to 3
 *   BROADCASTINTEGER(&size);          all have the master's size
 *   ...                               each does its part
 *   TASKSYNCHRONISE();                all are done
 *
 * Outside a run barriers and broadcasts do nothing. A barrier has no time limit,
 * and it spins, so a run needs as many processors as tasks. Where a task has
 * ended, however it ended, those that come to a barrier at which it is missing
 * end too, with exit code 1; one line on standard error says which task it was.
 * Those that no longer wait for it are not affected.
 *
 * A task may run programs that are teams themselves: each has memory of its own.
 *
 * All routines use the Microsoft x64 convention; one thread of a process may
 * call them. Names that C cannot spell are given by their link names. */
#ifndef TARN_PARALLEL_H
#define TARN_PARALLEL_H

#include <stdint.h>

#include "api.h"

TARN_API_BEGIN

/* ---- A run ---------------------------------------------------------------- */

/* Bytes of memory that the next GetParallelTaskID shares, 1 to 2^30, in whole
 * pages; 4,096 without this call. All tasks must agree. After the last page an
 * access is reported as a fault. */
TARNAPI void SetParallelTaskMemorySize(int64_t size);

/* Begins a run, or joins it as a slave, and waits until all tasks have come up.
 * Result: the task's number, 0 for the master. `slaves` is looked at in the
 * master alone: below 1, none are started. A further call in a slave, or in a
 * master that has slaves, is a barrier; in a master that has no slaves, or has
 * called TerminateParallelProcessing, it begins the next run, whose memory is new
 * unless the size is no larger and nobody shared it. Raises 345, with a text that
 * says why, for more than 63 slaves, memory that cannot be had, an environment
 * that takes no more and a slave that cannot be started; no further slave is
 * started then. */
TARNAPI int GetParallelTaskID(int slaves);

/* The task's number (-1: no run), and in the master the number of slaves, in a
 * slave 0. */
TARNAPI void GetParallelTaskStatus(int* task, int* count);

/* 1 in a slave, else 0. Ask before GetParallelTaskID: a master that has started
 * slaves returns 1 too, and so does a program that a task has started. */
TARNAPI int IsSlaveProcess(void);

/* Every task leaves at its next barrier, with exit code 0, at once. */
TARNAPI void TerminateParallelProcessing(void);

/* The next `size` bytes of the shared memory, or null outside a run. Not
 * aligned, and not tested against its end: all sizes together must stay below
 * its size less 128. Tasks that make the same calls get the same places. A
 * broadcast of more than 56 bytes writes over the first 968 bytes handed out: a
 * program that uses both gives those up by a first call with 968. */
TARNAPI void* allocate_auto_shared_memory(int64_t size);

/* ---- Meeting --------------------------------------------------------------- */

/* The barrier: comes back once all tasks of the run have called it. */
TARNAPI void TASKSYNCHRONISE(void) TARN_LINK_NAME("TASKSYNCHRONISE@");

/* Each task makes the same call; all have the master's value afterwards. */
TARNAPI void BROADCASTINTEGER(int* value) TARN_LINK_NAME("BROADCASTINTEGER@");
TARNAPI void BROADCASTDOUBLE(double* value) TARN_LINK_NAME("BROADCASTDOUBLE@");
/* The count is 0 afterwards; one of 0 or below does nothing. */
TARNAPI void BROADCASTBYTES(void* buffer, int* count) TARN_LINK_NAME("BROADCASTBYTES@");

/* ---- Processors and processes ------------------------------------------------ */

/* Cores, and the logical processors on them, that the program may use. */
TARNAPI void GETPROCESSORCOUNTS(int* cores, int* logical) TARN_LINK_NAME("GETPROCESSORCOUNTS@");

/* The logical processors; unless `power_of_two` is 0, cut to a power of two, at
 * least 1. */
TARNAPI int RecommendedProcessorCount(int power_of_two);

/* Ends, with code 9, every process but this one whose program file has this
 * name, without its folder; capitals count as small letters. One that may not
 * be ended is passed over. */
TARNAPI void KillSlaves(const char* name);

TARN_API_END

#endif
