/* Parallel tasks: a program that runs as one master and a number of slaves, each a
 * process, all started from the same command line. They meet at barriers in
 * memory that only the processes of the run share.
 *
 *   int task = GetParallelTaskID(3);  four tasks, 0 (the master) to 3
 *   BROADCASTINTEGER(&size);          all have the master's size
 *   ...                               each does its part
 *   TASKSYNCHRONISE();                all are done
 *
 * Outside a run barriers and broadcasts do nothing. A barrier has no time limit,
 * and it spins, so a run needs as many processors as tasks. When a task has
 * ended, for whatever reason, tasks that reach a barrier at which it is missing
 * end too, with exit code 1; one line on standard error says which task it was.
 * Tasks that need not wait for it any more are not affected.
 *
 * A task may start programs that have parallel tasks themselves: each such run has
 * its own memory.
 *
 * All routines use the Microsoft x64 convention; one thread of a process may
 * call them. Names that C cannot spell are given by their link names. */
#ifndef TARN_PARALLEL_H
#define TARN_PARALLEL_H

#include <stdint.h>

#include "api.h"

TARN_API_BEGIN

/* ---- A run ---------------------------------------------------------------- */

/* Sets how many bytes of memory the next GetParallelTaskID shares, 1 to 2^30,
 * rounded up to whole pages; 4,096 without this call. All tasks must agree. An access
 * after the last page is reported as a fault. */
TARNAPI void SetParallelTaskMemorySize(int64_t size);

/* Begins a run, or joins it as a slave, and waits until all tasks have started.
 * Result: the task's number, 0 for the master. Only the master uses `slaves`; if it
 * is below 1, none are started. A further call in a slave, or in a
 * master that has slaves, is a barrier; in a master that has no slaves, or has
 * called TerminateParallelProcessing, it begins the next run, whose memory is new
 * unless the size is no larger and nobody shared it. Raises 345, with a text that
 * says why, for more than 63 slaves, or if the memory cannot be allocated, the
 * environment is full or a slave cannot be started; no further slave is
 * started then. */
TARNAPI int GetParallelTaskID(int slaves);

/* Stores the task's number (-1: no run), and the number of slaves in the master, 0
 * in a slave. */
TARNAPI void GetParallelTaskStatus(int* task, int* count);

/* 1 in a slave, else 0. Call it before GetParallelTaskID: it also returns 1 in a
 * master that has started slaves, and in a program that a task has started. */
TARNAPI int IsSlaveProcess(void);

/* Makes every task end at its next barrier, at once, with exit code 0. */
TARNAPI void TerminateParallelProcessing(void);

/* Returns the next `size` bytes of the shared memory, or null outside a run. They
 * are not aligned, and the end is not checked: all sizes together must stay below
 * the memory's size less 128. Tasks that make the same calls get the same places. A
 * broadcast of more than 56 bytes overwrites the first 968 bytes returned: a
 * program that uses both should make a first call with 968 and not use the result. */
TARNAPI void* allocate_auto_shared_memory(int64_t size);

/* ---- Meeting --------------------------------------------------------------- */

/* The barrier: returns once all tasks of the run have called it. */
TARNAPI void TASKSYNCHRONISE(void) TARN_LINK_NAME("TASKSYNCHRONISE@");

/* Each task makes the same call; all have the master's value afterwards. */
TARNAPI void BROADCASTINTEGER(int* value) TARN_LINK_NAME("BROADCASTINTEGER@");
TARNAPI void BROADCASTDOUBLE(double* value) TARN_LINK_NAME("BROADCASTDOUBLE@");
/* Broadcasts *count bytes, none for a count below 0, and sets *count to 0. */
TARNAPI void BROADCASTBYTES(void* buffer, int* count) TARN_LINK_NAME("BROADCASTBYTES@");

/* ---- Processors and processes ------------------------------------------------ */

/* Stores how many cores, and logical processors on them, the program may use. */
TARNAPI void GETPROCESSORCOUNTS(int* cores, int* logical) TARN_LINK_NAME("GETPROCESSORCOUNTS@");

/* The number of logical processors, at least 1; unless `power_of_two` is 0, rounded
 * down to a power of two. */
TARNAPI int RecommendedProcessorCount(int power_of_two);

/* Ends, with code 9, every other process whose program file has this name, without
 * its folder and in any case. Processes that may not be ended are skipped. */
TARNAPI void KillSlaves(const char* name);

TARN_API_END

#endif
