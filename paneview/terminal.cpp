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

// -1 at the end of input.
std::int32_t read_byte() {
  char byte;
  std::uint32_t delivered = 0;
  if (platform::ReadFile(platform::GetStdHandle(platform::kStandardInput), &byte, 1, &delivered,
                         nullptr) == 0 ||
      delivered != 1) {
    return -1;
  }
  return static_cast<unsigned char>(byte);
}

}  // namespace

bool on_terminal() {
  std::uint32_t mode;
  return platform::GetConsoleMode(platform::GetStdHandle(platform::kStandardInput), &mode) != 0 &&
         platform::GetConsoleMode(platform::GetStdHandle(platform::kStandardOutput), &mode) != 0;
}

std::int32_t read_key() {
  const platform::Handle input = platform::GetStdHandle(platform::kStandardInput);
  std::uint32_t mode;
  if (platform::GetConsoleMode(input, &mode) == 0) return -1;
  platform::SetConsoleMode(input, mode & ~kLineMode);
  const std::int32_t key = read_byte();
  platform::SetConsoleMode(input, mode);
  return key;
}

bool read_line(char* buffer, std::uint32_t size) {
  const platform::Handle input = platform::GetStdHandle(platform::kStandardInput);
  std::uint32_t mode;
  if (platform::GetConsoleMode(input, &mode) == 0) return false;
  platform::SetConsoleMode(input, mode | kLineMode);
  std::uint32_t length = 0;
  std::int32_t byte;
  while ((byte = read_byte()) >= 0 && byte != '\n') {
    if (byte != '\r' && length + 1 < size) buffer[length++] = static_cast<char>(byte);
  }
  platform::SetConsoleMode(input, mode);
  buffer[length] = 0;
  return byte >= 0 || length > 0;
}

bool write_to(std::int32_t standard_handle, const char* text, std::uint32_t length) {
  std::uint32_t written = 0;
  return platform::write_output(platform::GetStdHandle(standard_handle), text, length, &written);
}

bool write_output(const char* text, std::uint32_t length) {
  return write_to(platform::kStandardOutput, text, length);
}

}  // namespace paneview
