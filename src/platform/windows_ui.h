// Windows of dialogs: what the sibling library asks of a system that has a
// desktop, and nothing else. The Windows back end loads the window and drawing
// libraries when they are first asked for, never at the start; the host has no
// desktop.
//
// A dialog window is filled by its user, who also places the controls: open it,
// measure strings, add controls and keys, show it, then take its events one by
// one until it has to be closed. All of it is for one thread; windows may be
// opened one inside the other, from what an event leads to, and are closed in
// the opposite order. Lengths are pixels, strings are bytes of the system's
// code page, colours are 0xBBGGRR.
#pragma once

#include "platform/platform.h"

namespace tarn::platform {

struct DialogWindow;

struct WindowLook {
  const char* title;
  const char* font;  // face name; null: the font of the system's own dialogs
  Bool has_colour;
  std::uint32_t colour;  // of the background
  Bool topmost;
  char icon;     // '#' error, '!' warning, 0 none
  Handle owner;  // stays behind the window and is disabled; null: the innermost open dialog
};

struct WindowMetrics {
  std::int32_t character_width;  // average
  std::int32_t line_height;
  std::int32_t scroll_bar_width;
  std::int32_t icon_size;
  std::int32_t width_limit, height_limit;  // of what fits on the screen
};

enum class ControlKind : std::uint8_t { kText, kIcon, kBox, kButton };

struct WindowControl {
  ControlKind kind;
  bool framed, scrolled;  // box
  bool is_default;        // button: the Enter key presses it
  std::int32_t x, y, width, height;
  const char* text;      // button: '&' comes before its letter
  std::uint64_t length;  // at most; the text also ends at a NUL
  const char* help;      // button: shown while the mouse rests on it; null without
};

// A key of the keyboard, or an entry of the menu that opens under the mouse.
inline constexpr std::uint16_t kKeyShift = 4;
inline constexpr std::uint16_t kKeyControl = 8;
inline constexpr std::uint16_t kKeyAlt = 16;
struct WindowKey {
  const char* menu_name;    // null: a key of the keyboard
  std::uint16_t modifiers;  // of those above
  std::uint16_t code;       // of the system's virtual keys: letters and digits in ASCII
};

enum class WindowEventKind : std::uint32_t {
  kButton,  // `number`: which one, from 0, in the order they were added
  kKey,     // likewise
  kClose,   // the user wants it closed: Esc, Alt+F4, the corner
  kGone,    // the window isn't there any more
};
struct WindowEvent {
  WindowEventKind kind;
  std::uint32_t number;
};

struct SaveFileQuestion {
  const char* title;
  const char* default_path;  // its folder and name are offered
  const char* extension;     // without the dot; added to a name that has none
  Handle owner;              // as in WindowLook
};

inline constexpr std::uint32_t kWindowButtons = 128;
inline constexpr std::uint32_t kWindowKeys = 32;

struct WindowServices {
  // Not shown yet. Null on failure.
  DialogWindow*(TARNAPI* open)(const WindowLook* look);
  void(TARNAPI* get_metrics)(DialogWindow* window, WindowMetrics* metrics);
  std::int32_t(TARNAPI* text_width)(DialogWindow* window, const char* text, std::uint32_t length);
  // The control's handle; null on failure or beyond kWindowButtons.
  Handle(TARNAPI* add_control)(DialogWindow* window, const WindowControl* control);
  // False beyond kWindowKeys.
  Bool(TARNAPI* add_key)(DialogWindow* window, const WindowKey* key);
  // In the middle of its screen, with `width` by `height` for its controls.
  void(TARNAPI* show)(DialogWindow* window, std::int32_t width, std::int32_t height);
  // Waits. Between two calls the window draws itself but handles no input.
  WindowEvent(TARNAPI* next_event)(DialogWindow* window);
  // Copies to the clipboard what the user selected in a box; false if nothing.
  // What was selected before the first wait is not the user's.
  Bool(TARNAPI* copy_selection)(DialogWindow* window);
  Bool(TARNAPI* copy_text)(DialogWindow* window, const char* text, std::uint64_t length);
  void(TARNAPI* close)(DialogWindow* window);
  // Takes all dialog windows off the screen. Each is still closed by its user.
  void(TARNAPI* close_all)();
  // 1 with the path in `buffer`, 0 if the user declined, -1 if it can't be asked.
  std::int32_t(TARNAPI* ask_save_file)(const SaveFileQuestion* question, char* buffer,
                                       std::uint32_t size);
};

// Null where there is no desktop to show windows on: always on the host; on
// Windows in a service's window station, and wherever no window can be made
// (Wine without a display). Looked at once for the process.
TARNAPI const WindowServices* DesktopWindows();

// Dispatches the messages that wait for the thread's windows. A message to quit
// stays for the program's own loop.
TARNAPI void HandleWindowMessages();

}  // namespace tarn::platform
