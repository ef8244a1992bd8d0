// The console itself, whatever the standard streams are: single keys without echo, and text
// at once. What the streams hold for the screen goes out before.
#include <conio.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "../images/lock.h"
#include "../streams/stream.h"
#include "../streams/variadic.h"
#include "../strings/checked.h"
#include "keys.h"

using namespace crt;

extern "C" int iso_vsnprintf(char*, size_t, const char*, va_list) __asm__("vsnprintf");

namespace {

// Keys without a character are two codes, the first of which says so.
constexpr struct {
  WORD key;
  unsigned char first, second;
} kSilentKeys[] = {
    {VK_HOME, 0xE0, 71},   {VK_UP, 0xE0, 72},     {VK_PRIOR, 0xE0, 73}, {VK_LEFT, 0xE0, 75},
    {VK_RIGHT, 0xE0, 77},  {VK_END, 0xE0, 79},    {VK_DOWN, 0xE0, 80},  {VK_NEXT, 0xE0, 81},
    {VK_INSERT, 0xE0, 82}, {VK_DELETE, 0xE0, 83}, {VK_F1, 0, 59},       {VK_F2, 0, 60},
    {VK_F3, 0, 61},        {VK_F4, 0, 62},        {VK_F5, 0, 63},       {VK_F6, 0, 64},
    {VK_F7, 0, 65},        {VK_F8, 0, 66},        {VK_F9, 0, 67},       {VK_F10, 0, 68},
    {VK_F11, 0xE0, 133},   {VK_F12, 0xE0, 134},
};

Lock console_lock;
int pushed = EOF, pushed_wide = EOF;  // by _ungetch, or the second code of a key

HANDLE open_console(const char* name) {
  return CreateFileA(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                     nullptr, OPEN_EXISTING, 0, nullptr);
}
HANDLE keyboard() {
  static const HANDLE handle = open_console("CONIN$");
  return handle;
}
HANDLE screen() {
  static const HANDLE handle = open_console("CONOUT$");
  return handle;
}

// The first code of a key, and its second or EOF. False for what is no key to a program.
bool codes_of(const INPUT_RECORD& record, bool is_wide, int* first, int* second) {
  const KEY_EVENT_RECORD& key = record.Event.KeyEvent;
  *second = EOF;
  if (record.EventType != KEY_EVENT || !key.bKeyDown) return false;
  *first = is_wide ? key.uChar.UnicodeChar : static_cast<unsigned char>(key.uChar.AsciiChar);
  if (*first != 0) return true;
  for (const auto& silent : kSilentKeys) {
    if (silent.key != key.wVirtualKeyCode) continue;
    *first = silent.first;
    *second = silent.second;
    return true;
  }
  return false;
}

bool read_one(char* to) {
  DWORD count;
  return ReadConsoleA(keyboard(), to, 1, &count, nullptr) && count == 1;
}
bool read_one(wchar_t* to) {
  DWORD count;
  return ReadConsoleW(keyboard(), to, 1, &count, nullptr) && count == 1;
}

DWORD mode_of_lines;  // while the program polls, else 0

// Until the program reads, the console neither echoes keys nor keeps them for a line.
void begin_polling() {
  DWORD mode;
  if (mode_of_lines != 0 || !GetConsoleMode(keyboard(), &mode) || mode == 0) return;
  mode_of_lines = mode;
  SetConsoleMode(keyboard(), mode & ~DWORD{ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT});
}

__attribute__((destructor)) void end_polling() {
  const Locked locked(console_lock);
  if (mode_of_lines != 0) SetConsoleMode(keyboard(), mode_of_lines);
  mode_of_lines = 0;
}

// The console echoes what is typed until Enter. What does not fit begins the next line. Result:
// false, and an empty line, without a console or at the end of its input.
wint_t kept;

template <class Char>
bool read_line(Char* to, size_t size, size_t* length) {
  const Locked locked(console_lock);
  end_polling();
  flush_all();
  *length = 0;
  for (Char next;;) {
    if (kept) {
      next = static_cast<Char>(kept);
      kept = 0;
    } else if (!read_one(&next)) {
      to[*length] = 0;
      return *length > 0;
    }
    if (next == '\r') continue;
    if (next == '\n') break;
    if (*length + 1 == size) {
      kept = static_cast<wint_t>(sizeof(Char) == 1 ? next & 0xFF : next);
      break;
    }
    to[(*length)++] = next;
  }
  to[*length] = 0;
  return true;
}

}  // namespace

CRT_API errno_t _cgets_s(char* line, size_t size, size_t* length) {
  if (!line || size == 0 || !length) return refuse(line, size, EINVAL);
  return read_line(line, size, length) ? 0 : EOF;
}
CRT_API errno_t _cgetws_s(wchar_t* line, size_t size, size_t* length) {
  if (!line || size == 0 || !length) return refuse(line, size, EINVAL);
  return read_line(line, size, length) ? 0 : EOF;
}
// The first element is the room of the line, which comes after the second, its length.
CRT_API char* _cgets(char* block) {
  size_t length = 0;
  const errno_t error = _cgets_s(block + 2, static_cast<unsigned char>(block[0]), &length);
  block[1] = static_cast<char>(length);
  return error == 0 ? block + 2 : nullptr;
}
CRT_API wchar_t* _cgetws(wchar_t* block) {
  size_t length = 0;
  const errno_t error = _cgetws_s(block + 2, block[0], &length);
  block[1] = static_cast<wchar_t>(length);
  return error == 0 ? block + 2 : nullptr;
}

namespace {

int take_key(int* waiting, bool is_wide) {
  const Locked locked(console_lock);
  int code = *waiting;
  *waiting = EOF;
  end_polling();
  if (code != EOF) return code;
  flush_all();
  const auto read = is_wide ? ReadConsoleInputW : ReadConsoleInputA;
  INPUT_RECORD record;
  DWORD count;
  do {
    if (!read(keyboard(), &record, 1, &count)) return EOF;
  } while (count == 0 || !codes_of(record, is_wide, &code, waiting));
  return code;
}

}  // namespace

CRT_API int _getch(void) { return take_key(&pushed, false); }
CRT_API wint_t _getwch(void) { return static_cast<wint_t>(take_key(&pushed_wide, true)); }

CRT_API int _ungetch(int code) {
  const Locked locked(console_lock);
  if (code == EOF || pushed != EOF) return EOF;
  return pushed = code;
}
CRT_API wint_t _ungetwch(wint_t code) {
  const Locked locked(console_lock);
  if (code == WEOF || pushed_wide != EOF) return WEOF;
  pushed_wide = code;
  return code;
}

int crt::take_pushed_key() {
  const Locked locked(console_lock);
  const int code = pushed;
  pushed = EOF;
  return code;
}

// Events that are no keys are taken away, since they would hide one.
CRT_API int _kbhit(void) {
  const Locked locked(console_lock);
  INPUT_RECORD record;
  DWORD count;
  int first, second;
  if (pushed != EOF || pushed_wide != EOF) return 1;
  flush_all();
  before_console_read = end_polling;
  begin_polling();
  while (PeekConsoleInputA(keyboard(), &record, 1, &count) && count > 0) {
    if (codes_of(record, false, &first, &second)) return 1;
    ReadConsoleInputA(keyboard(), &record, 1, &count);
  }
  return 0;
}

CRT_API int _cputs(const char* text) {
  const Locked locked(console_lock);
  DWORD written;
  flush_all();
  return WriteFile(screen(), text, static_cast<DWORD>(strlen(text)), &written, nullptr) ? 0 : EOF;
}
CRT_API int _putch(int character) {
  const char text[2] = {static_cast<char>(character), '\0'};
  return _cputs(text) == 0 ? static_cast<unsigned char>(character) : EOF;
}
CRT_API int _getche(void) {
  const int code = _getch();
  if (code != EOF && code != 0 && code != 0xE0) _putch(code);
  return code;
}

extern "C" int console_vprintf(const char*, va_list) __asm__("_vcprintf");
extern "C" int console_printf(const char*, ...) __asm__("_cprintf");
CRT_API int console_vprintf(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = iso_vsnprintf(nullptr, 0, format, again);
  va_end(again);
  char* const text = length < 0 ? nullptr : static_cast<char*>(malloc(length + size_t{1}));
  if (!text) return -1;
  iso_vsnprintf(text, length + size_t{1}, format, arguments);
  const int result = _cputs(text);
  free(text);
  return result == 0 ? length : -1;
}
CRT_API int console_printf(const char* format, ...) {
  ARGUMENTS(format, console_vprintf(format, arguments));
}

CRT_API int _cputws(const wchar_t* text) {
  const Locked locked(console_lock);
  DWORD written;
  flush_all();
  return WriteConsoleW(screen(), text, static_cast<DWORD>(wcslen(text)), &written, nullptr) ? 0
                                                                                            : -1;
}
CRT_API wint_t _putwch(wchar_t character) {
  const wchar_t text[2] = {character, 0};
  return _cputws(text) == 0 ? character : WEOF;
}
CRT_API wint_t _getwche(void) {
  const wint_t code = _getwch();
  if (code != WEOF && code != 0 && code != 0xE0) _putwch(code);
  return code;
}
CRT_API int _vcwprintf(const wchar_t* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = _vscwprintf(format, again);
  va_end(again);
  const size_t size = static_cast<size_t>(length) + 1;
  auto* const text = length < 0 ? nullptr : static_cast<wchar_t*>(malloc(size * sizeof(wchar_t)));
  if (!text) return -1;
  _vsnwprintf(text, size, format, arguments);
  const int result = _cputws(text);
  free(text);
  return result == 0 ? length : -1;
}
CRT_API int _cwprintf(const wchar_t* format, ...) {
  ARGUMENTS(format, _vcwprintf(format, arguments));
}
