// The window and drawing libraries, loaded when first needed.
#pragma once

#include "platform/windows/system.h"
#include "platform/windows_ui.h"

// Need the system's header before them.
#include <commctrl.h>
#include <commdlg.h>

namespace tarn::platform {

// Services that dialog and progress windows need: one row a service, by library.
#define TARN_USER32_SERVICES(SERVICE) \
  SERVICE(AdjustWindowRectEx)         \
  SERVICE(AppendMenuA)                \
  SERVICE(CloseClipboard)             \
  SERVICE(CreateAcceleratorTableA)    \
  SERVICE(CreateDialogIndirectParamA) \
  SERVICE(CreatePopupMenu)            \
  SERVICE(CreateWindowExA)            \
  SERVICE(CallWindowProcA)            \
  SERVICE(DefWindowProcA)             \
  SERVICE(DestroyAcceleratorTable)    \
  SERVICE(DestroyMenu)                \
  SERVICE(DestroyWindow)              \
  SERVICE(DispatchMessageA)           \
  SERVICE(DrawTextA)                  \
  SERVICE(EmptyClipboard)             \
  SERVICE(EnableWindow)               \
  SERVICE(GetActiveWindow)            \
  SERVICE(GetClientRect)              \
  SERVICE(GetCursorPos)               \
  SERVICE(GetDC)                      \
  SERVICE(GetMessageA)                \
  SERVICE(GetProcessWindowStation)    \
  SERVICE(GetSysColor)                \
  SERVICE(GetSysColorBrush)           \
  SERVICE(GetSystemMetrics)           \
  SERVICE(GetTabbedTextExtentA)       \
  SERVICE(GetUpdateRect)              \
  SERVICE(GetUserObjectInformationA)  \
  SERVICE(GetWindowLongPtrA)          \
  SERVICE(IsDialogMessageA)           \
  SERVICE(LoadCursorA)                \
  SERVICE(LoadIconA)                  \
  SERVICE(OpenClipboard)              \
  SERVICE(PeekMessageA)               \
  SERVICE(PostMessageA)               \
  SERVICE(PostQuitMessage)            \
  SERVICE(RedrawWindow)               \
  SERVICE(RegisterClassA)             \
  SERVICE(ReleaseDC)                  \
  SERVICE(SendMessageA)               \
  SERVICE(SetClipboardData)           \
  SERVICE(SetFocus)                   \
  SERVICE(SetForegroundWindow)        \
  SERVICE(SetWindowLongPtrA)          \
  SERVICE(SetWindowPos)               \
  SERVICE(SetWindowTextA)             \
  SERVICE(ShowWindow)                 \
  SERVICE(SystemParametersInfoA)      \
  SERVICE(TrackPopupMenu)             \
  SERVICE(TranslateAcceleratorA)      \
  SERVICE(TranslateMessage)           \
  SERVICE(UpdateWindow)               \
  SERVICE(ValidateRect)

#define TARN_GDI32_SERVICES(SERVICE) \
  SERVICE(CreateFontIndirectA)       \
  SERVICE(CreateSolidBrush)          \
  SERVICE(DeleteObject)              \
  SERVICE(GetStockObject)            \
  SERVICE(GetTextExtentPoint32A)     \
  SERVICE(GetTextMetricsA)           \
  SERVICE(SelectObject)              \
  SERVICE(SetBkColor)                \
  SERVICE(SetTextAlign)              \
  SERVICE(SetTextColor)              \
  SERVICE(TextOutA)

struct WindowLibraries {
#define TARN_SERVICE_FIELD(name) decltype(&::name) name;
  TARN_USER32_SERVICES(TARN_SERVICE_FIELD)
  TARN_GDI32_SERVICES(TARN_SERVICE_FIELD)
#undef TARN_SERVICE_FIELD
};

// Null if a library or a service of it is missing. Loads them at the first call.
const WindowLibraries* window_libraries();

// AskSaveFile of windows_ui.h; the owner is the one to use.
std::int32_t ask_save_file(HWND owner, const SaveFileQuestion* question, char* buffer,
                           std::uint32_t size);

}  // namespace tarn::platform
