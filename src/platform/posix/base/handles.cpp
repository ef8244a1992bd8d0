// The table of open objects. A handle is four times its place counted from 1:
// small, and a multiple of four, as on Windows. Taking a place is serialised;
// looking one up takes no lock, so that a fault's report can always write.

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

constexpr std::uint64_t kHandleStep = 4;

OpenObject objects[kMaxHandles] = {
    {HandleKind::kFile, 0, true, true, false, nullptr},
    {HandleKind::kFile, 1, true, true, true, nullptr},
    {HandleKind::kFile, 2, true, true, true, nullptr},
};
pthread_mutex_t objects_lock = PTHREAD_MUTEX_INITIALIZER;

Handle handle_at(std::uint64_t place) {
  return reinterpret_cast<Handle>((place + 1) * kHandleStep);
}

OpenObject* object_of(Handle handle) {
  const auto value = reinterpret_cast<std::uint64_t>(handle);
  const std::uint64_t place = value / kHandleStep - 1;
  return value % kHandleStep == 0 && place < kMaxHandles ? &objects[place] : nullptr;
}

void set_kind(OpenObject* object, HandleKind kind) {
  __atomic_store(&object->kind, &kind, __ATOMIC_RELEASE);
}

HandleKind kind_of(const OpenObject& object) {
  HandleKind kind;
  __atomic_load(&object.kind, &kind, __ATOMIC_ACQUIRE);
  return kind;
}

}  // namespace

Handle standard_handle(std::uint32_t descriptor) { return handle_at(descriptor); }

int keep_off_standard(int descriptor) {
  if (descriptor < 0 || descriptor >= static_cast<int>(kStandardHandles)) return descriptor;
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, static_cast<int>(kStandardHandles));
  const int failure = errno;
  close(descriptor);
  errno = failure;
  return moved;
}

Handle add_handle(const OpenObject& object) {
  const MutexLock lock(objects_lock);
  std::uint32_t place = kStandardHandles;
  while (place < kMaxHandles && kind_of(objects[place]) != HandleKind::kFree) ++place;
  Handle handle = nullptr;
  if (place < kMaxHandles) {
    OpenObject& taken = objects[place];
    OpenObject filled = object;
    filled.kind = HandleKind::kFree;
    taken = filled;
    set_kind(&taken, object.kind);  // last: from here on it is found
    handle = handle_at(place);
  }
  if (handle == nullptr) SetLastError(kErrorTooManyOpenFiles);
  return handle;
}

HandleKind kind_of_handle(Handle handle) {
  const OpenObject* const object = object_of(handle);
  return object == nullptr ? HandleKind::kFree : kind_of(*object);
}

const OpenObject* find_handle(Handle handle, HandleKind kind) {
  const OpenObject* const object = object_of(handle);
  if (object != nullptr && kind_of(*object) == kind) return object;
  SetLastError(kErrorInvalidHandle);
  return nullptr;
}

OpenObject remove_handle(Handle handle, HandleKind kind) {
  OpenObject removed{};
  OpenObject* const object = object_of(handle);
  const MutexLock lock(objects_lock);
  if (object != nullptr && kind_of(*object) == kind) {
    removed = *object;
    set_kind(object, HandleKind::kFree);
  }
  if (removed.kind == HandleKind::kFree) SetLastError(kErrorInvalidHandle);
  return removed;
}

}  // namespace tarn::platform
