// The console's operations, over the screen kept of the terminal.

#include <stdlib.h>
#include <string.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/terminal/code_page.h"
#include "platform/posix/terminal/console.h"
#include "platform/posix/terminal/screen.h"
#include "platform/posix/terminal/terminal.h"
#include "platform/posix/terminal/terminal_mode.h"

namespace tarn::platform {
namespace {

constexpr std::size_t kTitleSize = 1024;
char title[kTitleSize];
bool title_is_set;

std::int16_t narrow(int value) { return static_cast<std::int16_t>(value); }

// The part of the region that both the screen and the caller's buffer have.
// False, with a region of no cells, if there is none.
bool cut_region(const ScreenState& screen, Coord size, Coord* from, SmallRect* region) {
  int left = region->left, top = region->top;
  int right = region->right, bottom = region->bottom;
  int x = from->x, y = from->y;
  if (left < 0) {
    x -= left;
    left = 0;
  }
  if (top < 0) {
    y -= top;
    top = 0;
  }
  if (right >= screen.size.x) right = screen.size.x - 1;
  if (bottom >= screen.size.y) bottom = screen.size.y - 1;
  if (right - left >= size.x - x) right = left + size.x - x - 1;
  if (bottom - top >= size.y - y) bottom = top + size.y - y - 1;
  if (x < 0 || y < 0 || right < left || bottom < top) {
    region->right = narrow(region->left - 1);
    region->bottom = narrow(region->top - 1);
    return false;
  }
  *from = {narrow(x), narrow(y)};
  *region = {narrow(left), narrow(top), narrow(right), narrow(bottom)};
  return true;
}

// Writes text at the kept cursor, as a console prints it; control codes act, or
// take a cell like other characters.
void print(const ScreenState& screen, const std::uint8_t* text, std::uint32_t length,
           bool codes_act = true) {
  int x = screen.cursor.x < screen.size.x ? screen.cursor.x : screen.size.x - 1;
  int start = x;  // of what is to be drawn
  const auto draw = [&] {
    if (x > start) draw_row(screen.cursor.y, start, x - 1);
    start = x;
  };
  const auto print_cell = [&](std::uint8_t c) {
    set_cell(x++, screen.cursor.y, {c, 0, screen.text});
    if (x < screen.size.x) return;
    draw();
    next_row();
    x = start = 0;
  };
  for (std::uint32_t i = 0; i < length; ++i) {
    switch (codes_act ? text[i] : std::uint8_t{' '}) {
      case '\n':
        draw();
        next_row();
        x = start = 0;
        break;
      case '\r':
        draw();
        x = start = 0;
        break;
      case '\b':
        draw();
        if (x > 0) --x;
        start = x;
        break;
      case '\t':
        do {
          print_cell(' ');
        } while ((x & 7) != 0);
        break;
      case '\a':
        ring_terminal();
        break;
      default:
        print_cell(text[i]);
        break;
    }
  }
  draw();
  place_cursor(x, screen.cursor.y);
}

// The title in UTF-8 without control characters, which would end its sequence.
void put_printable(const char* from, char (&to)[kTitleSize]) {
  std::size_t length = strnlen(from, kTitleSize - 1), put = 0;
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(from);
  for (std::size_t i = 0; i < length;) {
    std::uint32_t code_point = bytes[i];
    int taken = 1;
    if (code_point >= 0x80) {
      taken = take_utf8(bytes + i, length - i, &code_point);
      if (taken <= 0) code_point = '?';
      if (taken <= 0) taken = 1;
    }
    const bool control = code_point < 0x20 || (code_point >= 0x7F && code_point < 0xA0);
    if (!control && code_point == '?') {
      to[put++] = '?';
    } else if (!control) {
      memcpy(to + put, from + i, static_cast<std::size_t>(taken));
      put += static_cast<std::size_t>(taken);
    }
    i += static_cast<std::size_t>(taken);
  }
  to[put] = '\0';
}

SmallRect visible(const ScreenState& screen) {
  const int right = screen.size.x < screen.window_size.x ? screen.size.x : screen.window_size.x;
  const int end = screen.top + screen.window_size.y;
  return {0, narrow(screen.top > 0 ? screen.top : 0), narrow(right - 1),
          narrow((end < screen.size.y ? end : screen.size.y) - 1)};
}

}  // namespace

// Start-up calls this in every program, and most of them never use the cells:
// the first call leaves the terminal alone and reports the cursor as (0, 0).
// Every later one asks the terminal if necessary.
Bool GetConsoleScreenBufferInfo(Handle handle, ScreenBufferInfo* info) {
  const ScreenLock lock;
  ScreenState* const screen = select_screen(handle);
  if (screen == nullptr) return 0;
  if (screen->looked_at && !settle_screen()) return 0;
  screen->looked_at = true;
  info->size = screen->size;
  info->cursor = screen->cursor;
  if (info->cursor.x >= screen->size.x) info->cursor.x = narrow(screen->size.x - 1);
  info->attributes = screen->text;
  info->window = visible(*screen);
  info->largest_window = screen->window_size;
  return 1;
}

Bool SetConsoleTextAttribute(Handle handle, std::uint16_t attributes) {
  const ScreenLock lock;
  if (select_screen(handle) == nullptr || !use_screen()) return 0;
  set_text_attributes(attributes);
  return flush_screen();
}

Bool GetConsoleWindowSize(Handle handle, Coord* size) {
  const ScreenLock lock;
  const ScreenState* const screen = select_screen(handle);
  if (screen == nullptr) return 0;
  if (screen_terminal() < 0) return window_of(selected_terminal(), size) ? 1 : fail_by_errno();
  if (!settle_screen()) return 0;
  const SmallRect window = visible(*screen);
  *size = {narrow(window.right + 1), narrow(window.bottom - window.top + 1)};
  return 1;
}

void HoldConsoleOutput(Bool hold) {
  const ScreenLock lock;
  hold_screen(hold != 0);
}

Bool GetConsoleCursorInfo(Handle handle, ConsoleCursorInfo* info) {
  const ScreenLock lock;
  const ScreenState* const screen = select_screen(handle);
  if (screen == nullptr) return 0;
  *info = screen->cursor_look;
  return 1;
}

Bool SetConsoleCursorInfo(Handle handle, const ConsoleCursorInfo* info) {
  const ScreenLock lock;
  const ScreenState* const screen = select_screen(handle);
  if (screen == nullptr) return 0;
  if (info->size < 1 || info->size > 100) return fail(kErrorInvalidParameter);
  if (info->size == screen->cursor_look.size && info->visible == screen->cursor_look.visible) {
    return 1;
  }
  if (!use_screen()) return 0;
  set_cursor_look(*info);
  return flush_screen() ? 1 : 0;
}

Bool SetConsoleCursorPosition(Handle handle, Coord place) {
  const ScreenLock lock;
  const ScreenState* const screen = select_screen(handle);
  if (screen == nullptr) return 0;
  if (place.x < 0 || place.y < 0 || place.x >= screen->size.x || place.y >= screen->size.y) {
    return fail(kErrorInvalidParameter);
  }
  if (!settle_screen()) return 0;
  if (place.x != screen->cursor.x || place.y != screen->cursor.y) place_cursor(place.x, place.y);
  return flush_screen() ? 1 : 0;
}

Bool ReadConsoleOutputA(Handle handle, CharInfo* to, Coord size, Coord from, SmallRect* region) {
  const ScreenLock lock;
  const ScreenState* const screen = select_screen(handle);
  if (screen == nullptr || !settle_screen()) return 0;
  if (!cut_region(*screen, size, &from, region)) return 1;
  for (int y = region->top; y <= region->bottom; ++y) {
    CharInfo* const line = to + (from.y + y - region->top) * size.x + from.x;
    for (int x = region->left; x <= region->right; ++x) line[x - region->left] = get_cell(x, y);
  }
  return 1;
}

Bool WriteConsoleOutputA(Handle handle, const CharInfo* from_cells, Coord size, Coord from,
                         SmallRect* region) {
  const ScreenLock lock;
  const ScreenState* const screen = select_screen(handle);
  if (screen == nullptr || !settle_screen()) return 0;
  if (!cut_region(*screen, size, &from, region)) return 1;
  for (int y = region->top; y <= region->bottom; ++y) {
    const CharInfo* const line = from_cells + (from.y + y - region->top) * size.x + from.x;
    for (int x = region->left; x <= region->right; ++x) set_cell(x, y, line[x - region->left]);
    draw_row(y, region->left, region->right);
  }
  return flush_screen() ? 1 : 0;
}

Bool WriteConsoleA(Handle handle, const void* text, std::uint32_t length, std::uint32_t* written,
                   void*) {
  if (written != nullptr) *written = 0;
  const ScreenLock lock;
  const ScreenState* const screen = select_screen(handle);
  if (screen == nullptr || !settle_screen()) return 0;
  print(*screen, static_cast<const std::uint8_t*>(text), length);
  if (!flush_screen()) return 0;
  if (written != nullptr) *written = length;
  return 1;
}

// Where there are no cells, as the system's own echo.
int echo_character(int descriptor, std::uint8_t character) {
  const ScreenLock lock;
  if (!shows_cells(descriptor)) {
    char glyph[3] = {'\n'};
    const bool blank = character == '\t';
    const std::size_t length =
        character == '\n' ? 1 : put_glyph(blank ? std::uint8_t{' '} : character, glyph);
    write_terminal(descriptor, glyph, length, -1);
    return 1;
  }
  const ScreenState* const screen = select_any_screen();
  if (screen == nullptr || !settle_screen()) return 0;
  constexpr std::uint8_t kTab[] = {' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '};
  int cells = 1;
  if (character == '\t') {
    const int left = screen->size.x - screen->cursor.x;
    cells = 8 - (screen->cursor.x & 7);
    if (left > 0 && left < cells) cells = left;
    print(*screen, kTab, static_cast<std::uint32_t>(cells));
  } else {
    print(*screen, &character, 1, character == '\n');
  }
  flush_screen();
  return cells;
}

void echo_erasure(int descriptor, int cells) {
  const ScreenLock lock;
  if (!shows_cells(descriptor)) {
    for (; cells > 0; --cells) write_terminal(descriptor, "\b \b", 3, -1);
    return;
  }
  const ScreenState* const screen = select_any_screen();
  if (screen == nullptr || !settle_screen()) return;
  int x = screen->cursor.x, y = screen->cursor.y;
  for (; cells > 0 && (x > 0 || y > 0); --cells) {
    if (x == 0) {
      x = screen->size.x;
      --y;
    }
    set_cell(--x, y, {' ', 0, kPlainAttribute});
    draw_row(y, x, x);
  }
  place_cursor(x, y);
  flush_screen();
}

std::uint32_t ToConsoleText(Handle input, char* text, std::uint32_t length) {
  const OpenObject* const object = find_handle(input, HandleKind::kFile);
  if (object == nullptr || terminal_device(object->descriptor) == 0) return length;
  auto* const bytes = reinterpret_cast<std::uint8_t*>(text);
  std::uint32_t put = 0;
  for (std::uint32_t i = 0; i < length; ++put) {
    std::uint32_t code_point = bytes[i];
    const int taken = code_point < 0x80 ? 1 : take_utf8(bytes + i, length - i, &code_point);
    bytes[put] = taken > 0 ? to_code_page(code_point) : '?';
    i += taken > 0 ? static_cast<std::uint32_t>(taken) : 1;
  }
  return put;
}

std::uint32_t GetConsoleTitleA(char* to, std::uint32_t size) {
  const ScreenLock lock;
  if (size == 0 || select_any_screen() == nullptr) return 0;
  if (!title_is_set) title_is_set = GetModuleFileNameA(nullptr, title, kTitleSize) > 0;
  const std::size_t stored = strnlen(title, size - 1);
  memcpy(to, title, stored);
  to[stored] = '\0';
  return static_cast<std::uint32_t>(strlen(title));
}

Bool SetConsoleTitleA(const char* text) {
  const ScreenLock lock;
  if (select_any_screen() == nullptr) return fail(kErrorInvalidHandle);
  const std::size_t length = strnlen(text, kTitleSize - 1);
  memcpy(title, text, length);
  title[length] = '\0';
  title_is_set = true;
  if (!use_screen()) return 0;
  char printable[kTitleSize];
  put_printable(title, printable);
  set_terminal_title(printable);
  return flush_screen() ? 1 : 0;
}

std::uint32_t GetConsoleTitleW(char16_t* to, std::uint32_t size) {
  char bytes[kTitleSize];
  char16_t wide[kTitleSize];
  if (size == 0 || GetConsoleTitleA(bytes, sizeof bytes) == 0) return 0;
  const std::uint32_t length = put_wide(bytes, wide, kTitleSize);
  const std::uint32_t taken = length < size ? length : size - 1;
  memcpy(to, wide, taken * sizeof *wide);
  to[taken] = 0;
  return length;
}

Bool SetConsoleTitleW(const char16_t* text) {
  char* const bytes = narrow_copy(text);
  const Bool is_set = bytes != nullptr && SetConsoleTitleA(bytes);
  free(bytes);
  return is_set;
}

}  // namespace tarn::platform
