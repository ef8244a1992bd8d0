#include "platform/windows/system.h"

namespace tarn::platform {

static_assert(sizeof(ScreenBufferInfo) == sizeof(CONSOLE_SCREEN_BUFFER_INFO));
static_assert(sizeof(CharInfo) == sizeof(CHAR_INFO));
static_assert(sizeof(ConsoleCursorInfo) == sizeof(CONSOLE_CURSOR_INFO));
static_assert(sizeof(InputRecord) == sizeof(INPUT_RECORD));

namespace {

COORD native(Coord c) { return {c.x, c.y}; }

}  // namespace

Bool GetConsoleScreenBufferInfo(Handle screen, ScreenBufferInfo* info) {
  return ::GetConsoleScreenBufferInfo(screen, reinterpret_cast<CONSOLE_SCREEN_BUFFER_INFO*>(info));
}

Bool GetConsoleWindowSize(Handle screen, Coord* size) {
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!::GetConsoleScreenBufferInfo(screen, &info)) return 0;
  *size = {static_cast<std::int16_t>(info.srWindow.Right - info.srWindow.Left + 1),
           static_cast<std::int16_t>(info.srWindow.Bottom - info.srWindow.Top + 1)};
  return 1;
}

void HoldConsoleOutput(Bool) {}

Bool GetConsoleCursorInfo(Handle screen, ConsoleCursorInfo* info) {
  return ::GetConsoleCursorInfo(screen, reinterpret_cast<CONSOLE_CURSOR_INFO*>(info));
}

Bool SetConsoleCursorInfo(Handle screen, const ConsoleCursorInfo* info) {
  return ::SetConsoleCursorInfo(screen, reinterpret_cast<const CONSOLE_CURSOR_INFO*>(info));
}

Bool SetConsoleCursorPosition(Handle screen, Coord place) {
  return ::SetConsoleCursorPosition(screen, native(place));
}

Bool ReadConsoleOutputA(Handle screen, CharInfo* cells, Coord size, Coord from, SmallRect* region) {
  return ::ReadConsoleOutputA(screen, reinterpret_cast<CHAR_INFO*>(cells), native(size),
                              native(from), reinterpret_cast<SMALL_RECT*>(region));
}

Bool WriteConsoleOutputA(Handle screen, const CharInfo* cells, Coord size, Coord from,
                         SmallRect* region) {
  return ::WriteConsoleOutputA(screen, reinterpret_cast<const CHAR_INFO*>(cells), native(size),
                               native(from), reinterpret_cast<SMALL_RECT*>(region));
}

Bool WriteConsoleA(Handle screen, const void* text, std::uint32_t length, std::uint32_t* written,
                   void* reserved) {
  return ::WriteConsoleA(screen, text, length, reinterpret_cast<DWORD*>(written), reserved);
}

Bool ReadConsoleInputA(Handle input, InputRecord* records, std::uint32_t room,
                       std::uint32_t* count) {
  const Bool done = ::ReadConsoleInputA(input, reinterpret_cast<INPUT_RECORD*>(records), room,
                                        reinterpret_cast<DWORD*>(count));
  // Wine's console on a terminal leaves out the escape key's character.
  for (std::uint32_t i = 0; done && i < *count; ++i) {
    InputRecord& record = records[i];
    if (record.event_type == kKeyEvent && record.virtual_key_code == VK_ESCAPE) {
      record.character = VK_ESCAPE;
    }
  }
  return done;
}

// A console on a terminal reports an ESC and a character that arrive together
// as Alt; with Control, Alt selects further characters.
std::uint32_t ReadKeyText(Handle input, char* text) {
  constexpr wchar_t kEscape = 0x1B;
  constexpr DWORD kAlts = LEFT_ALT_PRESSED | RIGHT_ALT_PRESSED;
  constexpr DWORD kControls = LEFT_CTRL_PRESSED | RIGHT_CTRL_PRESSED;
  static wchar_t after_escape;
  wchar_t units[2] = {after_escape};
  int count = after_escape != 0 ? 1 : 0;
  after_escape = 0;
  while (count == 0 || (count == 1 && IS_HIGH_SURROGATE(units[0]))) {
    INPUT_RECORD record;
    DWORD got;
    if (!::ReadConsoleInputW(input, &record, 1, &got)) return 0;
    const KEY_EVENT_RECORD& key = record.Event.KeyEvent;
    if (got == 0 || record.EventType != KEY_EVENT || !key.bKeyDown) continue;
    // Wine's console on a terminal leaves out the escape key's character.
    wchar_t unit = key.wVirtualKeyCode == VK_ESCAPE ? kEscape : key.uChar.UnicodeChar;
    const DWORD state = key.dwControlKeyState;
    if (count == 0 && unit != 0 && (state & kAlts) != 0 && (state & kControls) == 0) {
      after_escape = unit;
      unit = kEscape;
    }
    if (unit != 0) units[count++] = unit;
  }
  return static_cast<std::uint32_t>(
      ::WideCharToMultiByte(CP_ACP, 0, units, count, text, kKeyTextSize, nullptr, nullptr));
}

std::uint32_t ToConsoleText(Handle, char*, std::uint32_t length) { return length; }

std::uint32_t GetConsoleTitleA(char* title, std::uint32_t size) {
  return ::GetConsoleTitleA(title, size);
}

Bool SetConsoleTitleA(const char* title) { return ::SetConsoleTitleA(title); }

// The window library is loaded only when it is needed.
std::int32_t GetSystemMetrics(std::int32_t metric) {
  using Service = int(WINAPI*)(int);
  static const auto service = late_service<Service>("user32.dll", "GetSystemMetrics");
  return service ? service(metric) : 0;
}

}  // namespace tarn::platform
