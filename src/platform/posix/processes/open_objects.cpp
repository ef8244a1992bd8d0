// What CloseHandle, DuplicateHandle and GetHandleInformation do for each kind of object.
// This is here because it is the highest folder that has objects. A routine finds its
// object by the handle, which may have been closed since the kind was looked at.

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/files/files.h"
#include "platform/posix/processes/child_processes.h"
#include "platform/posix/threads/threads.h"

namespace tarn::platform {
namespace {

// Null if the kind has no such operation, which then refuses the handle as
// invalid.
struct KindOperations {
  Bool (*close)(Handle handle);
  Handle (*duplicate)(Handle handle);
};

// In the order of HandleKind.
constexpr KindOperations kOperations[] = {
    {nullptr, nullptr},                      // kFree
    {&close_file, &duplicate_file},          // kFile
    {nullptr, nullptr},                      // kFind
    {nullptr, nullptr},                      // kKey
    {&close_waitable, &duplicate_waitable},  // kEvent
    {&close_waitable, &duplicate_waitable},  // kSemaphore
    {&close_waitable, &duplicate_waitable},  // kThread
    {&close_process, &duplicate_process},    // kProcess
    {&close_snapshot, nullptr},              // kSnapshot
    {&close_mapping, nullptr},               // kMapping
    {&close_waitable, &duplicate_waitable},  // kMutex
};

bool is_pseudo_handle(Handle handle) {
  return handle == GetCurrentProcess() || handle == GetCurrentThread();
}

const KindOperations& operations_of(Handle handle) {
  HandleKind kind = kind_of_handle(handle);
  if (handle == GetCurrentProcess()) kind = HandleKind::kProcess;
  if (handle == GetCurrentThread()) kind = HandleKind::kThread;
  return kOperations[static_cast<std::uint32_t>(kind)];
}

}  // namespace

Bool CloseHandle(Handle handle) {
  if (is_pseudo_handle(handle)) return 1;  // they are not opened either
  const auto close = operations_of(handle).close;
  return close == nullptr ? fail(kErrorInvalidHandle) : close(handle);
}

Bool DuplicateHandle(Handle from, Handle source, Handle to, Handle* copy, std::uint32_t, Bool,
                     std::uint32_t options) {
  const auto duplicate = operations_of(source).duplicate;
  if (from != GetCurrentProcess() || to != GetCurrentProcess() || duplicate == nullptr) {
    return fail(kErrorInvalidHandle);
  }
  const Handle made = duplicate(source);
  if ((options & kDuplicateCloseSource) != 0) CloseHandle(source);
  if (made == nullptr) return 0;
  *copy = made;
  return 1;
}

Bool GetHandleInformation(Handle handle, std::uint32_t* flags) {
  if (!is_pseudo_handle(handle) && kind_of_handle(handle) == HandleKind::kFree) {
    return fail(kErrorInvalidHandle);
  }
  *flags = 0;
  return 1;
}

Bool SetHandleInformation(Handle handle, std::uint32_t mask, std::uint32_t) {
  constexpr std::uint32_t kInherited = 1;
  std::uint32_t flags;
  if ((mask & ~kInherited) != 0) return fail(kErrorNotSupported);
  return GetHandleInformation(handle, &flags);
}

}  // namespace tarn::platform
