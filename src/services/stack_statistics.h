// What a program used of the secondary stack (storage/secondary_stack.h): the
// contract of PRINT_SECONDARY_STACK_STATISTICS is include/tarn/storage.h. No
// state.
#pragma once

#include "include/tarn/storage.h"
#include "platform/abi.h"
