// The terminal as dialogs use it, and what is written to the standard handles.

#include "paneview/dialog.h"
#include "paneview/text.h"
#include "platform/output.h"

namespace paneview {
namespace {

namespace platform = tarn::platform;

inline constexpr std::uint32_t kProcessedInput = 1;
inline constexpr std::uint32_t kLineInput = 2;
inline constexpr std::uint32_t kEchoInput = 4;
inline constexpr std::uint32_t kLineMode = kProcessedInput | kLineInput | kEchoInput;

constexpr char kErase = '\b';
constexpr char kEscape = 0x1B;
constexpr char kEndOfHostInput = 4;      // Ctrl-D
constexpr char kEndOfWindowsInput = 26;  // Ctrl-Z
constexpr std::uint32_t kLongestLine = 1023;

// While it lives, keys come one by one, without echo.
class KeyMode {
 public:
  KeyMode(platform::Handle input, std::uint32_t processed) : input_(input) {
    if (platform::GetConsoleMode(input, &before_) == 0) return;
    active_ = true;
    platform::SetConsoleMode(input, (before_ & ~kLineMode) | processed);
  }
  ~KeyMode() {
    if (active_) platform::SetConsoleMode(input_, before_);
  }
  KeyMode(const KeyMode&) = delete;
  KeyMode& operator=(const KeyMode&) = delete;

  bool active() const { return active_; }

 private:
  platform::Handle input_;
  std::uint32_t before_ = 0;
  bool active_ = false;
};

// What is typed: characters of one or more bytes each.
struct Line {
  char* text;
  std::uint32_t room, length, count;
  std::uint8_t sizes[kLongestLine];
};

void add(Line* line, const char* character, std::uint32_t size) {
  if (line->count == kLongestLine || line->length + size > line->room) return;
  for (std::uint32_t i = 0; i < size; ++i) line->text[line->length++] = character[i];
  line->sizes[line->count++] = static_cast<std::uint8_t>(size);
  write_output(character, size);
}

void erase(Line* line, std::uint32_t count) {
  for (; count > 0 && line->count > 0; --count) {
    line->length -= line->sizes[--line->count];
    write_output("\b \b", 3);
  }
}

}  // namespace

bool on_terminal() {
  std::uint32_t mode;
  return platform::GetConsoleMode(platform::GetStdHandle(platform::kStandardInput), &mode) != 0 &&
         platform::GetConsoleMode(platform::GetStdHandle(platform::kStandardOutput), &mode) != 0;
}

std::int32_t read_key() {
  const platform::Handle input = platform::GetStdHandle(platform::kStandardInput);
  const KeyMode mode(input, 0);
  char key[platform::kKeyTextSize];
  if (!mode.active() || platform::ReadKeyText(input, key) == 0) return -1;
  return static_cast<unsigned char>(key[0]);
}

// By keys: the lines of a console never have an Escape.
bool read_line(char* buffer, std::uint32_t size) {
  const platform::Handle input = platform::GetStdHandle(platform::kStandardInput);
  const KeyMode mode(input, kProcessedInput);
  Line line;
  line.text = buffer;
  line.room = size - 1;
  line.length = line.count = 0;
  bool declined = false;
  for (;;) {
    char key[platform::kKeyTextSize];
    const std::uint32_t length = mode.active() ? platform::ReadKeyText(input, key) : 0;
    const char c = length == 0 ? kEndOfHostInput : key[0];
    if (c == '\r') break;
    if (c == kEndOfHostInput || c == kEndOfWindowsInput) {
      declined = line.length == 0;
      if (declined || length == 0) break;
    } else if (c == kErase) {
      erase(&line, 1);
    } else if (c == kEscape) {
      erase(&line, line.count);
      declined = true;
    } else if (static_cast<unsigned char>(c) >= ' ') {
      add(&line, key, length);
      declined = false;
    }
  }
  write_output("\r\n", 2);
  buffer[line.length] = 0;
  return !declined;
}

bool write_to(std::int32_t standard_handle, const char* text, std::uint32_t length) {
  std::uint32_t written = 0;
  return platform::write_output(platform::GetStdHandle(standard_handle), text, length, &written);
}

bool write_output(const char* text, std::uint32_t length) {
  return write_to(platform::kStandardOutput, text, length);
}

}  // namespace paneview
