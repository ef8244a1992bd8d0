#include "services/parallel_tasks.h"

namespace tarn {
namespace {

constexpr std::uint64_t kControlWord = 64;  // offset in the shared region

std::int32_t parallel_status_id = -1;
std::int32_t parallel_status_count;
std::uint8_t* parallel_region;  // null: no parallel run

}  // namespace

void GetParallelTaskStatus(std::int32_t* task, std::int32_t* count) {
  *task = parallel_status_id;
  *count = parallel_status_count;
}

void TerminateParallelProcessing() {
  if (parallel_region) {
    __atomic_store_n(reinterpret_cast<std::uint64_t*>(parallel_region + kControlWord),
                     std::uint64_t{0}, __ATOMIC_RELEASE);
  }
}

}  // namespace tarn
