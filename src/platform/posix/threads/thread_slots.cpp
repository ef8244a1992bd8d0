// The slots are the host's keys. One that no image has allocated may be a key of the library's,
// and programs look into slot 0 before they allocate theirs: on Windows it is empty.

#include <limits.h>
#include <pthread.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kNoSlot = 0xFFFFFFFF;

bool is_allocated[PTHREAD_KEYS_MAX];

bool is_slot(std::uint32_t slot) {
  return slot < PTHREAD_KEYS_MAX && __atomic_load_n(&is_allocated[slot], __ATOMIC_RELAXED);
}

}  // namespace

std::uint32_t TlsAlloc() {
  pthread_key_t key;
  if (pthread_key_create(&key, nullptr) != 0) {
    fail(kErrorNoMoreItems);
    return kNoSlot;
  }
  __atomic_store_n(&is_allocated[key], true, __ATOMIC_RELAXED);
  return key;
}

Bool TlsFree(std::uint32_t slot) {
  if (!is_slot(slot)) return fail(kErrorInvalidParameter);
  __atomic_store_n(&is_allocated[slot], false, __ATOMIC_RELAXED);
  pthread_key_delete(slot);
  return 1;
}

void* TlsGetValue(std::uint32_t slot) {
  SetLastError(0);
  return is_slot(slot) ? pthread_getspecific(slot) : nullptr;
}

Bool TlsSetValue(std::uint32_t slot, void* value) {
  if (is_slot(slot) && pthread_setspecific(slot, value) == 0) return 1;
  fail(kErrorInvalidParameter);
  return 0;
}

}  // namespace tarn::platform
