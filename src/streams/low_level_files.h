// Existence and attributes of a file, the current folder and drives, and errno as a
// pair of routines. A failure returns the value stated, and sets errno only where a
// comment says so. State: errno and the process's current folder. Any thread.
#pragma once

#include "include/errno.h"
#include "include/io.h"
#include "platform/abi.h"
