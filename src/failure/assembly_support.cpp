// What the module's assembly calls.

#include "platform/platform.h"
#include "storage/heap.h"

namespace tarn {

extern "C" {

TARNAPI void* tarn_label_storage(std::uint64_t size) { return malloc(size); }

TARNAPI std::uint32_t tarn_debugger_last_error() { return platform::GetLastError(); }

TARNAPI std::uint32_t tarn_debugger_cursor() {
  platform::Point point;
  if (!platform::GetCursorPos(&point)) return 0;
  return static_cast<std::uint32_t>(
      reinterpret_cast<std::uintptr_t>(platform::WindowFromPoint(point)));
}

TARNAPI std::uint32_t tarn_debugger_focus() {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(platform::GetFocus()));
}

}  // extern "C"

}  // namespace tarn
