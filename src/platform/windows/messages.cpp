// Threads, console events, and the few services of USER32 that a failure report
// needs. USER32 brings the drawing libraries into the process, so it is loaded
// when first needed.

#include "platform/windows/system.h"
#include "platform/windows_ui.h"

namespace tarn::platform {
namespace {

constexpr char kWindowLibrary[] = "USER32.DLL";

void write_error_text(const char* text) {
  DWORD written = 0;
  ::WriteFile(::GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(::lstrlenA(text)),
              &written, nullptr);
}

// Sets a guard page at the end of what the calling thread's stack keeps back,
// unless there are frames that far down. Has no effect where the stack has not
// grown so far.
void set_stack_guard(std::uint64_t reserve) {
  constexpr std::uint64_t kPage = 4096;
  ULONG_PTR low = 0;
  ULONG_PTR high = 0;
  DWORD old = 0;
  ::GetCurrentThreadStackLimits(&low, &high);
  const std::uint64_t guard = low + reserve;
  if (reinterpret_cast<std::uint64_t>(__builtin_frame_address(0)) < guard + kPage) return;
  ::VirtualProtect(reinterpret_cast<void*>(guard), 1, PAGE_READWRITE | PAGE_GUARD, &old);
}

}  // namespace

Handle GetCurrentThread() { return ::GetCurrentThread(); }

Bool TerminateThread(Handle thread, std::uint32_t code) { return ::TerminateThread(thread, code); }

// A system that commits a stack whole has its guard page at the very end, where
// it leaves no room. There a guard page further up, at the end of the reserve,
// raises the overflow in time; where the stack grows page by page it cannot be
// set, and is not needed.
Bool SetThreadStackGuarantee(std::uint32_t* size) {
  const std::uint32_t reserve = *size;
  if (!::SetThreadStackGuarantee(reinterpret_cast<ULONG*>(size))) return 0;
  set_stack_guard(reserve);
  return 1;
}

// The guard page lost its mark when it reported the overflow.
void RestoreStackGuard() {
  constexpr ULONG kLeast = 2 * 4096;  // what a thread keeps back by default
  ULONG reserve = 0;                  // 0 asks for the present value
  ::SetThreadStackGuarantee(&reserve);
  set_stack_guard(reserve < kLeast ? kLeast : reserve);
}

std::uint32_t GetCurrentThreadId() { return ::GetCurrentThreadId(); }

Bool SetConsoleCtrlHandler(ConsoleHandler handler, std::int32_t add) {
  return ::SetConsoleCtrlHandler(reinterpret_cast<PHANDLER_ROUTINE>(handler), add);
}

std::int32_t MessageBoxA(Handle owner, const char* text, const char* caption, std::uint32_t type) {
  const auto service = DesktopWindows()
                           ? late_service<decltype(&::MessageBoxA)>(kWindowLibrary, "MessageBoxA")
                           : nullptr;
  const std::int32_t answer = service ? service(static_cast<HWND>(owner), text, caption, type) : 0;
  if (answer == 0) {
    const char* const parts[] = {caption, ": ", text, "\r\n"};
    for (const char* part : parts) write_error_text(part);
  }
  return answer;
}

std::int64_t SendMessageA(Handle window, std::uint32_t message, std::uint64_t w, std::int64_t l) {
  const auto service = late_service<decltype(&::SendMessageA)>(kWindowLibrary, "SendMessageA");
  return service ? service(static_cast<HWND>(window), message, w, l) : 0;
}

Handle GetFocus() {
  const auto service = late_service<decltype(&::GetFocus)>(kWindowLibrary, "GetFocus");
  return service ? service() : nullptr;
}

Bool IsWindowEnabled(Handle window) {
  const auto service =
      late_service<decltype(&::IsWindowEnabled)>(kWindowLibrary, "IsWindowEnabled");
  return service ? service(static_cast<HWND>(window)) : 0;
}

Bool GetCursorPos(Point* point) {
  const auto service = late_service<decltype(&::GetCursorPos)>(kWindowLibrary, "GetCursorPos");
  return service && service(reinterpret_cast<POINT*>(point));
}

Handle WindowFromPoint(Point point) {
  const auto service =
      late_service<decltype(&::WindowFromPoint)>(kWindowLibrary, "WindowFromPoint");
  return service ? service(POINT{point.x, point.y}) : nullptr;
}

}  // namespace tarn::platform
