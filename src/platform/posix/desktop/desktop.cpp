// The host has no desktop.

#include "platform/windows_ui.h"

namespace tarn::platform {

const WindowServices* DesktopWindows() { return nullptr; }

void HandleWindowMessages() {}

}  // namespace tarn::platform
