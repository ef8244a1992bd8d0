// Events and semaphores. An event is a count of 0 or 1.

#include <limits.h>
#include <stdlib.h>

#include "platform/image_imports.h"
#include "platform/posix/threads/waits.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kEventManualReset = 1, kEventInitialSet = 2;

Handle make(HandleKind kind, std::int32_t count, std::int32_t limit, bool taken, const char* name) {
  if (name != nullptr) return null_for(kErrorNotSupported);
  auto* const object = static_cast<Waitable*>(calloc(1, sizeof(Waitable)));
  if (object == nullptr) return null_for(kErrorNotEnoughMemory);
  object->references = 1;
  object->count = count;
  object->limit = limit;
  object->taken = taken ? Waitable::Taken::kOne : Waitable::Taken::kNothing;
  const Handle handle = add_handle({kind, -1, false, false, false, object});
  if (handle == nullptr) free(object);
  return handle;
}

}  // namespace

Handle CreateEventA(const SecurityAttributes*, Bool manual_reset, Bool signalled,
                    const char* name) {
  return make(HandleKind::kEvent, signalled != 0 ? 1 : 0, 1, manual_reset == 0, name);
}

Handle CreateEventW(const SecurityAttributes* security, Bool manual_reset, Bool signalled,
                    const char16_t* name) {
  if (name != nullptr) return null_for(kErrorNotSupported);
  return CreateEventA(security, manual_reset, signalled, nullptr);
}

Handle CreateEventExA(const SecurityAttributes* security, const char* name, std::uint32_t flags,
                      std::uint32_t) {
  return CreateEventA(security, flags & kEventManualReset, flags & kEventInitialSet, name);
}

Handle CreateEventExW(const SecurityAttributes* security, const char16_t* name, std::uint32_t flags,
                      std::uint32_t) {
  return CreateEventW(security, flags & kEventManualReset, flags & kEventInitialSet, name);
}

Bool SetEvent(Handle event) {
  const WaitsLock lock;
  Waitable* const object = find_waitable(event, HandleKind::kEvent);
  if (object == nullptr) return 0;
  raise_count(object, 1);
  return 1;
}

Bool ResetEvent(Handle event) {
  const WaitsLock lock;
  Waitable* const object = find_waitable(event, HandleKind::kEvent);
  if (object == nullptr) return 0;
  object->count = 0;
  return 1;
}

Handle CreateSemaphoreA(const SecurityAttributes*, std::int32_t count, std::int32_t limit,
                        const char* name) {
  if (limit <= 0 || count < 0 || count > limit) return null_for(kErrorInvalidParameter);
  return make(HandleKind::kSemaphore, count, limit, true, name);
}

Handle CreateSemaphoreW(const SecurityAttributes* security, std::int32_t count, std::int32_t limit,
                        const char16_t* name) {
  if (name != nullptr) return null_for(kErrorNotSupported);
  return CreateSemaphoreA(security, count, limit, nullptr);
}

Handle CreateSemaphoreExA(const SecurityAttributes* security, std::int32_t count,
                          std::int32_t limit, const char* name, std::uint32_t, std::uint32_t) {
  return CreateSemaphoreA(security, count, limit, name);
}

Handle CreateSemaphoreExW(const SecurityAttributes* security, std::int32_t count,
                          std::int32_t limit, const char16_t* name, std::uint32_t, std::uint32_t) {
  return CreateSemaphoreW(security, count, limit, name);
}

Bool ReleaseSemaphore(Handle semaphore, std::int32_t more, std::int32_t* before) {
  if (more <= 0) return fail(kErrorInvalidParameter);
  const WaitsLock lock;
  Waitable* const object = find_waitable(semaphore, HandleKind::kSemaphore);
  if (object == nullptr) return 0;
  if (object->limit - object->count < more) return fail(kErrorTooManyPosts);
  if (before != nullptr) *before = object->count;
  raise_count(object, more);
  return 1;
}

}  // namespace tarn::platform
