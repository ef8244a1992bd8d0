#include "startup/runtime_block.h"

namespace tarn {

extern "C" {
Slot __runtime_block[kRuntimeCells];

// __main_setup's first step. The library's slots hold these addresses from
// the start, so this only matters if somebody overwrote one.
TARNAPI void tarn_connect_own_slots() {
  for (int i = 0; i < kRuntimeCells; ++i) __runtime_slots[i] = &__runtime_block[i];
}
}

}  // namespace tarn
