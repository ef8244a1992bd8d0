// One key, and lines, from the console's input handle. Lines come from blocks of
// 4,096 bytes as the system delivers them; on a terminal that is a line, edited
// by the system's own keys.
#pragma once

#include "include/tarn/console.h"
#include "platform/abi.h"
