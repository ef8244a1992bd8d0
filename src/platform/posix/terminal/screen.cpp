#include "platform/posix/terminal/screen.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <initializer_list>

#include "platform/posix/base/base.h"
#include "platform/posix/terminal/progress_row.h"
#include "platform/posix/terminal/terminal.h"
#include "platform/posix/terminal/terminal_input.h"
#include "platform/posix/terminal/terminal_mode.h"

namespace tarn::platform {
namespace {

// How a kept cell compares with the terminal's, in its byte `unused`.
enum Shown : std::uint8_t {
  kUnknown,  // drawn when it is next written
  kPending,  // to be drawn
  kShown,
};
constexpr CharInfo kBlank{' ', kUnknown, kPlainAttribute};

constexpr std::size_t kMaxCells = 1 << 22;
// A cursor of half a cell or more is shown as a block, a smaller one as an
// underline. A console starts with 25.
constexpr ConsoleCursorInfo kFirstLook{25, 1};
constexpr std::uint32_t kBlockSize = 50;
// Up to this many cells that are already shown are drawn again instead of a
// move.
constexpr int kBridge = 5;
constexpr int kFinishMilliseconds = 200;
constexpr char kShowCursor[] = "\x1B[?25h";
constexpr char kHideCursor[] = "\x1B[?25l";

pthread_mutex_t screen_lock = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

ScreenState state{};
unsigned device;  // of the selected terminal; 0: none
CharInfo* cells;
std::size_t cell_room;
TerminalWriter out;
TerminalWriter closing;  // for the end of the process, as another thread may be writing

bool in_use;
int selected = -1;        // the caller's descriptor of the terminal
int our_descriptor = -1;  // one of the terminal's, while there is a terminal
int terminal = -1;        // descriptors of our own
int reader = -1;          // that reads; may be the same
bool located;             // the cursor is known, and so is everything else
bool lost;                // no longer, because of what others did
bool answers;             // the terminal reports where its cursor is
bool touched;             // cells or cursor of the terminal were changed
bool cursor_away;         // the terminal's may not be at its place
bool title_kept;
bool held;           // drawing is put off
bool size_is_told;   // the window's size need be asked for only after size_changed
bool size_is_asked;  // since drawing is put off
bool size_changed;
int floor_row;  // the last row that has text from before

// Where the terminal's cursor is in its window after what `out` holds. Not known at the start
// of a piece, as others may have printed, and after a glyph that some terminals show two
// columns wide. After the last column a terminal waits before it goes on to the next row.
struct Place {
  int column, row;
};
constexpr Place kUnknownPlace{-1, -1};
Place place = kUnknownPlace;

bool look(bool* value) { return __atomic_load_n(value, __ATOMIC_ACQUIRE); }

bool take(bool* value) {
  return look(value) && __atomic_exchange_n(value, false, __ATOMIC_ACQ_REL);
}

// Asked of the system once for each descriptor: each line of output comes here.
bool is_this_terminal(int descriptor) {
  if (device == 0) return false;
  if (__atomic_load_n(&our_descriptor, __ATOMIC_RELAXED) == descriptor) return true;
  if (terminal_device(descriptor) != device) return false;
  __atomic_store_n(&our_descriptor, descriptor, __ATOMIC_RELAXED);
  return true;
}

std::size_t cell_count(Coord size) {
  return static_cast<std::size_t>(size.x) * static_cast<std::size_t>(size.y);
}

CharInfo& cell_at(int column, int row) { return cells[row * state.size.x + column]; }

TerminalKind kind_by_environment() {
  char term[64], value[2];
  const std::uint32_t length = GetEnvironmentVariableA("TERM", term, sizeof term);
  const bool named = length > 0 && length < sizeof term;
  const bool no_colour = GetEnvironmentVariableA("NO_COLOR", value, sizeof value) > 0;
  return terminal_kind(named ? term : nullptr, no_colour);
}

ScreenState* select_descriptor(int descriptor) {
  if (is_this_terminal(descriptor)) {
    selected = descriptor;
    return &state;
  }
  const unsigned found = terminal_device(descriptor);
  if (found == 0) {
    fail(kErrorInvalidHandle);
    return nullptr;
  }
  selected = descriptor;
  Coord size;
  const TerminalKind kind = kind_by_environment();
  if (!kind.cells || !window_of(descriptor, &size) || cell_count(size) > kMaxCells) {
    fail(kErrorInvalidHandle);
    return nullptr;
  }
  finish_screen();
  state = {kind, size, size, {0, 0}, 0, kFirstLook, false};
  device = found;
  our_descriptor = descriptor;
  answers = true;
  return &state;
}

// A descriptor of the same terminal that may be read.
int open_reader() {
  if ((fcntl(terminal, F_GETFL) & O_ACCMODE) == O_RDWR) return terminal;
  char path[32] = "/proc/self/fd/";
  char digits[12];
  std::size_t at = sizeof digits;
  digits[--at] = '\0';
  for (int rest = terminal; rest > 0; rest /= 10) digits[--at] = static_cast<char>('0' + rest % 10);
  strcat(path, digits + at);
  for (const char* const name : {static_cast<const char*>(path), "/dev/tty"}) {
    const int opened = open(name, O_RDWR | O_CLOEXEC | O_NOCTTY);
    if (opened >= 0 && terminal_device(opened) == device) return opened;
    if (opened >= 0) close(opened);
  }
  return -1;
}

bool make_room(std::size_t wanted) {
  if (wanted <= cell_room) return true;
  auto* const room = static_cast<CharInfo*>(realloc(cells, sizeof(CharInfo) * wanted));
  if (room == nullptr) return false;
  cells = room;
  cell_room = wanted;
  return true;
}

// Each row keeps its beginning. If there is no memory the buffer stays as it
// is.
void set_columns(std::int16_t columns) {
  const Coord before = state.size, after = {columns, before.y};
  if (columns == before.x || cell_count(after) > kMaxCells || !make_room(cell_count(after))) return;
  const int kept = before.x < columns ? before.x : columns;
  const bool wider = columns > before.x;
  for (int i = 0; i < before.y; ++i) {
    const int y = wider ? before.y - 1 - i : i;  // so that no row overwrites another
    memmove(cells + y * columns, cells + y * before.x,
            sizeof(CharInfo) * static_cast<std::size_t>(kept));
    for (int x = kept; x < columns; ++x) cells[y * columns + x] = kBlank;
  }
  state.size = after;
  if (state.cursor.x > columns) state.cursor.x = columns;
}

void close_descriptors() {
  if (reader >= 0 && reader != terminal) close(reader);
  if (terminal >= 0) close(terminal);
  reader = terminal = -1;
}

// What was drawn may be gone; what is still to be drawn stays pending.
void forget_shown() {
  const std::size_t count = cell_count(state.size);
  for (std::size_t i = 0; i < count; ++i) {
    if (cells[i].unused == kShown) cells[i].unused = kUnknown;
  }
}

int window_row(int row) { return row - state.top; }

bool in_window(int row) { return window_row(row) >= 0 && window_row(row) < state.window_size.y; }

// The buffer's rows move up by one. `fresh`: the terminal's did so too.
void roll(bool fresh) {
  const std::size_t kept = cell_count({state.size.x, static_cast<std::int16_t>(state.size.y - 1)});
  memmove(cells, cells + state.size.x, sizeof(CharInfo) * kept);
  for (int x = 0; x < state.size.x; ++x) {
    cells[kept + static_cast<std::size_t>(x)] = {' ', fresh ? kShown : kUnknown, kPlainAttribute};
  }
  if (floor_row >= 0) --floor_row;
}

// The kept cursor goes down by one; true if the terminal scrolls by that.
bool step_down() {
  const bool scrolls = window_row(state.cursor.y) == state.window_size.y - 1;
  if (state.cursor.y == state.size.y - 1) {
    roll(scrolls);
    if (!scrolls) --state.top;
  } else {
    ++state.cursor.y;
    if (scrolls) ++state.top;
  }
  return scrolls;
}

void draw_whole_row(int row) { draw_row(row, 0, state.size.x - 1); }

void go_to(int column, int row) {
  if (place.column != column || place.row != row) out.move_to(column, row);
  place = {column, row};
}

// The terminal's window goes up by a row.
void scroll_window() {
  const int last = state.window_size.y - 1;
  if (place.row != last) go_to(0, last);
  out.put(place.column == 0 ? "\n" : "\r\n");
  place = {0, last};
}

// Moves the window so that it shows the row.
void show_row(int row) {
  if (window_row(row) < 0) {
    // No terminal scrolls back what it has scrolled out.
    state.top = row;
    const int end =
        row + state.window_size.y < state.size.y ? row + state.window_size.y : state.size.y;
    for (int y = row; y < end; ++y) {
      for (int x = 0; x < state.size.x; ++x) cell_at(x, y).unused = kPending;
      draw_whole_row(y);
    }
    return;
  }
  const int hidden = window_row(row) - (state.window_size.y - 1);
  if (hidden <= 0) return;
  for (int i = 0; i < hidden; ++i) scroll_window();
  state.top += hidden;
  for (int y = row - hidden + 1; y <= row; ++y) {
    if (in_window(y)) draw_whole_row(y);
  }
}

int at_most(int value, int limit) { return value < limit ? value : limit; }

Place cursor_place() {
  return {at_most(state.cursor.x, state.size.x - 1), window_row(state.cursor.y)};
}

// The end of a piece: the terminal's cursor goes to the kept one's place.
void end_piece() {
  if (cursor_away) go_to(cursor_place().column, cursor_place().row);
  cursor_away = false;
  place = kUnknownPlace;
}

// Where the buffer's rows lie, from the terminal's cursor.
void locate(int column, int row, bool resized) {
  int y = located && resized ? state.cursor.y : row + (located ? state.top : 0);
  if (y < 0) y = 0;
  y = at_most(y, state.size.y - 1);
  state.top = y - row;
  state.cursor = {static_cast<std::int16_t>(at_most(column, state.size.x - 1)),
                  static_cast<std::int16_t>(y)};
  if (!located) floor_row = column > 0 ? y : y - 1;
}

// The terminal does not answer. At first the last row is cleared for us; later
// the cursor is where it was last known to be.
void locate_blindly(bool resized) {
  const int last = state.window_size.y - 1;
  if (!located) {
    out.move_to(0, last);
    out.put("\n");
    locate(0, last, false);
  } else if (resized && window_row(state.cursor.y) > last) {
    state.top = state.cursor.y - last;
  }
}

// The terminal's mode for the cursor's shape; 0 is its own.
void put_shape(TerminalWriter& to, std::uint32_t size) {
  const bool own = size == kFirstLook.size;
  const bool block = size >= kBlockSize;
  if (state.kind.shapes == CursorShapes::kSequence) {
    to.put(own ? "\x1B[0 q" : block ? "\x1B[1 q" : "\x1B[3 q");
  } else if (state.kind.shapes == CursorShapes::kLinux) {
    to.put(own ? "\x1B[?0c" : block ? "\x1B[?6c" : "\x1B[?2c");
  }
}

// ---- Following -------------------------------------------------------------------

// The kept cursor and cells after the terminal got these bytes from others.
// False if they do more than plain text does.
bool follow_text(const std::uint8_t* text, std::size_t count) {
  bool known = true;
  const int columns = state.window_size.x;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t c = text[i];
    int x = state.cursor.x;
    if (c == '\n') {
      step_down();
      x = 0;
    } else if (c == '\r') {
      x = 0;
    } else if (c == '\b') {
      x = x > 0 ? x - 1 : 0;
    } else if (c == '\t') {
      x = at_most((x | 7) + 1, columns - 1);
    } else if (c >= 0x20 && c != 0x7F) {
      known = known && c < 0x80;
      if ((c & 0xC0) == 0x80) continue;  // within a character
      if (x >= columns) {
        step_down();
        x = 0;
      }
      if (x < state.size.x) cell_at(x, state.cursor.y) = {c, kUnknown, state.text};
      ++x;
    } else {
      known = known && c == 7;
    }
    state.cursor.x = static_cast<std::int16_t>(x);
  }
  // After a full row a terminal waits before it moves to the next one; the
  // buffer may be narrower than the window.
  return known && state.cursor.x < columns && state.cursor.x <= state.size.x;
}

// A line feed takes the terminal to the start of the next row.
bool ends_lines(int descriptor) {
  termios flags;
  constexpr tcflag_t kBoth = OPOST | ONLCR;
  return tcgetattr(descriptor, &flags) == 0 && (flags.c_oflag & kBoth) == kBoth;
}

void follow(int descriptor, const void* bytes, std::size_t count, bool sure) {
  if (!look(&in_use) || count == 0) return;
  if (!is_this_terminal(descriptor)) return;
  // Does not wait: a fault's report must get through, whoever has the lock.
  if (pthread_mutex_trylock(&screen_lock) != 0) {
    lose_screen();
    return;
  }
  if (look(&in_use) && located) {
    const bool known =
        ends_lines(descriptor) && follow_text(static_cast<const std::uint8_t*>(bytes), count);
    if (!known || !sure) lose_screen();
  }
  pthread_mutex_unlock(&screen_lock);
}

bool is_ascii(std::uint16_t character) { return character >= ' ' && character < 0x7F; }

bool is_blank(const CharInfo& cell) {
  return (cell.character == ' ' || cell.character == 0) && (cell.attributes & 0xF0) == 0;
}

// The last row with something on it.
int lowest_row() {
  int row = state.size.y - 1;
  for (; row > floor_row; --row) {
    for (int x = 0; x < state.size.x; ++x) {
      if (!is_blank(cell_at(x, row))) return row;
    }
  }
  return row;
}

}  // namespace

ScreenLock::ScreenLock() { pthread_mutex_lock(&screen_lock); }
ScreenLock::~ScreenLock() { pthread_mutex_unlock(&screen_lock); }

bool window_of(int descriptor, Coord* size) {
  winsize window;
  if (ioctl(descriptor, TIOCGWINSZ, &window) != 0 || window.ws_col == 0 || window.ws_row == 0 ||
      window.ws_col > INT16_MAX || window.ws_row > INT16_MAX) {
    return false;
  }
  const int rows = window.ws_row - taken_rows(descriptor);
  *size = {static_cast<std::int16_t>(window.ws_col),
           static_cast<std::int16_t>(rows > 0 ? rows : 1)};
  return true;
}

ScreenState* select_screen(Handle handle) {
  const OpenObject* const object = find_handle(handle, HandleKind::kFile);
  if (object == nullptr) return nullptr;
  if (object->screen && object->writable) return select_descriptor(object->descriptor);
  fail(kErrorInvalidHandle);
  return nullptr;
}

ScreenState* select_any_screen() {
  static Handle own;
  if (look(&in_use)) return &state;
  for (const std::int32_t standard : {kStandardOutput, kStandardError}) {
    ScreenState* const screen = select_screen(GetStdHandle(standard));
    if (screen != nullptr) return screen;
  }
  if (own == nullptr) {
    const Handle opened = CreateFileA("CONOUT$", kGenericWrite, kShareRead | kShareWrite, nullptr,
                                      kOpenExisting, 0, nullptr);
    if (opened == invalid_handle()) return nullptr;
    own = opened;
  }
  return select_screen(own);
}

int selected_terminal() { return selected; }

bool shows_cells(int descriptor) { return look(&in_use) && is_this_terminal(descriptor); }

bool use_screen() {
  if (look(&in_use)) return true;
  close_descriptors();
  const std::size_t wanted = cell_count(state.size);
  if (!make_room(wanted)) {
    fail(kErrorNotEnoughMemory);
    return false;
  }
  for (std::size_t i = 0; i < wanted; ++i) cells[i] = kBlank;
  terminal = fcntl(selected, F_DUPFD_CLOEXEC, static_cast<int>(kStandardHandles));
  if (terminal < 0) {
    fail_by_errno();
    return false;
  }
  reader = open_reader();
  out.begin(terminal, state.kind.colours, -1);
  state.cursor_look = kFirstLook;
  state.text = kPlainAttribute;
  located = lost = touched = cursor_away = title_kept = false;
  place = kUnknownPlace;
  __atomic_store_n(&in_use, true, __ATOMIC_RELEASE);
  restore_at_every_end();
  return true;
}

bool settle_screen() {
  if (!use_screen()) return false;
  const bool unknown = take(&lost) || !located;
  if (unknown) {
    quieten_terminal(terminal);
    size_is_told = hears_of_size(terminal);
  }
  if (!unknown && (size_is_told || size_is_asked) && !look(&size_changed)) return true;
  size_is_asked = held;
  __atomic_store_n(&size_changed, false, __ATOMIC_RELEASE);
  Coord now;
  if (!window_of(terminal, &now)) now = state.window_size;
  const bool resized = now.x != state.window_size.x || now.y != state.window_size.y;
  if (!unknown && !resized) return true;
  end_piece();
  out.flush();
  forget_shown();
  state.window_size = now;
  set_columns(now.x);
  int column = 0, row = 0;
  const Answer answer = answers ? ask_cursor(terminal, reader, &column, &row) : Answer::kNone;
  if (answer == Answer::kPlace) {
    locate(column, at_most(row, now.y - 1), resized);
  } else {
    locate_blindly(resized);
  }
  if (answer == Answer::kNone) answers = false;
  if (answer == Answer::kNotNow) lose_screen();  // and is asked again
  located = true;
  return true;
}

CharInfo get_cell(int column, int row) {
  CharInfo cell = cell_at(column, row);
  cell.unused = 0;
  return cell;
}

void set_cell(int column, int row, CharInfo cell) {
  CharInfo& kept = cell_at(column, row);
  if (kept.unused == kShown && kept.character == cell.character &&
      kept.attributes == cell.attributes) {
    return;
  }
  kept = cell;
  kept.unused = kPending;
}

void draw_row(int row, int left, int right) {
  if (!in_window(row)) return;
  right = at_most(right, state.window_size.x - 1);
  const CharInfo* const line = &cell_at(0, row);
  for (int x = left; x <= right;) {
    if (line[x].unused != kPending) {
      ++x;
      continue;
    }
    go_to(x, window_row(row));
    int end = x + 1;  // of what is drawn in one go
    for (int next = end; next <= right && next - end <= kBridge; ++next) {
      if (line[next].unused == kPending) end = next + 1;
      if (line[next].unused == kUnknown) break;
    }
    bool narrow = true;
    for (; x < end; ++x) {
      out.put_cell(line[x]);
      cell_at(x, row).unused = kShown;
      narrow = narrow && is_ascii(line[x].character);
    }
    place = narrow ? Place{end, place.row} : kUnknownPlace;
    touched = cursor_away = true;
  }
}

void place_cursor(int column, int row) {
  state.cursor = {static_cast<std::int16_t>(column), static_cast<std::int16_t>(row)};
  touched = cursor_away = true;
  show_row(row);
}

void next_row() {
  state.cursor.x = 0;
  touched = cursor_away = true;
  if (!step_down()) return;
  scroll_window();
  draw_whole_row(state.cursor.y);
}

void set_cursor_look(ConsoleCursorInfo look) {
  const ConsoleCursorInfo before = state.cursor_look;
  state.cursor_look = look;
  if ((look.visible != 0) != (before.visible != 0)) {
    out.put(look.visible ? kShowCursor : kHideCursor);
  }
  if (look.size != before.size) put_shape(out, look.size);
}

void set_terminal_title(const char* title) {
  if (!state.kind.titles) return;
  if (!title_kept) out.put("\x1B[22;2t");  // saves its own, for the end
  title_kept = true;
  out.put("\x1B]2;");
  out.put(title);
  out.put("\a");
}

bool flush_screen() {
  out.plain();
  if (held) return true;
  end_piece();
  if (out.flush()) return true;
  fail_by_errno();
  return false;
}

void hold_screen(bool hold) {
  if (hold != held) size_is_asked = false;
  held = hold;
  if (!hold && look(&in_use)) flush_screen();
}

void ring_terminal() { out.put("\a"); }

void set_text_attributes(std::uint16_t attributes) {
  state.text = attributes;
  out.set_text_attributes(attributes);
}

int screen_terminal() { return look(&in_use) ? terminal : -1; }

void follow_output(int descriptor, const void* bytes, std::size_t count) {
  follow(descriptor, bytes, count, true);
}

void follow_echo(int descriptor, const void* bytes, std::size_t count) {
  termios flags;
  if (!look(&in_use) || tcgetattr(descriptor, &flags) != 0 || (flags.c_lflag & ECHO) == 0) return;
  follow(descriptor, bytes, count, false);
}

void send_held_output() {
  if (!look(&held) || pthread_mutex_trylock(&screen_lock) != 0) return;
  hold_screen(false);
  pthread_mutex_unlock(&screen_lock);
}

void forget_descriptor(int descriptor) {
  if (__atomic_load_n(&our_descriptor, __ATOMIC_RELAXED) == descriptor) {
    __atomic_store_n(&our_descriptor, -1, __ATOMIC_RELAXED);
  }
}

void note_size() { __atomic_store_n(&size_changed, true, __ATOMIC_RELEASE); }

void lose_screen() { __atomic_store_n(&lost, true, __ATOMIC_RELEASE); }

void show_cursor(bool shown) {
  if (!look(&in_use) || state.cursor_look.visible) return;
  write_terminal(terminal, shown ? kShowCursor : kHideCursor, sizeof kShowCursor - 1,
                 kFinishMilliseconds);
}

void finish_screen() {
  const bool used = __atomic_exchange_n(&in_use, false, __ATOMIC_ACQ_REL);
  device = 0;
  if (!used) return;
  closing.begin(terminal, true, kFinishMilliseconds);
  if (held) closing.put_waiting(out);
  if (touched || state.text != kPlainAttribute) closing.put("\x1B[m");
  if (state.cursor_look.visible == 0) closing.put(kShowCursor);
  if (state.cursor_look.size != kFirstLook.size) put_shape(closing, kFirstLook.size);
  if (title_kept) closing.put("\x1B[23;2t");
  if (touched && !in_background(terminal)) {
    const int lowest = lowest_row();
    if (cursor_away) closing.move_to(cursor_place().column, cursor_place().row);
    if (look(&lost)) {
      if (state.cursor.x > 0) closing.put("\r\n");
    } else if (state.cursor.y <= lowest || state.cursor.x > 0) {
      Coord now;
      if (!window_of(terminal, &now)) now = state.window_size;
      const int row = lowest < state.cursor.y ? state.cursor.y : lowest;
      closing.move_to(0, at_most(row - state.top, now.y - 1));
      if (row == lowest) closing.put("\n");
    }
  }
  closing.flush();
}

}  // namespace tarn::platform
