#include "console/line_output.h"

#include "console/console_input.h"
#include "console/console_state.h"
#include "console/redirected_output.h"
#include "platform/byte_block.h"
#include "process/process_end.h"
#include "storage/heap.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

const tarn_cell* as_cells(const platform::CharInfo* cells) {
  return reinterpret_cast<const tarn_cell*>(cells);
}

constexpr char kPauseMessage[] = "*** PAUSED - Press any key to continue (ESC to quit) ***";
constexpr std::int32_t kPauseLength = sizeof kPauseMessage - 1;
constexpr std::uint16_t kPauseAttribute = 0x4E;       // yellow on red
constexpr std::uint16_t kPauseAttributeOnRed = 0x1E;  // yellow on blue
constexpr std::int32_t kRedBackground = 0x40;
constexpr std::int32_t kEscape = 27;

// Rows of the previous screen that remain at each pause.
constexpr std::int32_t kRowsKept = 5;
constexpr std::int32_t kNeverPause = 0x7FFFFFFF;
constexpr std::int32_t kCountAfterLatePause = 2;

constexpr std::int32_t kTabWidth = 8;
constexpr std::uint8_t kCutMark = 0xAF;
constexpr std::int32_t kLargestCoordinate = 0x7FFF;

std::int32_t length_of(const char* text, std::int32_t length) {
  if (length >= 0) return length;
  constexpr std::uint64_t kLongest = 0x7FFFFFFF;
  const std::uint64_t found = strlen(text);
  return static_cast<std::int32_t>(found < kLongest ? found : kLongest);
}

bool ends_line(char c) { return c == '\n' || c == '\r'; }

// Bytes that are neither moves of the cursor nor the end of the text.
bool is_plain(char c) { return c != '\0' && c != '\t' && !ends_line(c); }

std::uint16_t current_attribute() { return static_cast<std::uint16_t>(console.text_attribute); }

platform::CharInfo* new_row(std::int32_t width) {
  return static_cast<platform::CharInfo*>(
      vmalloc(width * static_cast<std::int32_t>(sizeof(platform::CharInfo))));
}

// Makes room for one more cell: a row wider than the buffer is written in
// pieces. Beyond the columns that the system can name there is nothing to count.
void make_room(std::int32_t* columns) {
  if (*columns < kLineCells) return;
  write_linebuff(*columns, nullptr);
  if (console.cursor_x <= kLargestCoordinate) console.cursor_x += *columns;
  *columns = 0;
}

void put_cell(std::int32_t* columns, char character) {
  make_room(columns);
  console.line_cells[(*columns)++] = {static_cast<std::uint8_t>(character), 0, current_attribute()};
}

void carriage_return(std::int32_t* columns) {
  write_linebuff(*columns, nullptr);
  console.cursor_x = 0;
  *columns = 0;
}

void tabulate(std::int32_t* columns) {
  const std::int32_t place = *columns + console.cursor_x;
  if (place >= console.screen_width - kTabWidth) {
    PrintNewLine(columns);
    return;
  }
  for (std::int32_t i = place & (kTabWidth - 1); i < kTabWidth; ++i) put_cell(columns, ' ');
}

// As many plain characters as there are up to the edge of the row and the end of
// the buffer, at least one. Result: the byte after them.
const char* put_run(std::int32_t* columns, const char* text, const char* end) {
  make_room(columns);
  const std::int32_t edge = console.screen_width - console.cursor_x;
  // Right of the window no column is the edge.
  const std::int32_t limit = *columns < edge && edge <= kLineCells ? edge : kLineCells;
  const std::uint16_t attribute = current_attribute();
  std::int32_t n = *columns;
  do {
    console.line_cells[n++] = {static_cast<std::uint8_t>(*text++), 0, attribute};
  } while (n < limit && text < end && is_plain(*text));
  *columns = n;
  return text;
}

void output_cells(const char* text, std::int32_t length) {
  std::int32_t columns = 0;
  GetCursorPos(&console.cursor_x, &console.cursor_y);
  const char* const end = text + length;
  while (text < end && *text) {
    if (is_plain(*text)) {
      text = put_run(&columns, text, end);
    } else if (*text == '\n') {
      PrintNewLine(&columns);
      ++text;
    } else if (*text == '\r') {
      carriage_return(&columns);
      ++text;
    } else {
      tabulate(&columns);
      ++text;
    }
    if (columns + console.cursor_x == console.screen_width) {
      if (!console.wrap_mode && columns > 0) console.line_cells[columns - 1].character = kCutMark;
      PrintNewLine(&columns);
      if (!console.wrap_mode) break;
    }
  }
  write_linebuff(columns, nullptr);
  SetConsoleCursorPos(columns + console.cursor_x, console.cursor_y);
}

// Appends bytes with no line end, except perhaps the last byte.
void collect(const char* text, std::int32_t length) {
  while (length > 0) {
    const std::int32_t room = kPendingLimit - console.pending_count;
    const std::int32_t taken = length < room ? length : room;
    copy_bytes(console.pending_text + console.pending_count, text,
               static_cast<std::uint64_t>(taken));
    console.pending_count += taken;
    text += taken;
    length -= taken;
    if (console.pending_count == kPendingLimit || ends_line(text[-1])) {
      output_unbuffered_win32_line(console.pending_text, console.pending_count);
      console.pending_count = 0;
    }
  }
}

void collect_lines(const char* text, std::int32_t length) {
  const char* const end = text + length;
  while (text < end) {
    const char* stop = text;
    while (stop < end && !ends_line(*stop)) ++stop;
    if (stop < end) ++stop;
    collect(text, static_cast<std::int32_t>(stop - text));
    text = stop;
  }
}

// For a file: what collecting would pass on in pieces is written at once, with the
// same bytes.
void collect_for_file(const char* text, std::int32_t length) {
  std::int32_t line_end = length;
  while (line_end > 0 && !ends_line(text[line_end - 1])) --line_end;
  const std::int64_t behind =
      std::int64_t{length} - line_end + (line_end == 0 ? console.pending_count : 0);
  if (line_end == 0 && behind < kPendingLimit) {
    collect(text, length);
    return;
  }
  const auto kept = static_cast<std::int32_t>(behind % kPendingLimit);
  std::int32_t held = stage_redirected(0, console.pending_text, console.pending_count);
  held = stage_redirected(held, text, length - kept);
  write_redirected(held);
  copy_bytes(console.pending_text, text + (length - kept), static_cast<std::uint64_t>(kept));
  console.pending_count = kept;
}

// Builds the row of the pause: the message in the middle, cut where the row is
// shorter.
void make_pause_row() {
  const std::int32_t width = console.screen_width;
  const std::uint16_t attribute =
      console.background == kRedBackground ? kPauseAttributeOnRed : kPauseAttribute;
  platform::CharInfo* const row = new_row(width);
  console.clear_cell.attributes = attribute;
  const std::int32_t margin = width > kPauseLength ? (width - kPauseLength) / 2 : 0;
  for (std::int32_t i = 0; i < width; ++i) {
    const std::int32_t place = i - margin;
    row[i] = console.clear_cell;
    if (place >= 0 && place < kPauseLength) {
      row[i].character = static_cast<std::uint8_t>(kPauseMessage[place]);
    }
  }
  console.pause_buffer = row;
  console.clear_width = width;
}

// Both have clear_width cells.
void drop_rows_of_other_width() {
  if (console.clear_width == console.screen_width) return;
  free(console.clear_buffer);
  free(console.pause_buffer);
  console.clear_buffer = nullptr;
  console.pause_buffer = nullptr;
}

bool in_piece;

// Before the NT family a program had to wait for the screen.
void yield_to_screen() {
  if (!console.nt_platform) platform::Sleep(0);
}

// Writes spaces from `from` up to `to`, which are cut to the row.
void clear_columns(std::int32_t from, std::int32_t to) {
  const std::int32_t left = from > 0 ? from : 0;
  const std::int32_t right = to < console.clear_width ? to : console.clear_width;
  console.cursor_x = left;
  write_linebuff(right - left, as_cells(console.clear_buffer));
}

}  // namespace

void begin_piece() {
  if (console.redirected) return;
  in_piece = true;
  platform::HoldConsoleOutput(1);
}

void end_piece() {
  if (console.redirected) return;
  in_piece = false;
  platform::HoldConsoleOutput(0);
}

void output_win32_line(const char* text, std::int32_t length) {
  if (!console.buffered) {
    output_unbuffered_win32_line(text, length);
  } else if (console.redirected) {
    collect_for_file(text, length_of(text, length));
  } else {
    collect_lines(text, length_of(text, length));
  }
}

void output_win32_char(char character) {
  if (console.buffered) {
    collect(&character, 1);
  } else {
    output_unbuffered_win32_line(&character, 1);
  }
}

void output_unbuffered_win32_line(const char* text, std::int32_t length) {
  length = length_of(text, length);
  if (console.redirected) {
    write_redirected(stage_redirected(0, text, length));
  } else {
    platform::HoldConsoleOutput(1);
    output_cells(text, length);
    if (!in_piece) platform::HoldConsoleOutput(0);
  }
}

void FlushConsole() {
  if (console.pending_count == 0) return;
  output_unbuffered_win32_line(console.pending_text, console.pending_count);
  console.pending_count = 0;
}
void tarn_flush_console() { FlushConsole(); }

void ConsoleBufferMode(std::int32_t mode) {
  if (mode == 0 && console.buffered) FlushConsole();
  console.buffered = mode;
}
void tarn_set_console_buffer_mode(const std::int32_t* mode) { ConsoleBufferMode(*mode); }

void ClearCurrentLine() {
  if (console.redirected) return;
  setup_clear_buff();
  console.pending_count = 0;
  clear_columns(0, console.clear_width);
}

void ClearToCursorPos() {
  if (console.redirected) return;
  setup_clear_buff();
  console.pending_count = 0;
  const std::int32_t x = console.cursor_x;
  clear_columns(0, x);
  console.cursor_x = x;
}

void ClearToEOL() {
  if (console.redirected) return;
  setup_clear_buff();
  console.pending_count = 0;
  const std::int32_t x = console.cursor_x;
  clear_columns(x, console.clear_width);
  console.cursor_x = x;
}

void setup_clear_buff() {
  drop_rows_of_other_width();
  if (console.clear_buffer) return;
  console.clear_width = console.screen_width;
  console.clear_buffer = new_row(console.clear_width);
  console.clear_cell.attributes = current_attribute();
  for (std::int32_t i = 0; i < console.clear_width; ++i) {
    console.clear_buffer[i] = console.clear_cell;
  }
}

void FreeConsoleInstance() {
  FlushConsole();
  console.clear_buffer = nullptr;
  console.pause_buffer = nullptr;
}

void ConsolePauseMode(std::int32_t mode) {
  if (console.redirected) return;
  if (mode < 0) {
    console.pause_once = 1;
    if (console.pause_threshold == kNeverPause) {
      console.pause_threshold = console.buffer_height - kRowsKept;
    }
    if (console.pause_threshold <= console.scroll_count) {
      console.scroll_count = kCountAfterLatePause;
    }
    mode = 1;
  }
  console.pause_enabled = mode;
}
void tarn_set_pause_mode(const std::int32_t* mode) { ConsolePauseMode(*mode); }

std::int32_t ConsolePaused() { return console.pause_active; }

void ClearPauseLine() {
  if (console.redirected || !console.pause_active) return;
  setup_clear_buff();
  console.pending_count = 0;
  clear_columns(0, console.clear_width);
  CursorControl(1);
  yield_to_screen();
  console.pause_active = 0;
}
void tarn_clear_pause_line() { ClearPauseLine(); }

void OutputPauseMessage() {
  if (console.redirected) return;  // nobody would see what is waited for
  in_piece = false;                // a program may leave for good from here
  drop_rows_of_other_width();
  if (!console.pause_buffer) make_pause_row();
  console.pause_active = 1;
  console.scroll_count = 0;
  console.pause_threshold = console.pause_once ? kNeverPause : console.buffer_height - kRowsKept;
  CursorControl(0);
  console.cursor_x = 0;
  write_linebuff(console.clear_width, as_cells(console.pause_buffer));
  yield_to_screen();
  std::int32_t key = 0;  // stays where no key can be read
  get_key(&key);
  ClearPauseLine();
  if (key == kEscape) exit(0);
}

void write_linebuff(std::int32_t count, const tarn_cell* row_of_cells) {
  static_assert(sizeof(tarn_cell) == sizeof(platform::CharInfo));
  const auto* cells = reinterpret_cast<const platform::CharInfo*>(row_of_cells);
  if (!cells) {
    cells = console.line_cells;
    if (count > kLineCells) count = kLineCells;
  }
  const std::int32_t x = console.cursor_x;
  const std::int32_t y = console.cursor_y;
  if (count <= 0 || x < 0 || x > kLargestCoordinate || y < 0 || y > kLargestCoordinate) return;
  if (count > kLargestCoordinate - x) count = kLargestCoordinate - x;
  const auto row = static_cast<std::int16_t>(y);
  platform::SmallRect region{static_cast<std::int16_t>(x), row,
                             static_cast<std::int16_t>(x + count - 1), row};
  platform::WriteConsoleOutputA(system_handle(console.output_handle), cells,
                                {static_cast<std::int16_t>(count), 1}, {0, 0}, &region);
}

void PrintNewLine(std::int32_t* columns) {
  write_linebuff(*columns, nullptr);
  ++console.cursor_y;
  console.cursor_x = 0;
  if (console.cursor_y >= console.buffer_height) ScrollScreen();
  *columns = 0;
}

void ScrollScreen() {
  std::uint32_t written;
  platform::WriteConsoleA(system_handle(console.output_handle), "\n", 1, &written, nullptr);
  ++console.scroll_count;
  console.cursor_y = console.buffer_height - 1;
  if (console.pause_enabled && console.pause_threshold <= console.scroll_count) {
    OutputPauseMessage();
  }
}

}  // namespace tarn
