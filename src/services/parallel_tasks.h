// Parallel tasks: a program that runs as one master and a number of slaves.
#pragma once

#include "platform/abi.h"

namespace tarn {

// Stores this process's task number (-1: no parallel run, 0: the master, above
// 0: a slave) and, in the master, the number of slaves.
TARNAPI void GetParallelTaskStatus(std::int32_t* task, std::int32_t* count);

// Tells every task of the run to leave at its next barrier. Outside a parallel
// run it has nothing to do.
TARNAPI void TerminateParallelProcessing();

}  // namespace tarn
