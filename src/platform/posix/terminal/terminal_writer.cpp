#include "platform/posix/terminal/terminal_writer.h"

#include <errno.h>
#include <string.h>

#include "platform/posix/terminal/code_page.h"
#include "platform/posix/terminal/terminal_mode.h"

namespace tarn::platform {
namespace {

// By the beginning of the name, the first that fits.
constexpr struct {
  const char* name;
  TerminalKind kind;
} kKinds[] = {
    {"dumb", {false, false, false, CursorShapes::kNone}},
    {"unknown", {false, false, false, CursorShapes::kNone}},
    {"linux", {true, true, false, CursorShapes::kLinux}},
    {"vt", {true, true, false, CursorShapes::kNone}},
    {"ansi", {true, true, false, CursorShapes::kNone}},
    {"", {true, true, true, CursorShapes::kSequence}},
};

// A console counts blue, green, red from bit 0 up; a terminal the other way.
constexpr std::uint8_t kColours[8] = {0, 4, 2, 6, 1, 5, 3, 7};
constexpr unsigned kBright = 8;

unsigned colour_code(unsigned colour, unsigned dark, unsigned bright) {
  return kColours[colour & 7] + (colour & kBright ? bright : dark);
}

}  // namespace

TerminalKind terminal_kind(const char* term, bool no_colour) {
  if (term == nullptr || term[0] == '\0') term = "unknown";
  const auto* row = kKinds;
  while (strncmp(term, row->name, strlen(row->name)) != 0) ++row;
  TerminalKind kind = row->kind;
  if (no_colour) kind.colours = false;
  return kind;
}

void TerminalWriter::begin(int terminal, bool colours, int milliseconds) {
  milliseconds_ = milliseconds;
  terminal_ = terminal;
  colours_ = colours;
  attributes_ = text_attributes_ = kPlainAttribute;
  count_ = 0;
  failure_ = 0;
}

bool TerminalWriter::flush() {
  if (count_ > 0 && !write_terminal(terminal_, bytes_, count_, milliseconds_)) failure_ = errno;
  count_ = 0;
  errno = failure_;
  failure_ = 0;
  return errno == 0;
}

void TerminalWriter::put(const char* bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (count_ == kRoom) {
      const bool arrived = flush();
      if (!arrived) failure_ = errno;
    }
    bytes_[count_++] = bytes[i];
  }
}

void TerminalWriter::put(const char* text) { put(text, strlen(text)); }

void TerminalWriter::put_number(unsigned value) {
  char digits[10];
  std::size_t at = sizeof digits;
  do {
    digits[--at] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  put(digits + at, sizeof digits - at);
}

void TerminalWriter::put_sequence(unsigned a, char final) {
  put("\x1B[");
  put_number(a);
  put(&final, 1);
}

void TerminalWriter::put_sequence(unsigned a, unsigned b, char final) {
  put("\x1B[");
  put_number(a);
  put(";");
  put_number(b);
  put(&final, 1);
}

void TerminalWriter::move_to(int column, int row) {
  put_sequence(static_cast<unsigned>(row) + 1, static_cast<unsigned>(column) + 1, 'H');
}

// A black background is the terminal's own, and on it foreground 7 too, so that
// the screen keeps its look. Without colours a bright foreground is bold, and a
// background other than black is shown reversed.
void TerminalWriter::set_attributes(std::uint16_t attributes) {
  constexpr std::uint16_t kShown = 0xFF;
  attributes &= kShown;
  if (attributes == attributes_) return;
  attributes_ = attributes;
  const unsigned foreground = attributes & 15;
  const unsigned background = attributes >> 4;
  if (attributes == kPlainAttribute) {
    put("\x1B[m");
  } else if (colours_) {
    put_sequence(colour_code(foreground, 30, 90),
                 background == 0 ? 49 : colour_code(background, 40, 100), 'm');
  } else {
    put("\x1B[0");
    if (foreground & kBright) put(";1");
    if (background != 0) put(";7");
    put("m");
  }
}

void TerminalWriter::put_cell(CharInfo cell) {
  // Without colours, what is drawn in its own background can only be left out.
  if (!colours_ && (cell.attributes & 15) == (cell.attributes >> 4 & 15)) cell.character = ' ';
  if (count_ + kLongestPiece > kRoom) {
    const bool arrived = flush();
    if (!arrived) failure_ = errno;
  }
  set_attributes(cell.attributes);
  char glyph[3];
  put(glyph, put_glyph(cell.character, glyph));
}

void TerminalWriter::plain() { set_attributes(text_attributes_); }

}  // namespace tarn::platform
