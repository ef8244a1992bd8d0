// Where the parts of a dialog are in its window. Lengths are pixels.
//
// Items flow in rows, as their formats say: "\n" and "\f" end a row, an empty
// row is kept, more than one is not. A row of centred items is in the
// middle of the window. The heading, up to the first row that holds a box or a
// button, is beside the icon. Long lines are wrapped at spaces. What would
// not fit on the screen becomes smaller: boxes get fewer lines, and a long text
// turns into a box of its own.
#pragma once

#include "paneview/dialog.h"
#include "platform/windows_ui.h"

namespace paneview {

inline constexpr std::uint32_t kWindowTextParts = 512;  // lines of text; further ones are left out
// All items may be controls; the rest are the icon and the line about a problem.
inline constexpr std::uint32_t kWindowParts = kWindowTextParts + kDialogItems + 4;

struct WindowPart {
  tarn::platform::ControlKind kind;
  const Item* item;  // null: the icon, or the line about a problem
  const char* text;  // without NUL, but of a button
  std::uint64_t length;
  std::int32_t x, y, width, height;
  std::int32_t centred_width;  // of its row, without the spaces around; 0: not centred
  std::int32_t row_left;       // of a centred row: where it could begin
};

struct WindowLayout {
  std::int32_t width, height;
  std::uint32_t count;
  WindowPart parts[kWindowParts];
};

struct WindowMeasures {
  tarn::platform::WindowMetrics metrics;
  std::int32_t (*text_width)(void* context, const char* text, std::uint32_t length);
  void* context;
};

void lay_out_window(const Dialog* dialog, const WindowMeasures* measures, WindowLayout* layout);

// True if the comma-separated `options` hold `name`.
bool has_option(const char* options, const char* name);

}  // namespace paneview
