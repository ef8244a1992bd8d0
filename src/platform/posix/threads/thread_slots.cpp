#include "platform/posix/threads/thread_slots.h"

#include <pthread.h>

#include "platform/platform.h"
#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kNoSlot = 0xFFFFFFFF;
constexpr std::uint32_t kErrorNoMoreItems = 259;

}  // namespace

TARNAPI std::uint32_t TlsAlloc() {
  pthread_key_t key;
  if (pthread_key_create(&key, nullptr) == 0) return key;
  fail(kErrorNoMoreItems);
  return kNoSlot;
}

TARNAPI void* TlsGetValue(std::uint32_t slot) { return pthread_getspecific(slot); }

TARNAPI std::int32_t TlsSetValue(std::uint32_t slot, void* value) {
  if (pthread_setspecific(slot, value) == 0) return 1;
  fail(kErrorInvalidParameter);
  return 0;
}

}  // namespace tarn::platform
