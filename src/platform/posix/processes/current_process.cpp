// The process: its end, its identity, its standard handles.

#include <fcntl.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/processes/child_processes.h"
#include "platform/posix/terminal/terminal.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kPriorityClasses[] = {0x20, 0x40, 0x80, 0x100, 0x4000, 0x8000};
std::uint32_t priority_class = kPriorityClasses[0];  // normal

bool is_open(int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; }

// Instead of the process's own; null: not set.
Handle standard_now[kStandardHandles];

}  // namespace

void ExitProcess(std::uint32_t code) {
  restore_terminal();
  send_exit_code(code);
  _exit(host_status(code));
}

Handle GetCurrentProcess() { return invalid_handle(); }

std::uint32_t GetCurrentProcessId() { return static_cast<std::uint32_t>(getpid()); }

Handle GetStdHandle(std::int32_t which) {
  const std::int32_t descriptor = kStandardInput - which;
  if (descriptor < 0 || descriptor >= static_cast<std::int32_t>(kStandardHandles)) {
    fail(kErrorInvalidHandle);
    return invalid_handle();
  }
  if (standard_now[descriptor] != nullptr) return standard_now[descriptor];
  const Handle handle = standard_handle(static_cast<std::uint32_t>(descriptor));
  return find_handle(handle, HandleKind::kFile) != nullptr && is_open(descriptor) ? handle
                                                                                  : nullptr;
}

Bool SetStdHandle(std::int32_t which, Handle handle) {
  const std::int32_t descriptor = kStandardInput - which;
  if (descriptor < 0 || descriptor >= static_cast<std::int32_t>(kStandardHandles)) {
    return fail(kErrorInvalidHandle);
  }
  standard_now[descriptor] = handle;
  return 1;
}

void GetStartupInfoA(StartupInfo* info) {
  *info = StartupInfo{};
  info->length = sizeof *info;
  info->flags = kStartUseStdHandles;
  info->standard_input = GetStdHandle(kStandardInput);
  info->standard_output = GetStdHandle(kStandardOutput);
  info->standard_error = GetStdHandle(kStandardError);
}

void GetStartupInfoW(StartupInfo* info) { GetStartupInfoA(info); }

Bool SetPriorityClass(Handle process, std::uint32_t priority) {
  if (process != GetCurrentProcess()) return fail(kErrorInvalidHandle);
  for (const std::uint32_t known : kPriorityClasses) {
    if (priority != known) continue;
    __atomic_store_n(&priority_class, priority, __ATOMIC_RELAXED);
    return 1;
  }
  return fail(kErrorInvalidParameter);
}

std::uint32_t GetPriorityClass(Handle process) {
  if (process != GetCurrentProcess()) return static_cast<std::uint32_t>(fail(kErrorInvalidHandle));
  return __atomic_load_n(&priority_class, __ATOMIC_RELAXED);
}

}  // namespace tarn::platform
