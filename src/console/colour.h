// The colours of the cells written next, and a stack of them.
//
// A colour is a nibble: bit 0 blue, 1 green, 2 red, 3 bright. It is not tested:
// further bits of a foreground go into the attribute as they are, as far as its
// 16 bits reach. Text written before a change keeps its colours, except by
// SetTextAttribute. Where the console is redirected, nothing changes.
//
// The stack is limited by storage: 199, "Run out of heap space".
#pragma once

#include "include/tarn/console.h"
#include "platform/abi.h"
