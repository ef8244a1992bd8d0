// Runs the console's model against the console that the program has. The first
// difference, or nothing, goes to a file: standard output is the screen.
//
//   console_streams streams result-file
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "console/console_state.h"
#include "tests/support/console_model.h"
#include "tests/support/raised.h"

namespace {

void type_keys(int count) {
  INPUT_RECORD key{};
  key.EventType = KEY_EVENT;
  key.Event.KeyEvent.bKeyDown = TRUE;
  key.Event.KeyEvent.wRepeatCount = 1;
  key.Event.KeyEvent.wVirtualKeyCode = 'K';
  key.Event.KeyEvent.uChar.AsciiChar = 'k';
  DWORD written;
  while (count-- > 0) {
    WriteConsoleInputA(GetStdHandle(STD_INPUT_HANDLE), &key, 1, &written);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  tarn::test::initialise();
  const std::string found = tarn::ConsoleRedirected() ? "no screen"
                                                      : tarn::test::compare_random_streams(
                                                            1, std::atoi(argv[1]), type_keys);
  std::FILE* const result = std::fopen(argv[2], "w");
  if (!result) return 2;
  std::fprintf(result, "%d by %d: %s\n", tarn::ScreenWidth(), tarn::ScreenHeight(),
               found.empty() ? "no difference" : found.c_str());
  std::fclose(result);
  return found.empty() ? 0 : 1;
}
