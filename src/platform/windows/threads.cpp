#include "platform/windows/system.h"

namespace tarn::platform {

static_assert(sizeof(SecurityAttributes) == sizeof(SECURITY_ATTRIBUTES));

Handle CreateThread(const SecurityAttributes* security, std::uint64_t stack_size,
                    ThreadRoutine routine, void* argument, std::uint32_t flags, std::uint32_t* id) {
  return ::CreateThread(native(security), stack_size,
                        reinterpret_cast<LPTHREAD_START_ROUTINE>(routine), argument, flags,
                        reinterpret_cast<DWORD*>(id));
}

std::uint32_t ResumeThread(Handle thread) { return ::ResumeThread(thread); }

Bool SetThreadPriority(Handle thread, std::int32_t priority) {
  return ::SetThreadPriority(thread, priority);
}

Handle CreateEventA(const SecurityAttributes* security, Bool manual_reset, Bool signalled,
                    const char* name) {
  return ::CreateEventA(native(security), manual_reset, signalled, name);
}

Bool SetEvent(Handle event) { return ::SetEvent(event); }

std::uint32_t WaitForSingleObject(Handle object, std::uint32_t milliseconds) {
  return ::WaitForSingleObject(object, milliseconds);
}

}  // namespace tarn::platform
