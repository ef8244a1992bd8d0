#include <unistd.h>

#include <atomic>

#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

// Above 0: one more than a position that the system does not have yet.
constexpr std::int64_t kSettled = 0, kShared = -1;

// Of handles and of what the library opens for itself. For others, and for the standard ones,
// which other processes share, the system's position is set at once.
constexpr int kDescriptors = 2 * static_cast<int>(kMaxHandles);
std::atomic<std::int64_t> positions[kDescriptors];

std::atomic<std::int64_t>* find(int descriptor) {
  const bool own = descriptor >= static_cast<int>(kStandardHandles);
  return own && descriptor < kDescriptors ? positions + descriptor : nullptr;
}

}  // namespace

void go_on_at(int descriptor, std::int64_t position) {
  std::atomic<std::int64_t>* const kept = find(descriptor);
  if (kept != nullptr && kept->load(std::memory_order_relaxed) != kShared) {
    kept->store(position + 1, std::memory_order_relaxed);
  } else {
    lseek(descriptor, position, SEEK_SET);
  }
}

bool is_settled(int descriptor) {
  const std::atomic<std::int64_t>* const kept = find(descriptor);
  return kept == nullptr || kept->load(std::memory_order_relaxed) <= kSettled;
}

void settle_position(int descriptor) {
  std::atomic<std::int64_t>* const kept = find(descriptor);
  if (is_settled(descriptor)) return;
  const std::int64_t position = kept->exchange(kSettled, std::memory_order_relaxed);
  if (position > kSettled) lseek(descriptor, position - 1, SEEK_SET);
}

void forget_position(int descriptor) {
  std::atomic<std::int64_t>* const kept = find(descriptor);
  if (kept != nullptr && kept->load(std::memory_order_relaxed) > kSettled) *kept = kSettled;
}

void close_position(int descriptor) {
  if (std::atomic<std::int64_t>* const kept = find(descriptor)) *kept = kSettled;
}

void share_position(int descriptor) {
  settle_position(descriptor);
  if (std::atomic<std::int64_t>* const kept = find(descriptor)) *kept = kShared;
}

}  // namespace tarn::platform
