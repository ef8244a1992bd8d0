// The keys of a terminal, one at a time; lines of them, where the terminal does not
// echo; and its answer to the question where its cursor is. All read in a mode
// without lines and echo that lasts as long as the call; what comes in after the
// key or the line, or around the answer, is held for the next reader.

#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/terminal/console.h"
#include "platform/posix/terminal/key_decoder.h"
#include "platform/posix/terminal/screen.h"
#include "platform/posix/terminal/terminal.h"
#include "platform/posix/terminal/terminal_input.h"
#include "platform/posix/terminal/terminal_mode.h"

namespace tarn::platform {
namespace {

// A terminal sends the bytes of a key together; a slow line may split them.
constexpr int kKeyMilliseconds = 50;
// Longer than a round trip to the other side of the world. A terminal that does
// not answer is not asked again.
constexpr int kAnswerMilliseconds = 500;
constexpr char kAskCursor[] = "\x1B[6n";
constexpr std::uint8_t kEscape = 27;
constexpr std::uint8_t kErase = 127;
constexpr std::uint32_t kAlt = 2;  // a bit of the control key state
// As long as the system's own lines, with their two bytes of line end.
constexpr std::size_t kLongestLine = 4096;

pthread_mutex_t input_lock = PTHREAD_MUTEX_INITIALIZER;
std::uint8_t held[4096];
std::size_t held_count;
unsigned held_device;
bool answer_is_late;

// The rest of a line that was not read whole.
struct {
  char text[kLongestLine];
  std::size_t taken, length;
  unsigned device;
} finished;

bool lacks_input_lock() { return pthread_mutex_trylock(&input_lock) != 0; }

void drop_held(std::size_t count) {
  held_count -= count;
  memmove(held, held + count, held_count);
}

void hold_for(int descriptor) {
  const unsigned device = terminal_device(descriptor);
  if (device != held_device) held_count = 0;
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

// Adds what the terminal has, waiting at most this long for it; negative:
// without end. False if nothing came in time or ever will.
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

// While one lives, the terminal has no line mode and no echo; its end needs the
// input's lock. For a key there is no flow control either, and the suspend key
// is an ordinary key. Ctrl-C and Ctrl-\ still send signals.
class KeyMode {
 public:
  enum Purpose { kKey, kLine };
  KeyMode(int terminal, Purpose purpose) : terminal_(terminal) {
    if (tcgetattr(terminal, &before_) != 0) return;
    termios flags = before_;
    flags.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | IEXTEN);
    flags.c_cc[VMIN] = 1;
    flags.c_cc[VTIME] = 0;
    if (purpose == kKey) {
      flags.c_iflag &= ~static_cast<tcflag_t>(IXON);
      flags.c_cc[VSUSP] = _POSIX_VDISABLE;
    }
    active_ = remember_terminal(terminal, before_) && set_terminal(terminal, flags);
  }
  ~KeyMode() {
    if (!active_) return;
    // The line mode would take what is left for a finished line.
    int left = 0;
    if (ioctl(terminal_, FIONREAD, &left) == 0 && left > 0) hold_more(terminal_, 0);
    set_terminal(terminal_, before_);
  }
  KeyMode(const KeyMode&) = delete;
  KeyMode& operator=(const KeyMode&) = delete;

  bool active() const { return active_; }
  const termios& before() const { return before_; }

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

// A key, and the bytes that the terminal sent for it.
struct TypedKey {
  InputRecord record;
  std::uint8_t bytes[kLongestKey];
  std::size_t count;
};

// In the mode of KeyMode. With `plain`, ESC with a character after it is two keys.
bool next_key(int terminal, bool plain, TypedKey* key) {
  bool complete = false;
  for (;;) {
    int column, row;
    if (answer_is_late && take_answer(&column, &row)) answer_is_late = false;
    if (held_count > 0) {
      std::size_t used = 0;
      KeyResult result = take_key(held, held_count, complete, &used, &key->record);
      if (plain && result == KeyResult::kKey && key->record.character != 0 &&
          (key->record.control_key_state & kAlt) != 0) {
        result = take_key(held, 1, true, &used, &key->record);
      }
      if (result == KeyResult::kKey) {
        memcpy(key->bytes, held, used);
        key->count = used;
      }
      if (result != KeyResult::kMore) drop_held(used);
      if (result == KeyResult::kKey) return true;
      if (result == KeyResult::kSkip) continue;
    }
    complete = !hold_more(terminal, held_count > 0 ? kKeyMilliseconds : -1);
    if (complete && held_count == 0) return false;
  }
}

bool read_key(int terminal, bool plain, TypedKey* key) {
  hold_for(terminal);
  const KeyMode mode(terminal, KeyMode::kKey);
  return mode.active() && next_key(terminal, plain, key);
}

// ---- Lines -----------------------------------------------------------------------

// A line while it is typed. Its characters are of one or more bytes each, and
// take one or more cells.
struct TypedLine {
  char text[kLongestLine];
  std::size_t length;
  struct {
    std::uint8_t bytes, shown, cells;
  } characters[kLongestLine];
  std::size_t count;
};

// The echo goes to the cells, whose lock comes first.
class WithoutInputLock {
 public:
  WithoutInputLock() { pthread_mutex_unlock(&input_lock); }
  ~WithoutInputLock() { pthread_mutex_lock(&input_lock); }
  WithoutInputLock(const WithoutInputLock&) = delete;
  WithoutInputLock& operator=(const WithoutInputLock&) = delete;
};

void type(TypedLine* line, const TypedKey& key, int terminal, bool echo) {
  constexpr std::size_t kLineEnd = 2;
  if (line->length + key.count + kLineEnd > kLongestLine) return;
  memcpy(line->text + line->length, key.bytes, key.count);
  line->length += key.count;
  auto& added = line->characters[line->count++];
  added = {static_cast<std::uint8_t>(key.count), key.record.character, 0};
  if (echo) added.cells = static_cast<std::uint8_t>(echo_character(terminal, added.shown));
}

void erase(TypedLine* line, std::size_t count, int terminal) {
  int cells = 0;
  for (; count > 0 && line->count > 0; --count) {
    const auto& last = line->characters[--line->count];
    line->length -= last.bytes;
    cells += last.cells;
  }
  if (cells > 0) echo_erasure(terminal, cells);
}

// With the spaces after it.
std::size_t last_word(const TypedLine& line) {
  std::size_t start = line.count;
  while (start > 0 && line.characters[start - 1].shown == ' ') --start;
  while (start > 0 && line.characters[start - 1].shown != ' ') --start;
  return line.count - start;
}

void show_again(TypedLine* line, int terminal) {
  for (std::size_t i = 0; i < line->count; ++i) {
    auto& character = line->characters[i];
    character.cells = static_cast<std::uint8_t>(echo_character(terminal, character.shown));
  }
}

// The terminal's own keys edit the line; Escape clears it, as in a console. False
// if the terminal is gone before anything was typed.
bool read_line(int terminal, TypedLine* line) {
  const KeyMode mode(terminal, KeyMode::kLine);
  if (!mode.active()) return false;
  const bool echo = echoes_lines(terminal);
  const auto is = [&](std::uint8_t c, int key) {
    return mode.before().c_cc[key] != _POSIX_VDISABLE && c == mode.before().c_cc[key];
  };
  unsigned stops = times_continued();
  line->length = line->count = 0;
  for (;;) {
    TypedKey key;
    if (!next_key(terminal, true, &key)) return line->length > 0;
    const WithoutInputLock echoing;
    if (echo && stops != times_continued()) show_again(line, terminal);
    stops = times_continued();
    const std::uint8_t c = key.count == 1 ? key.bytes[0] : kEscape;
    if (key.count == 1 && (is(c, VEOF) || c == 0)) return true;  // 0: taken in the line mode
    if (key.record.character == '\r') {
      line->text[line->length++] = '\r';
      line->text[line->length++] = '\n';
      if (echo) echo_character(terminal, '\n');
      return true;
    }
    if (is(c, VERASE) || c == kErase || c == '\b') {
      erase(line, 1, terminal);
    } else if (is(c, VWERASE)) {
      erase(line, last_word(*line), terminal);
    } else if (is(c, VKILL) || (key.count == 1 && c == kEscape)) {
      erase(line, line->count, terminal);
    } else if (key.record.character != 0) {
      type(line, key, terminal, echo);
    }
  }
}

void enter_alone(char* bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    if (bytes[i] == '\n') bytes[i] = '\r';
  }
}

std::size_t take_finished(void* buffer, std::size_t size) {
  const std::size_t left = finished.length - finished.taken;
  const std::size_t count = left < size ? left : size;
  memcpy(buffer, finished.text + finished.taken, count);
  finished.taken += count;
  return count;
}

void finish_line(unsigned device, const char* text, std::size_t length) {
  memcpy(finished.text, text, length);
  finished.taken = 0;
  finished.length = length;
  finished.device = device;
}

// With the lock held, as read_terminal.
TerminalRead read_ours(int descriptor, unsigned device, void* buffer, std::size_t size,
                       std::size_t* count) {
  if (finished.taken < finished.length && finished.device == device) {
    *count = take_finished(buffer, size);
    return TerminalRead::kDone;
  }
  termios flags;
  const bool holds = held_count > 0 && held_device == device;
  if (tcgetattr(descriptor, &flags) != 0) return TerminalRead::kNotOurs;
  if ((flags.c_lflag & ICANON) == 0) {
    if (!holds) return TerminalRead::kNotOurs;
    *count = held_count < size ? held_count : size;
    memcpy(buffer, held, *count);
    enter_alone(static_cast<char*>(buffer), *count);
    drop_held(*count);
    return TerminalRead::kDone;
  }
  if (!holds && !is_quiet(device)) return TerminalRead::kNotOurs;
  hold_for(descriptor);
  TypedLine line;
  if (!read_line(descriptor, &line)) return TerminalRead::kFailed;
  finish_line(device, line.text, line.length);
  *count = take_finished(buffer, size);
  return TerminalRead::kDone;
}

// ---- Bytes that the system has read ------------------------------------------------

// Result: the count of bytes that are left.
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

// Enter as a console delivers it: two bytes at the end of a line, one where there are no lines.
// Result: the count with both bytes.
std::size_t end_line(int descriptor, void* bytes, std::size_t count, std::size_t size) {
  auto* const line = static_cast<char*>(bytes);
  termios flags;
  if (count == 0) return count;
  // Only then is the system asked: all that is read of files comes here.
  const bool may_end = line[count - 1] == '\n' || lines_were_refused();
  if (!may_end || tcgetattr(descriptor, &flags) != 0) return count;
  if ((flags.c_lflag & ICANON) == 0) enter_alone(line, count);
  if ((flags.c_lflag & ICANON) == 0 || line[count - 1] != '\n') return count;
  line[count - 1] = '\r';
  if (count == size) {
    pthread_mutex_lock(&input_lock);
    finish_line(terminal_device(descriptor), "\n", 1);
    pthread_mutex_unlock(&input_lock);
    return count;
  }
  line[count] = '\n';
  return count + 1;
}

const OpenObject* find_keyboard(Handle input, std::uint32_t room, std::uint32_t* count) {
  *count = 0;
  const OpenObject* const object = find_handle(input, HandleKind::kFile);
  if (object == nullptr) return nullptr;
  std::uint32_t error = 0;
  if (!object->readable) {
    error = kErrorAccessDenied;
  } else if (object->screen || terminal_device(object->descriptor) == 0) {
    error = kErrorInvalidHandle;
  } else if (room == 0) {
    error = kErrorInvalidParameter;
  }
  if (error == 0) return object;
  SetLastError(error);
  return nullptr;
}

void set_character(InputRecord* record, std::uint32_t unit) {
  record->character = static_cast<std::uint8_t>(unit);
  record->character_high = static_cast<std::uint8_t>(unit >> 8);
}

}  // namespace

Answer ask_cursor(int terminal, int reader, int* column, int* row) {
  if (reader < 0 || in_background(terminal) || lacks_input_lock()) return Answer::kNotNow;
  Answer answer = Answer::kNotNow;
  {
    hold_for(reader);
    const KeyMode mode(reader, KeyMode::kKey);
    if (mode.active()) {
      const timespec end = deadline_after(kAnswerMilliseconds);
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

TerminalRead read_terminal(int descriptor, void* buffer, std::size_t size, std::size_t* count) {
  if (size == 0 || (!is_quiet_anywhere() && __atomic_load_n(&held_count, __ATOMIC_ACQUIRE) == 0 &&
                    __atomic_load_n(&finished.taken, __ATOMIC_ACQUIRE) == finished.length)) {
    return TerminalRead::kNotOurs;
  }
  const unsigned device = terminal_device(descriptor);
  if (device == 0) return TerminalRead::kNotOurs;
  if (lacks_input_lock()) return TerminalRead::kNotOurs;
  const TerminalRead result = read_ours(descriptor, device, buffer, size, count);
  pthread_mutex_unlock(&input_lock);
  return result;
}

std::size_t take_terminal_bytes(int descriptor, void* bytes, std::size_t count, std::size_t size) {
  count = drop_late_answer(descriptor, bytes, count);
  follow_echo(descriptor, bytes, count);
  return end_line(descriptor, bytes, count, size);
}

Bool ReadConsoleInputA(Handle input, InputRecord* records, std::uint32_t room,
                       std::uint32_t* count) {
  const OpenObject* const object = find_keyboard(input, room, count);
  if (object == nullptr) return 0;
  send_held_output();
  pthread_mutex_lock(&input_lock);
  TypedKey key;
  const bool got = read_key(object->descriptor, false, &key);
  pthread_mutex_unlock(&input_lock);
  if (!got) return fail(kErrorIoDevice);
  *records = key.record;
  *count = 1;
  return 1;
}

Bool ReadConsoleInputW(Handle input, InputRecord* records, std::uint32_t room,
                       std::uint32_t* count) {
  static InputRecord second;  // of a character that is a pair
  static bool has_second;
  const OpenObject* const object = find_keyboard(input, room, count);
  if (object == nullptr) return 0;
  send_held_output();
  pthread_mutex_lock(&input_lock);
  TypedKey key;
  const bool is_second = has_second;
  const bool got = is_second || read_key(object->descriptor, false, &key);
  has_second = false;
  *records = is_second ? second : key.record;
  if (got && !is_second && key.record.character >= ' ') {
    const std::size_t prefix = key.count > 1 && key.bytes[0] == kEscape ? 1 : 0;  // with Alt
    std::uint32_t code;
    if (take_utf8(key.bytes + prefix, key.count - prefix, &code) <= 0) code = 0xFFFD;
    has_second = code > 0xFFFF;
    if (has_second) {
      second = key.record;
      set_character(&second, 0xDC00 | (code & 0x3FF));
      code = 0xD800 + ((code - 0x10000) >> 10);
    }
    set_character(records, code);
  }
  pthread_mutex_unlock(&input_lock);
  if (!got) return fail(kErrorIoDevice);
  *count = 1;
  return 1;
}

Bool PeekConsoleInputA(Handle input, InputRecord* records, std::uint32_t room,
                       std::uint32_t* count) {
  const OpenObject* const object = find_keyboard(input, room, count);
  if (object == nullptr) return 0;
  send_held_output();
  if (lacks_input_lock()) return 1;  // another thread waits for the keys
  hold_for(object->descriptor);
  {
    const KeyMode mode(object->descriptor, KeyMode::kKey);
    if (mode.active()) hold_more(object->descriptor, 0);
  }
  std::size_t used;
  KeyResult result = KeyResult::kMore;
  while (held_count > 0 &&
         (result = take_key(held, held_count, true, &used, records)) == KeyResult::kSkip) {
    drop_held(used);
  }
  *count = held_count > 0 && result == KeyResult::kKey ? 1 : 0;
  pthread_mutex_unlock(&input_lock);
  return 1;
}

std::uint32_t ReadKeyText(Handle input, char* text) {
  const OpenObject* const object = find_handle(input, HandleKind::kFile);
  if (object == nullptr || terminal_device(object->descriptor) == 0) return 0;
  send_held_output();
  pthread_mutex_lock(&input_lock);
  TypedKey key;
  bool got;
  do {
    got = read_key(object->descriptor, true, &key);
  } while (got && key.record.character == 0);
  pthread_mutex_unlock(&input_lock);
  if (!got) return 0;
  // Enter and the erase key are sent as the terminal likes.
  if (key.record.character < ' ') {
    text[0] = static_cast<char>(key.record.character);
    return 1;
  }
  memcpy(text, key.bytes, key.count);
  return static_cast<std::uint32_t>(key.count);
}

}  // namespace tarn::platform
