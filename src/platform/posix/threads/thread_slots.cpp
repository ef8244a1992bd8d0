#include <pthread.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kNoSlot = 0xFFFFFFFF;

}  // namespace

std::uint32_t TlsAlloc() {
  pthread_key_t key;
  if (pthread_key_create(&key, nullptr) == 0) return key;
  fail(kErrorNoMoreItems);
  return kNoSlot;
}

Bool TlsFree(std::uint32_t slot) {
  return pthread_key_delete(slot) == 0 ? 1 : fail(kErrorInvalidParameter);
}

void* TlsGetValue(std::uint32_t slot) {
  SetLastError(0);
  return pthread_getspecific(slot);
}

Bool TlsSetValue(std::uint32_t slot, void* value) {
  if (pthread_setspecific(slot, value) == 0) return 1;
  fail(kErrorInvalidParameter);
  return 0;
}

}  // namespace tarn::platform
