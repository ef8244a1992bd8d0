// What CloseHandle, DuplicateHandle and WaitForSingleObject do for each kind of object. This
// is here because it is the highest folder that has objects. A routine finds its
// object by the handle, which may have been closed since the kind was looked
// at.

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
  std::uint32_t (*wait)(Handle handle, std::uint32_t milliseconds);
  Handle (*duplicate)(Handle handle) = nullptr;
};

// In the order of HandleKind.
constexpr KindOperations kOperations[] = {
    {nullptr, nullptr},                       // kFree
    {&close_file, nullptr, &duplicate_file},  // kFile
    {nullptr, nullptr},                       // kFind
    {nullptr, nullptr},                       // kKey
    {&close_event, &wait_for_event},          // kEvent
    {&close_thread, &wait_for_thread},        // kThread
    {&close_process, &wait_for_process},      // kProcess
    {&close_snapshot, nullptr},               // kSnapshot
    {&close_mapping, nullptr},                // kMapping
    {&close_mutex, &wait_for_mutex},          // kMutex
};

const KindOperations& operations_of(Handle handle) {
  return kOperations[static_cast<std::uint32_t>(kind_of_handle(handle))];
}

}  // namespace

Bool CloseHandle(Handle handle) {
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

std::uint32_t WaitForSingleObject(Handle object, std::uint32_t milliseconds) {
  const auto wait = operations_of(object).wait;
  if (wait != nullptr) return wait(object, milliseconds);
  fail(kErrorInvalidHandle);
  return kWaitFailed;
}

// No thread has calls queued that an alertable wait would run.
std::uint32_t WaitForSingleObjectEx(Handle object, std::uint32_t milliseconds, Bool) {
  return WaitForSingleObject(object, milliseconds);
}

}  // namespace tarn::platform
