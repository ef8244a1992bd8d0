#include "process/process_state.h"

namespace tarn {

std::uint32_t page_size = 4096;
std::int32_t kill_dialogbox;
std::int32_t no_traceback;

tarn_block_record* common_block_list;
std::int32_t common_block_count;
void* profile_block;
std::int64_t program_storage;

extern "C" {
Slot __runtime_block[kRuntimeCells];

// __main_setup's first step. The library's slots hold these addresses from
// the start, so this only matters if someone overwrote one.
TARNAPI void tarn_connect_own_slots() {
  for (int i = 0; i < kRuntimeCells; ++i) __runtime_slots[i] = &__runtime_block[i];
}
}

}  // namespace tarn
