// The keys of a terminal, one at a time, and its answer to the question where
// its cursor is. Both read in a mode without lines and echo that lasts as long
// as the call; what comes in behind the key or around the answer is held for
// the next reader.

#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <string.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include "platform/posix/key_decoder.h"
#include "platform/posix/terminal.h"

namespace tarn::platform {
namespace {

// A terminal sends the bytes of a key together; a slow line may part them.
constexpr int kKeyMilliseconds = 50;
// Longer than a round trip to the other side of the world. Who does not answer
// is not asked again.
constexpr int kAnswerMilliseconds = 500;
constexpr char kAskCursor[] = "\x1B[6n";
constexpr std::uint8_t kEndOfInput = 4;  // Ctrl-D, taken without lines

pthread_mutex_t input_lock = PTHREAD_MUTEX_INITIALIZER;
std::uint8_t held[4096];
std::size_t held_count;
std::size_t held_echoed;  // at their beginning, echoed as they were typed
unsigned held_device;
bool answer_is_late;
unsigned line_feed_device;  // owes its reader the second byte of a line end

bool lacks_input_lock() { return pthread_mutex_trylock(&input_lock) != 0; }

void drop_held(std::size_t count) {
  held_count -= count;
  held_echoed -= count < held_echoed ? count : held_echoed;
  memmove(held, held + count, held_count);
}

void hold_for(int descriptor) {
  const unsigned device = terminal_device(descriptor);
  if (device != held_device) held_count = held_echoed = 0;
  held_device = device;
}

// Finds "ESC [ row ; column R".
bool find_answer(const std::uint8_t* bytes, std::size_t count, std::size_t* at, std::size_t* length,
                 int* row, int* column) {
  for (std::size_t start = 0; start + 5 < count; ++start) {
    if (bytes[start] != 27 || bytes[start + 1] != '[') continue;
    int numbers[2] = {0, 0};
    int index = 0;
    std::size_t i = start + 2;
    for (; i < count; ++i) {
      const std::uint8_t c = bytes[i];
      if (c == ';' && index == 0) {
        index = 1;
      } else if (c >= '0' && c <= '9' && numbers[index] < 100000) {
        numbers[index] = numbers[index] * 10 + (c - '0');
      } else {
        break;
      }
    }
    if (i == count || bytes[i] != 'R' || numbers[0] == 0 || numbers[1] == 0) continue;
    *at = start;
    *length = i + 1 - start;
    *row = numbers[0];
    *column = numbers[1];
    return true;
  }
  return false;
}

// Adds what the terminal has, waiting at most so long for it, negative: without
// end. False if nothing came.
bool hold_more(int terminal, int milliseconds) {
  if (held_count == sizeof held) return false;
  for (;;) {
    pollfd wanted{terminal, POLLIN, 0};
    const int ready = poll(&wanted, 1, milliseconds);
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    const ssize_t taken = read(terminal, held + held_count, sizeof held - held_count);
    if (taken < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (taken <= 0) return false;
    held_count += static_cast<std::size_t>(taken);
    return true;
  }
}

int milliseconds_until(const timespec& end) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  const auto left = (end.tv_sec - now.tv_sec) * 1000 + (end.tv_nsec - now.tv_nsec) / 1000000;
  return left > 0 ? static_cast<int>(left) : 0;
}

// Within its life the terminal has no lines, no echo and no flow control, and
// its suspend key is a key. Signals of Ctrl-C and Ctrl-\ stay as they are.
class KeyMode {
 public:
  explicit KeyMode(int terminal) : terminal_(terminal) {
    if (tcgetattr(terminal, &before_) != 0) return;
    termios flags = before_;
    flags.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | IEXTEN);
    flags.c_iflag &= ~static_cast<tcflag_t>(IXON);
    flags.c_cc[VMIN] = 1;
    flags.c_cc[VTIME] = 0;
    flags.c_cc[VSUSP] = _POSIX_VDISABLE;
    active_ = remember_terminal(terminal, before_) && tcsetattr(terminal, TCSANOW, &flags) == 0;
    // What was typed before has been echoed.
    int typed = 0;
    if (active_ && (before_.c_lflag & ECHO) != 0 && held_count == held_echoed &&
        ioctl(terminal, FIONREAD, &typed) == 0 && typed > 0) {
      held_echoed += static_cast<std::size_t>(typed);
    }
  }
  ~KeyMode() {
    if (!active_) return;
    // The line mode would take what is left for a finished line.
    int left = 0;
    if (ioctl(terminal_, FIONREAD, &left) == 0 && left > 0) hold_more(terminal_, 0);
    if (held_echoed > held_count) held_echoed = held_count;
    tcsetattr(terminal_, TCSANOW, &before_);
  }
  KeyMode(const KeyMode&) = delete;
  KeyMode& operator=(const KeyMode&) = delete;

  bool active() const { return active_; }

 private:
  int terminal_;
  termios before_{};
  bool active_ = false;
};

bool take_answer(int* column, int* row) {
  std::size_t at, length;
  if (!find_answer(held, held_count, &at, &length, row, column)) return false;
  held_count -= length;
  memmove(held + at, held + at + length, held_count - at);
  --*row;
  --*column;
  return true;
}

bool read_key(int terminal, InputRecord* record) {
  hold_for(terminal);
  const KeyMode mode(terminal);
  if (!mode.active()) return false;
  bool complete = false;
  for (;;) {
    int column, row;
    if (answer_is_late && take_answer(&column, &row)) answer_is_late = false;
    if (held_count > 0) {
      std::size_t used = 0;
      const KeyResult result = take_key(held, held_count, complete, &used, record);
      if (result != KeyResult::kMore) drop_held(used);
      if (result == KeyResult::kKey) return true;
      if (result == KeyResult::kSkip) continue;
    }
    complete = !hold_more(terminal, held_count > 0 ? kKeyMilliseconds : -1);
    if (complete && held_count == 0) return false;
  }
}

}  // namespace

Answer ask_cursor(int terminal, int reader, int* column, int* row) {
  if (reader < 0 || in_background(terminal) || lacks_input_lock()) return Answer::kNotNow;
  Answer answer = Answer::kNotNow;
  {
    hold_for(reader);
    const KeyMode mode(reader);
    if (mode.active()) {
      timespec end;
      clock_gettime(CLOCK_MONOTONIC, &end);
      end.tv_nsec += kAnswerMilliseconds * 1000000L;
      if (end.tv_nsec >= 1000000000) {
        end.tv_nsec -= 1000000000;
        ++end.tv_sec;
      }
      answer = Answer::kNone;
      write_terminal(terminal, kAskCursor, sizeof kAskCursor - 1, kAnswerMilliseconds);
      while (hold_more(reader, milliseconds_until(end))) {
        if (!take_answer(column, row)) continue;
        answer = Answer::kPlace;
        break;
      }
      if (answer == Answer::kNone) answer_is_late = true;
    }
  }
  pthread_mutex_unlock(&input_lock);
  return answer;
}

std::size_t take_held_input(int descriptor, void* buffer, std::size_t size, bool* whole) {
  *whole = false;
  if (__atomic_load_n(&held_count, __ATOMIC_ACQUIRE) == 0) return 0;
  termios flags;
  if (lacks_input_lock()) return 0;
  std::size_t count = 0;
  if (held_count > 0 && terminal_device(descriptor) == held_device &&
      tcgetattr(descriptor, &flags) == 0) {
    const bool lines = (flags.c_lflag & ICANON) != 0;
    *whole = !lines;
    while (count < held_count && count < size) {
      const std::uint8_t c = held[count];
      // Ctrl-D ends a line without being part of it.
      if (lines && (c == kEndOfInput || c == 0)) {
        *whole = true;
        break;
      }
      static_cast<std::uint8_t*>(buffer)[count++] = c;
      if (lines && c == '\n') {
        *whole = true;
        break;
      }
    }
    if (count == size) *whole = true;
    if ((flags.c_lflag & ECHO) != 0 && count > held_echoed) {
      // The reader's descriptor may not be one to write by.
      const int terminal = screen_terminal();
      write_terminal(terminal >= 0 ? terminal : descriptor,
                     reinterpret_cast<const char*>(held) + held_echoed, count - held_echoed, -1);
    }
    const bool ended = *whole && count < held_count && lines && count < size &&
                       (count == 0 || static_cast<std::uint8_t*>(buffer)[count - 1] != '\n');
    drop_held(ended ? count + 1 : count);
  }
  pthread_mutex_unlock(&input_lock);
  return count;
}

bool take_line_feed(int descriptor) {
  if (line_feed_device == 0 || terminal_device(descriptor) != line_feed_device) return false;
  line_feed_device = 0;
  return true;
}

std::size_t end_terminal_line(int descriptor, void* bytes, std::size_t count, std::size_t size) {
  auto* const line = static_cast<char*>(bytes);
  termios flags;
  if (count == 0 || line[count - 1] != '\n' || tcgetattr(descriptor, &flags) != 0 ||
      (flags.c_lflag & ICANON) == 0) {
    return count;
  }
  line[count - 1] = '\r';
  if (count == size) {
    line_feed_device = terminal_device(descriptor);
    return count;
  }
  line[count] = '\n';
  return count + 1;
}

std::size_t drop_late_answer(int descriptor, void* bytes, std::size_t count) {
  if (!answer_is_late || terminal_device(descriptor) != held_device) return count;
  auto* const from = static_cast<std::uint8_t*>(bytes);
  std::size_t at, length;
  int row, column;
  if (!find_answer(from, count, &at, &length, &row, &column)) return count;
  answer_is_late = false;
  memmove(from + at, from + at + length, count - at - length);
  return count - length;
}

Status ReadConsoleInputA(Handle input, InputRecord* records, std::uint32_t room,
                         std::uint32_t* count) {
  *count = 0;
  const OpenObject* const object = find_handle(input, HandleKind::kFile);
  if (object == nullptr) return 0;
  if (!object->readable) return fail(kErrorAccessDenied);
  if (object->screen || terminal_device(object->descriptor) == 0) return fail(kErrorInvalidHandle);
  if (room == 0) return fail(kErrorInvalidParameter);
  HoldConsoleOutput(0);
  pthread_mutex_lock(&input_lock);
  const bool got = read_key(object->descriptor, records);
  pthread_mutex_unlock(&input_lock);
  if (!got) return fail(kErrorIoDevice);
  *count = 1;
  return 1;
}

}  // namespace tarn::platform
