// Boxes with a shadow. Every row is a centred line of its own.

#include "console/colour.h"
#include "console/console_state.h"
#include "console/formatted_output.h"
#include "console/formatted_text.h"
#include "console/line_output.h"
#include "platform/byte_block.h"
#include "storage/heap.h"

namespace tarn {
namespace {

// Characters of the console's code page.
struct BoxStyle {
  std::uint8_t horizontal, vertical, top_left, top_right, bottom_left, bottom_right;
};
constexpr BoxStyle kStyles[] = {
    {0x20, 0x20, 0x20, 0x20, 0x20, 0x20}, {0xC4, 0xB3, 0xDA, 0xBF, 0xC0, 0xD9},
    {0xCD, 0xBA, 0xC9, 0xBB, 0xC8, 0xBC}, {0xB1, 0xB1, 0xB1, 0xB1, 0xB1, 0xB1},
    {0xB2, 0xB2, 0xB2, 0xB2, 0xB2, 0xB2}, {0xDB, 0xDB, 0xDB, 0xDB, 0xDB, 0xDB},
};
constexpr std::int32_t kStyleCount = sizeof kStyles / sizeof kStyles[0];
constexpr std::int32_t kDefaultStyle = 1;

constexpr std::int32_t kFrameWidth = 4;  // a line and a space at each side
constexpr std::int32_t kMargin = 6;      // the frame, and a column at each side
constexpr std::int32_t kKeepColour = 16;

struct Box {
  BoxStyle style;
  std::int32_t width;                           // of the text
  std::int32_t row_length;                      // with the frame
  char* row;                                    // room for a row and a NUL
  std::int32_t background;                      // as the caller gave it
  std::int32_t old_background, old_foreground;  // kKeepColour or more: nothing to restore
  char shadow_text[3];
};

void set_background(std::int32_t colour) {
  if (colour < kKeepColour) SetConsoleBackground(colour);
}

// Writes the shadow's character at the end of a row, or the bottom of the shadow,
// and goes on to the next row.
void write_shadow(const Box& box, bool bottom) {
  if (console.box_shadow_colour < 0) {
    ConsoleWrite("\n");
    return;
  }
  const std::int32_t saved = SetConsoleColour(console.box_shadow_colour);
  set_background(box.old_background);
  ConsoleWrite(box.shadow_text);
  if (bottom) {
    fill_bytes(box.row, static_cast<std::uint8_t>(console.box_char),
               static_cast<std::uint64_t>(box.row_length));
    console.centre_shift = 1;
    ConsolePrintfC("%s\n", box.row);
  }
  SetConsoleColour(saved);
  set_background(box.background);
  console.centre_shift = 0;
}

void make_edge(const Box& box, std::uint8_t left, std::uint8_t right) {
  fill_bytes(box.row, box.style.horizontal, static_cast<std::uint64_t>(box.row_length));
  box.row[0] = static_cast<char>(left);
  box.row[box.row_length - 1] = static_cast<char>(right);
}

std::int32_t line_length(const char* line) {
  std::int32_t length = 0;
  while (line[length] != '\0' && line[length] != '\n') ++length;
  return length;
}

// Also whether it has more than one line.
std::int32_t longest_line(const FormattedText& text, bool* several) {
  *several = false;
  std::int32_t longest = 0;
  for (const char* line = text.text;;) {
    const std::int32_t length = line_length(line);
    if (length > longest) longest = length;
    line += length;
    if (*line == '\0') break;
    *several = true;
    ++line;
  }
  return *several ? longest : text.length;
}

// `centred` has room for the longest line, or a row, and two more bytes.
void write_lines(const Box& box, char* text, char* centred) {
  for (char* line = text;;) {
    const std::int32_t length = line_length(line);
    const bool last = line[length] == '\0';
    line[length] = '\0';
    centre_line(line, centred, length, box.width);
    ConsolePrintfC("%c %-*.*s %c", box.style.vertical, box.width, box.width, centred,
                   box.style.vertical);
    write_shadow(box, false);
    if (last) break;
    line += length + 1;
  }
}

}  // namespace

std::int32_t ConsoleBoxPrint(std::int32_t style, std::int32_t background, std::int32_t foreground,
                             const char* format, ...) {
  TARN_SLOTS_BEHIND(slots, format);
  FormattedText formatted;
  format_text(&formatted, format, slots);

  Box box;
  box.style = kStyles[style >= 0 && style < kStyleCount ? style : kDefaultStyle];
  box.shadow_text[0] = console.box_char;
  box.shadow_text[1] = '\n';
  box.shadow_text[2] = '\0';
  box.background = background;
  box.old_background = kKeepColour;
  box.old_foreground = kKeepColour;
  if (background < kKeepColour) box.old_background = SetConsoleBackground(background);
  if (foreground < kKeepColour) box.old_foreground = SetConsoleColour(foreground);

  bool several;
  const std::int32_t longest = longest_line(formatted, &several);
  const std::int32_t widest = console.screen_width > kMargin ? console.screen_width - kMargin : 0;
  box.width = longest < widest ? longest : widest;
  box.row_length = box.width + kFrameWidth;
  box.row = static_cast<char*>(vmalloc(box.row_length + 1));
  box.row[box.row_length] = '\0';
  const std::int32_t room = (longest > box.width ? longest : box.width) + 2;
  char* const centred = several ? static_cast<char*>(vmalloc(room)) : nullptr;

  begin_piece();
  make_edge(box, box.style.top_left, box.style.top_right);
  ConsolePrintfC("%s\n", box.row);
  if (several) {
    write_lines(box, formatted.text, centred);
  } else {
    ConsolePrintfC("%c %s %c", box.style.vertical, formatted.text, box.style.vertical);
    write_shadow(box, false);
  }
  make_edge(box, box.style.bottom_left, box.style.bottom_right);
  ConsolePrintfC("%s", box.row);
  write_shadow(box, true);
  set_background(box.old_background);
  if (box.old_foreground < kKeepColour) SetConsoleColour(box.old_foreground);
  end_piece();

  free(centred);
  free(box.row);
  release_text(&formatted);
  return box.width;
}

std::int32_t SetBoxShadow(std::int32_t colour) {
  const std::int32_t before = console.box_shadow_colour;
  if (colour >= -1 && colour <= 15) console.box_shadow_colour = colour;
  return before;
}

char SetBoxChar(char character) {
  const char before = console.box_char;
  console.box_char = character;
  return before;
}

}  // namespace tarn
