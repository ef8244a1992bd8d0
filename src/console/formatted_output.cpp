#include "console/formatted_output.h"

#include "console/console_state.h"
#include "console/formatted_text.h"
#include "console/line_output.h"
#include "platform/output.h"
#include "storage/heap.h"
#include "streams/format.h"

namespace tarn {
namespace {

bool ends_line(char c) { return c == '\n' || c == '\r'; }

void flush_collected() {
  if (console.buffered) FlushConsole();
}

std::int32_t write_formatted(std::int64_t handle, const char* format, const Slot* slots) {
  if (handle == kNoHandle) return 0;
  FormattedText formatted;
  format_text(&formatted, format, slots);
  std::uint32_t written = 0;
  platform::write_output(system_handle(handle), formatted.text,
                         static_cast<std::uint32_t>(formatted.length), &written);
  release_text(&formatted);
  return static_cast<std::int32_t>(written);
}

// Shows a string, which it may shorten, in the middle of its row.
std::int32_t write_centred(char* text, std::int32_t length) {
  const std::int32_t wrap_mode = console.wrap_mode;
  flush_collected();
  std::int32_t visible = length;
  std::int32_t last = length > 0 ? length - 1 : 0;
  while (last > 0 && ends_line(text[last])) {
    --last;
    --visible;
  }
  const bool rewrite =
      length > 0 && text[last + 1] == '\r' && console.clear_before_centre && !console.redirected;
  if (rewrite) text[last + 1] = '\0';

  std::int32_t x;
  std::int32_t y;
  GetCursorPos(&x, &y);
  x = (console.screen_width - visible) / 2 + console.centre_shift;
  if (x < 0) x = 0;
  console.wrap_mode = 0;
  platform::HoldConsoleOutput(1);
  if (rewrite) {
    SetConsoleCursorPos(x, y);
    ClearToCursorPos();
    output_unbuffered_win32_line(text, length);
    platform::HoldConsoleOutput(1);
    ClearToEOL();
    SetConsoleCursorPos(0, y);
    platform::HoldConsoleOutput(0);
  } else {
    if (console.clear_before_centre) ClearCurrentLine();
    SetConsoleCursorPos(x, y);
    output_unbuffered_win32_line(text, length);
  }
  console.wrap_mode = wrap_mode;
  return visible;
}

}  // namespace

void format_text(FormattedText* result, const char* format, const Slot* slots) {
  constexpr std::int32_t kRoom = sizeof result->local;
  result->text = result->local;
  result->length = format_bounded(result->local, kRoom, format, slots);
  if (result->length < kRoom) return;
  if (result->length <= kLongestFormatted) {
    const std::uint64_t size = static_cast<std::uint64_t>(result->length) + 1;
    char* const block = static_cast<char*>(malloc(size));
    if (block) {
      format_bounded(block, size, format, slots);
      result->text = block;
      return;
    }
  }
  result->length = kRoom - 1;
}

void release_text(FormattedText* text) {
  if (text->text != text->local) free(text->text);
}

std::int32_t ConsolePrintf(const char* format, ...) {
  TARN_SLOTS_BEHIND(slots, format);
  FormattedText formatted;
  format_text(&formatted, format, slots);
  flush_collected();
  output_unbuffered_win32_line(formatted.text, formatted.length);
  release_text(&formatted);
  return formatted.length;
}

std::int32_t ConsolePrintfC(const char* format, ...) {
  TARN_SLOTS_BEHIND(slots, format);
  FormattedText formatted;
  format_text(&formatted, format, slots);
  const std::int32_t visible = write_centred(formatted.text, formatted.length);
  release_text(&formatted);
  return visible;
}

void ClearPrintfCLine(std::int32_t on) { console.clear_before_centre = on; }

// The difference has single precision.
void centre_line(const char* source, char* destination, std::int32_t length, std::int32_t width) {
  if (length != width) {
    const auto difference = static_cast<float>(std::int64_t{width} - length);
    const double blanks = difference / 2.0 + 0.5;
    for (auto left = static_cast<std::int64_t>(blanks); left > 0; --left) *destination++ = ' ';
  }
  while ((*destination++ = *source++)) {
  }
}

std::int32_t __HandlePrintf(std::int64_t handle, const char* format, ...) {
  TARN_SLOTS_BEHIND(slots, format);
  return write_formatted(handle, format, slots);
}

std::int32_t __ConsolePrintf(const char* format, ...) {
  TARN_SLOTS_BEHIND(slots, format);
  return write_formatted(console.conout_handle, format, slots);
}

void ConsoleWrite(const char* text) { output_win32_line(text, -1); }
void tarn_console_write(const char* text, std::int64_t length) {
  output_win32_line(text, static_cast<std::int32_t>(length));
}
void ConsoleWriteChar(char character) { output_win32_char(character); }
void tarn_console_write_char(const char* character) { ConsoleWriteChar(*character); }

}  // namespace tarn
