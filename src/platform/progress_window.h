// The window that shows how far a job has come: a caption, a line of text, a
// percentage and a bar. On Windows a real one that stays above all others; on
// the host the last row of the terminal, which the user can't close. There is at
// most one.
//
// The thread that opens it serves it until it is closed; the other two
// operations are for any thread.
#pragma once

#include "platform/platform.h"

namespace tarn::platform {

inline constexpr std::uint32_t kProgressTextSize = 256;

// What a repaint shows.
struct ProgressPicture {
  char text[kProgressTextSize];
  char percent_text[16];  // " (NN%)"
  std::int32_t percent;
};

struct ProgressWindowLook {
  const char* title;
  std::int32_t screen_width, screen_height;  // pixels; it comes up in their middle
  // Version of the controls library, major in the high 16 bits. 0: there is
  // none, and on Windows no bar.
  std::uint32_t controls_version;
  // Called by the window's thread, or by the one that asks for a repaint.
  void(TARNAPI* fill_picture)(ProgressPicture* picture);
  // Called by the window's thread: the window is about to close.
  void(TARNAPI* closed_by_user)();
};

// Shows the window. invalid_handle() if it can't be shown; nothing is left of
// it then. The look's title is read during the call alone.
TARNAPI Handle OpenProgressWindow(const ProgressWindowLook* look);
// Returns when the window has closed.
TARNAPI void ServeProgressWindow(Handle window);
// Both do nothing once the window has closed.
TARNAPI void RedrawProgressWindow(Handle window);
TARNAPI void CloseProgressWindow(Handle window);

// Converts text from the OEM to the ANSI code page of the system, byte for
// byte; `ansi` may be `oem`. On the host the two are the same.
TARNAPI Bool OemToCharA(const char* oem, char* ansi);

}  // namespace tarn::platform
