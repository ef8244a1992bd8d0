// Console output: any calls with any text, on a screen whose width is any.
//
// The bytes are calls: a letter, a length, a text of that length. The screen is
// a pseudo terminal that a thread empties; pauses find no keys and go on.
#include <stdlib.h>

#include <cstdint>
#include <string>

#include "console/colour.h"
#include "console/console_state.h"
#include "console/formatted_output.h"
#include "console/line_output.h"
#include "startup/initialise.h"
#include "storage/heap.h"
#include "tests/support/pseudo_terminal.h"

namespace {

std::int64_t open_screen() {
  setenv("TERM", "xterm", 1);
  tarn::__initialise_cpplib();
  static const tarn::test::BlindTerminal terminal(80, 12);
  return reinterpret_cast<std::int64_t>(
      tarn::platform::CreateFileA(terminal.path().c_str(), tarn::platform::kGenericWrite, 3,
                                  nullptr, tarn::platform::kOpenExisting, 0, nullptr));
}

void call(std::uint8_t which, std::int32_t number, const std::string& text) {
  const auto length = static_cast<std::int32_t>(text.size());
  switch (which % 22) {
    case 0:
      return tarn::output_win32_line(text.data(), length);
    case 1:
      return tarn::output_win32_line(text.c_str(), -1);
    case 2:
      return tarn::output_unbuffered_win32_line(text.data(), length);
    case 3:
      return tarn::output_win32_char(static_cast<char>(number));
    case 4:
      return tarn::FlushConsole();
    case 5:
      return tarn::ConsoleBufferMode(number & 1);
    case 6:
      return tarn::CursorWrapMode(number & 1);
    case 7:
      return void(tarn::SetConsoleColour(number));
    case 8:
      return void(tarn::SetConsoleBackground(number));
    case 9:
      return tarn::PushConsoleColour(number);
    case 10:
      return tarn::PopConsoleColour();
    case 11:
      return tarn::SetConsoleCursorPos(number, number / 80);
    case 12:
      return tarn::ClearCurrentLine();
    case 13:
      return tarn::ClearToCursorPos();
    case 14:
      return tarn::ClearToEOL();
    case 15:
      return tarn::ConsolePauseMode(number % 3 - 1);
    case 16:
      return tarn::FreeConsoleInstance();
    case 17:
      return tarn::ClearPrintfCLine(number & 1);
    case 18:
      return void(tarn::ConsolePrintfC("%s", text.c_str()));
    case 19:
      return void(tarn::ConsoleBoxPrint(number % 8, number, number / 7, "%s", text.c_str()));
    case 20:
      return void(tarn::SetBoxShadow(number % 18 - 2));
    default:
      return tarn::write_linebuff(number, nullptr);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::int64_t screen = open_screen();
  if (size < 3) return 0;
  tarn::console.output_handle = screen;
  tarn::console.input_handle = tarn::kNoHandle;
  tarn::console.redirected = data[0] == 0;
  tarn::console.screen_width = 1 + (data[1] | (data[2] & 3) << 8);
  tarn::console.buffer_height = 12;
  tarn::console.pause_threshold = 10;
  // Both rows are of the width before, and nobody else gives them back.
  tarn::free(tarn::console.clear_buffer);
  tarn::free(tarn::console.pause_buffer);
  tarn::console.clear_buffer = nullptr;
  tarn::console.pause_buffer = nullptr;
  for (std::size_t at = 3; at + 3 <= size;) {
    const std::uint8_t which = data[at];
    const auto number = static_cast<std::int16_t>(data[at + 1] | data[at + 2] << 8);
    at += 3;
    const std::size_t wanted = which < 128 ? 0 : data[at - 2];
    const std::size_t length = wanted < size - at ? wanted : size - at;
    // A line longer than any limit at times.
    std::string text(reinterpret_cast<const char*>(data + at), length);
    if (which >= 250) text += std::string(3000, 'x');
    at += length;
    call(which, number, text);
  }
  return 0;
}
