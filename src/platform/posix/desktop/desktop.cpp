// The host has no desktop: no windows, and messages go to standard error.

#include <string.h>

#include "platform/windows_ui.h"

namespace tarn::platform {
namespace {

void write_error_text(const char* text) {
  std::uint32_t written = 0;
  WriteFile(GetStdHandle(kStandardError), text, static_cast<std::uint32_t>(strlen(text)), &written,
            nullptr);
}

}  // namespace

const WindowServices* DesktopWindows() { return nullptr; }

void HandleWindowMessages() {}

std::int32_t MessageBoxA(Handle, const char* text, const char* caption, std::uint32_t) {
  const char* const parts[] = {caption, ": ", text, "\r\n"};
  for (const char* part : parts) write_error_text(part);
  return 0;
}

std::int64_t SendMessageA(Handle, std::uint32_t, std::uint64_t, std::int64_t) { return 0; }

Handle GetFocus() { return nullptr; }

Bool IsWindowEnabled(Handle) { return 0; }

Bool GetCursorPos(Point* point) {
  *point = {0, 0};
  return 0;
}

Handle WindowFromPoint(Point) { return nullptr; }

std::int32_t GetSystemMetrics(std::int32_t) { return 0; }

}  // namespace tarn::platform
