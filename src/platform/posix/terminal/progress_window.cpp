// The progress window of the host: the row of progress_row.h, on the terminal
// where the console's cells go. All of it is under the screen's lock, so that
// its bytes don't come between others of this process.

#include "platform/progress_window.h"

#include <fcntl.h>
#include <poll.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "platform/posix/base/base.h"
#include "platform/posix/terminal/progress_row.h"
#include "platform/posix/terminal/screen.h"
#include "platform/posix/terminal/terminal_mode.h"

namespace tarn::platform {
namespace {

constexpr int kFewestRows = 3;
constexpr int kFewestColumns = 8;  // of a percentage
constexpr int kMostColumns = 512;
constexpr int kGiveBackMilliseconds = 200;
constexpr std::uint32_t kLookAgain = 500;  // milliseconds

constexpr char kSaveCursor[] =
    "\x1B"
    "7";
constexpr char kRestoreCursor[] =
    "\x1B"
    "8";
constexpr char kScrollAllRows[] = "\x1B[r";
// Down by one row, scrolling if necessary, and up again: off the last row.
constexpr char kLeaveLastRow[] =
    "\x1B"
    "D\x1B[A";
constexpr char kClearRow[] = "\x1B[m\x1B[2K";

ProgressWindowLook look;
char kept_title[kProgressTextSize];
Handle closing;  // event
bool close_asked;
int terminal = -1;  // a descriptor of our own; -1: there is no window
unsigned device;    // its number
TerminalWriter out;
TerminalWriter last_out;  // for the end of the process, as another thread may be writing

// The size when the row was taken; no rows: it is not taken. Aligned, or clang
// would call a library routine to exchange it.
struct alignas(4) Size {
  std::int16_t rows, columns;
} taken;

Size look_at_taken() {
  Size size;
  __atomic_load(&taken, &size, __ATOMIC_ACQUIRE);
  return size;
}

Size replace_taken(Size size) {
  Size before;
  __atomic_exchange(&taken, &size, &before, __ATOMIC_ACQ_REL);
  note_size();
  return before;
}

bool measure(Size* size) {
  winsize found;
  if (ioctl(terminal, TIOCGWINSZ, &found) != 0 || found.ws_row < kFewestRows ||
      found.ws_row > INT16_MAX || found.ws_col < kFewestColumns) {
    return false;
  }
  const int columns = found.ws_col < kMostColumns ? found.ws_col : kMostColumns;
  *size = {static_cast<std::int16_t>(found.ws_row), static_cast<std::int16_t>(columns)};
  return true;
}

// A terminal that the user has stopped is not waited for.
bool takes_output(int milliseconds) {
  pollfd room{terminal, POLLOUT, 0};
  return poll(&room, 1, milliseconds) > 0 && (room.revents & POLLOUT) != 0;
}

void take_row(Size size) {
  if (replace_taken(size).rows != 0) {
    out.put(kSaveCursor);
    out.put(kScrollAllRows);
    out.put(kRestoreCursor);
  }
  out.put(kLeaveLastRow);
  out.put(kSaveCursor);
  out.put_sequence(1, static_cast<unsigned>(size.rows) - 1, 'r');
  out.put(kRestoreCursor);
}

void draw() {
  Size size;
  if (!measure(&size)) {
    give_back_row();
    return;
  }
  if (in_background(terminal) || !takes_output(0)) return;
  ProgressPicture picture;
  look.fill_picture(&picture);
  char row[kMostColumns];
  compose_progress_row(kept_title, picture, size.columns, row);

  const Size before = look_at_taken();
  if (before.rows != size.rows || before.columns != size.columns) take_row(size);
  out.put(kSaveCursor);
  out.move_to(0, size.rows - 1);
  out.put("\x1B[m");
  for (int i = 0; i < size.columns; ++i) {
    out.put_cell({static_cast<std::uint8_t>(row[i]), 0, kPlainAttribute});
  }
  out.put(kRestoreCursor);
  out.flush();
}

// The cells that the screen keeps of the terminal's last row.
void draw_kept_row() {
  if (screen_terminal() < 0) return;  // its cells are not in use
  const ScreenState* const screen = select_any_screen();
  if (screen == nullptr || !settle_screen()) return;
  const int row = screen->top + screen->window_size.y - 1;
  if (row >= screen->size.y) return;
  for (int x = 0; x < screen->size.x; ++x) set_cell(x, row, get_cell(x, row));
  draw_row(row, 0, screen->size.x - 1);
  flush_screen();
}

bool open_terminal() {
  if (select_any_screen() == nullptr) return false;
  const int own = fcntl(selected_terminal(), F_DUPFD_CLOEXEC, static_cast<int>(kStandardHandles));
  if (own < 0) return false;
  terminal = own;
  device = terminal_device(own);
  Size size;
  if (measure(&size) && !in_background(own)) return true;
  close(own);
  terminal = -1;
  return false;
}

}  // namespace

int taken_rows(int descriptor) {
  return look_at_taken().rows != 0 && terminal_device(descriptor) == device ? 1 : 0;
}

void give_back_row() {
  const Size size = replace_taken({0, 0});
  if (size.rows == 0 || !takes_output(kGiveBackMilliseconds)) return;
  last_out.begin(terminal, true, kGiveBackMilliseconds);
  last_out.put(kSaveCursor);
  last_out.put(kScrollAllRows);
  last_out.move_to(0, size.rows - 1);
  last_out.put(kClearRow);
  last_out.put(kRestoreCursor);
  last_out.flush();
}

Handle OpenProgressWindow(const ProgressWindowLook* wanted) {
  const ScreenLock lock;
  if (terminal >= 0 || !open_terminal()) return invalid_handle();
  closing = CreateEventA(nullptr, 1, 0, nullptr);
  if (closing == nullptr) {
    close(terminal);
    terminal = -1;
    return invalid_handle();
  }
  close_asked = false;
  look = *wanted;
  strncpy(kept_title, wanted->title, sizeof kept_title - 1);
  out.begin(terminal, true, 0);
  restore_at_every_end();
  draw();
  return &look;
}

void ServeProgressWindow(Handle) {
  // The event may be refused.
  while (WaitForSingleObject(closing, kLookAgain) == kWaitTimeout &&
         !__atomic_load_n(&close_asked, __ATOMIC_ACQUIRE)) {
  }
  const ScreenLock lock;
  give_back_row();
  draw_kept_row();
  close(terminal);
  terminal = -1;
  CloseHandle(closing);
}

void RedrawProgressWindow(Handle) {
  const ScreenLock lock;
  if (terminal >= 0) draw();
}

void CloseProgressWindow(Handle) {
  const ScreenLock lock;
  if (terminal < 0) return;
  __atomic_store_n(&close_asked, true, __ATOMIC_RELEASE);
  SetEvent(closing);
}

Bool OemToCharA(const char* oem, char* ansi) {
  if (ansi != oem) strcpy(ansi, oem);
  return 1;
}

}  // namespace tarn::platform
