#include "console/console_state.h"

#include "platform/byte_block.h"
#include "process/process_state.h"
#include "process/system_facts.h"
#include "services/configuration.h"
#include "storage/heap.h"

namespace tarn {

constinit ConsoleState console{};

namespace {

constexpr std::int32_t kRedirectedWidth = 80;

// Metrics of the system, by their published numbers.
constexpr std::int32_t kMetricFullScreenWidth = 16;
constexpr std::int32_t kMetricFullScreenHeight = 17;
constexpr std::int32_t kMetricSlowMachine = 73;

constexpr std::uint32_t kPlatformPlain = 0;  // under a 16-bit system
constexpr std::uint32_t kPlatformWindows = 1;
constexpr std::uint32_t kPlatformNt = 2;

// The cursor that HIDE_CURSOR@ hid; `screen` is kNoHandle if none is hidden.
struct HiddenCursor {
  std::int64_t screen = kNoHandle;
  platform::Bool visible = 0;
} hidden_cursor;

// What is set to 0 at the start.
constexpr std::int32_t ConsoleState::*kZeroAtStart[] = {
    &ConsoleState::scroll_count,  &ConsoleState::background,      &ConsoleState::text_attribute,
    &ConsoleState::pending_count, &ConsoleState::pause_threshold, &ConsoleState::screen_width,
    &ConsoleState::screen_height, &ConsoleState::cursor_x,        &ConsoleState::cursor_y,
    &ConsoleState::clear_width,   &ConsoleState::pause_enabled,   &ConsoleState::pause_active,
    &ConsoleState::pause_once,    &ConsoleState::wrap_mode,       &ConsoleState::redirected,
    &ConsoleState::cursor_hidden, &ConsoleState::read_end,        &ConsoleState::read_error,
};

void reset_state() {
  console.colour_stack = nullptr;
  console.int_stack_free_list = nullptr;
  console.clear_buffer = nullptr;
  console.pause_buffer = nullptr;
  for (const auto field : kZeroAtStart) console.*field = 0;
  console.read_pos = -1;
  console.buffered = 1;
  fill_bytes(console.line_cells, 0, sizeof console.line_cells);
  console.clear_cell = {};
  console.screen = {};
}

void open_handles() {
  console.output_handle =
      reinterpret_cast<std::int64_t>(platform::GetStdHandle(platform::kStandardOutput));
  console.input_handle =
      reinterpret_cast<std::int64_t>(platform::GetStdHandle(platform::kStandardInput));
  console.conout_handle = reinterpret_cast<std::int64_t>(platform::CreateFileA(
      "CONOUT$", platform::kGenericWrite, platform::kShareRead | platform::kShareWrite, nullptr,
      platform::kOpenExisting, platform::kAttributeNormal, nullptr));
}

// Also settles nt_platform. The first system of the family 1, and what came
// before it, had a console that could not be written by cells reliably.
bool system_has_cells() {
  const platform::VersionInfo& version = system_facts.version;
  console.nt_platform = version.platform_id == kPlatformNt;
  return version.platform_id != kPlatformPlain &&
         !(version.platform_id == kPlatformWindows && version.major == 4 && version.minor == 0);
}

// The attribute of the cell under the cursor.
bool read_attribute(std::uint16_t* attribute) {
  platform::CharInfo cell{};
  const platform::Coord place = console.screen.cursor;
  platform::SmallRect region{place.x, place.y, place.x, place.y};
  if (!platform::ReadConsoleOutputA(system_handle(console.output_handle), &cell, {1, 1}, {0, 0},
                                    &region)) {
    return false;
  }
  *attribute = cell.attributes;
  return true;
}

std::int32_t columns_of(const platform::SmallRect& window) {
  return window.right - window.left + 1;
}

std::int32_t rows_of(const platform::SmallRect& window) { return window.bottom - window.top + 1; }

// The window, whose previous size is in the record, now has this size.
void follow_window(std::int32_t columns, std::int32_t rows) {
  const platform::SmallRect& window = console.screen.window;
  if (columns != columns_of(window)) console.screen_width = columns;
  if (rows != rows_of(window)) console.screen_height = rows;
}

// Takes the present size, even if nothing was written since it changed.
void look_at_window() {
  platform::Coord size;
  if (console.redirected ||
      !platform::GetConsoleWindowSize(system_handle(console.output_handle), &size)) {
    return;
  }
  follow_window(size.x, size.y);
  platform::SmallRect& window = console.screen.window;
  window.right = static_cast<std::int16_t>(window.left + size.x - 1);
  window.bottom = static_cast<std::int16_t>(window.top + size.y - 1);
}

// Records the screen's properties, or returns false if there is no screen.
// The user's setting is read for screens only: the registry takes time to load.
bool find_screen() {
  if (!system_has_cells() || console.output_handle == kNoHandle) return false;
  const platform::Handle output = system_handle(console.output_handle);
  std::uint32_t mode;
  if (!platform::GetConsoleMode(output, &mode)) return false;
  const char* const enabled = read_config_key("TARNLEY_CONSOLE_ENABLED");
  if (enabled && *enabled == '0') return false;
  if (!platform::GetConsoleScreenBufferInfo(output, &console.screen) ||
      !platform::GetConsoleCursorInfo(output, &console.cursor)) {
    return false;
  }
  const platform::ScreenBufferInfo& screen = console.screen;
  if (screen.size.x == 0 || screen.window.bottom == 0 || screen.size.y == 0 ||
      screen.window.right == 0) {
    return false;
  }
  console.screen_width = columns_of(screen.window);
  console.screen_height = rows_of(screen.window);
  console.buffer_height = screen.size.y;
  console.cursor_x = screen.cursor.x;
  console.cursor_y = screen.cursor.y;
  if (console.nt_platform) {
    console.text_attribute = screen.attributes & 0xFF;
    console.background = screen.attributes & 0xF0;
  } else {
    std::uint16_t attribute;
    if (!read_attribute(&attribute)) return false;
    console.background = attribute & 0xF0;
    console.text_attribute = attribute;
  }
  console.pause_threshold = console.buffer_height - 2;
  console.wrap_mode = 1;
  return true;
}

}  // namespace

const DesktopFacts& desktop_facts() {
  static DesktopFacts facts;
  static bool known;
  if (!known) {
    facts = {GetDllVersion("comctl32.dll"), platform::GetSystemMetrics(kMetricSlowMachine),
             platform::GetSystemMetrics(kMetricFullScreenWidth),
             platform::GetSystemMetrics(kMetricFullScreenHeight)};
    known = true;
  }
  return facts;
}

void __InitialiseConsole() {
  if (console.console_initialised) return;
  console.console_initialised = 1;
  reset_state();
  note_system_facts();
  open_handles();
  if (!find_screen()) {
    console.redirected = 1;
    console.screen_width = kRedirectedWidth;
  }
  console.clear_cell = {' ', 0, static_cast<std::uint16_t>(console.text_attribute)};
}

std::int32_t ConsoleRedirected() { return console.redirected; }
std::int32_t tarn_console_redirected() { return ConsoleRedirected(); }

void RedirectConsoleOutput(std::int64_t handle) {
  console.redirected = 1;
  console.output_handle = handle;
}
void tarn_redirect_console_output(const std::int64_t* handle) { RedirectConsoleOutput(*handle); }

void RedirectConsoleInput(std::int64_t handle) { console.input_handle = handle; }
void tarn_redirect_console_input(const std::int64_t* handle) { RedirectConsoleInput(*handle); }

std::int32_t _get_console_handle(std::int32_t which) {
  constexpr RuntimeCell kCells[] = {kCellInputHandle, kCellOutputHandle, kCellErrorHandle};
  return which < 0 || which > 2 ? -1 : static_cast<std::int32_t>(runtime_cell(kCells[which]));
}

std::int32_t ScreenWidth() {
  look_at_window();
  return console.screen_width;
}
std::int32_t ScreenHeight() {
  look_at_window();
  return console.screen_height;
}

void CursorWrapMode(std::int32_t mode) { console.wrap_mode = mode; }
void tarn_set_console_wrap_mode(const std::int32_t* mode) { CursorWrapMode(*mode); }

void SetConsoleCursorPos(std::int32_t x, std::int32_t y) {
  console.cursor_x = x;
  console.cursor_y = y;
  if (console.redirected) return;
  platform::SetConsoleCursorPosition(system_handle(console.output_handle),
                                     {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)});
}
void tarn_set_console_cursor_pos(const std::int32_t* x, const std::int32_t* y) {
  SetConsoleCursorPos(*x, *y);
}

void GetCursorPos(std::int32_t* x, std::int32_t* y) {
  if (console.redirected) {
    *x = 0;
    *y = 0;
    return;
  }
  platform::ScreenBufferInfo now;
  if (platform::GetConsoleScreenBufferInfo(system_handle(console.output_handle), &now)) {
    follow_window(columns_of(now.window), rows_of(now.window));
    console.screen = now;
  }
  *x = console.screen.cursor.x;
  *y = console.screen.cursor.y;
}
void tarn_get_console_cursor_pos(std::int32_t* x, std::int32_t* y) { GetCursorPos(x, y); }

std::int32_t SetConsoleCursorSize(std::int32_t size) {
  const platform::Handle output = system_handle(console.output_handle);
  if (console.redirected || !platform::GetConsoleCursorInfo(output, &console.cursor)) return 0;
  const auto before = static_cast<std::int32_t>(console.cursor.size);
  console.cursor.size = static_cast<std::uint32_t>(size);
  platform::SetConsoleCursorInfo(output, &console.cursor);
  return before;
}
std::int32_t tarn_set_cursor_size(const std::int32_t* size) { return SetConsoleCursorSize(*size); }

void CursorControl(std::int32_t on) {
  if (on && console.cursor_hidden) {
    tarn_restore_cursor();
    console.cursor_hidden = 0;
  } else if (!on && !console.cursor_hidden) {
    tarn_hide_cursor();
    console.cursor_hidden = 1;
  }
}
void tarn_cursor_control(const std::int32_t* on) { CursorControl(*on); }

void tarn_hide_cursor() {
  platform::ConsoleCursorInfo info;
  const platform::Handle output = system_handle(console.output_handle);
  if (console.redirected || hidden_cursor.screen != kNoHandle ||
      !platform::GetConsoleCursorInfo(output, &info)) {
    return;
  }
  hidden_cursor = {console.output_handle, info.visible};
  info.visible = 0;
  platform::SetConsoleCursorInfo(output, &info);
}

// A size that was set in between is kept.
void tarn_restore_cursor() {
  platform::ConsoleCursorInfo info;
  const platform::Handle screen = system_handle(hidden_cursor.screen);
  if (hidden_cursor.screen != kNoHandle && platform::GetConsoleCursorInfo(screen, &info)) {
    info.visible = hidden_cursor.visible;
    platform::SetConsoleCursorInfo(screen, &info);
  }
  hidden_cursor.screen = kNoHandle;
}

tarn_int_stack* new_int_stack() {
  tarn_int_stack* const node = console.int_stack_free_list;
  if (!node) return static_cast<tarn_int_stack*>(vmalloc(sizeof(tarn_int_stack)));
  console.int_stack_free_list = node->next;
  return node;
}

void discard_int_stack(tarn_int_stack* node) {
  if (!node) return;
  node->next = console.int_stack_free_list;
  console.int_stack_free_list = node;
}

}  // namespace tarn
