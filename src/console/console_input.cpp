#include "console/console_input.h"

#include "console/console_state.h"
#include "console/line_output.h"
#include "console/text_writers.h"

namespace tarn {
namespace {

constexpr char kControlZ = 26;
constexpr std::int32_t kEndNotTold = -1;
constexpr std::int32_t kEndForGood = 1;

// Keys without a character of their own, by their published names.
constexpr struct {
  std::uint16_t code;
  const char* name;
} kSilentKeys[] = {
    {0x10, "VK_SHIFT"}, {0x11, "VK_CONTROL"}, {0x12, "VK_MENU"},
    {0x13, "VK_PAUSE"}, {0x14, "VK_CAPITAL"}, {0x5B, "VK_LWIN"},
    {0x5C, "VK_RWIN"},  {0x5D, "VK_APPS"},    {0x90, "VK_NUMLOCK"},
};

bool is_silent(std::uint16_t code) {
  for (const auto& key : kSilentKeys) {
    if (key.code == code) return true;
  }
  return false;
}

void RefillBuffer() {
  std::uint32_t delivered = 0;
  console.read_buffer[0] = '\0';
  if (console.input_handle == kNoHandle ||
      !platform::ReadFile(system_handle(console.input_handle), console.read_buffer, kReadBlock,
                          &delivered, nullptr)) {
    console.read_pos = -1;
    console.read_end = kEndForGood;
    console.read_error = 1;
    return;
  }
  delivered =
      platform::ToConsoleText(system_handle(console.input_handle), console.read_buffer, delivered);
  console.read_pos = 0;
  console.read_len = static_cast<std::int32_t>(delivered);
  console.read_buffer[delivered] = '\0';
  if (delivered == 0) console.read_end = kEndNotTold;
}

std::int32_t DetectEndOfFile() {
  if (console.read_end == 0 && console.read_buffer[console.read_pos] != kControlZ) return 0;
  if (console.read_end == kEndNotTold) {
    console.read_end = 0;
    __coua("^Z\n");
  }
  return 1;
}

bool block_is_used_up() { return console.read_len <= console.read_pos; }

// Moves past a line end of one or two bytes.
void skip_line_end() {
  ++console.read_pos;
  if (block_is_used_up()) RefillBuffer();
  if (console.read_pos < 0) return;
  const char next = console.read_buffer[console.read_pos];
  if (next == '\r' || (next == '\n' && console.read_end == 0)) ++console.read_pos;
}

std::int32_t end_of_input(std::int32_t* count) {
  *count = -1;
  return 0;
}

}  // namespace

void get_key(std::int32_t* key) {
  if (console.input_handle == kNoHandle) {
    *key = -1;
    return;
  }
  platform::InputRecord record{};
  std::uint32_t count = 0;
  do {
    if (!platform::ReadConsoleInputA(system_handle(console.input_handle), &record, 1, &count)) {
      return;
    }
  } while (count == 0 || record.event_type != platform::kKeyEvent || !record.key_down ||
           is_silent(record.virtual_key_code));
  *key = (record.character ^ 0x80) - 0x80;  // sign-extended
}

std::int32_t ConsoleRead(char* buffer, std::int32_t size, std::int32_t* count) {
  FlushConsole();
  if (console.read_pos == -1 || block_is_used_up()) RefillBuffer();
  if (DetectEndOfFile()) return end_of_input(count);
  std::int32_t n = 0;
  while (n < size && console.read_end == 0 && console.read_error == 0) {
    const char c = console.read_buffer[console.read_pos];
    if (c == kControlZ) {
      console.read_end = kEndForGood;
      ++console.read_pos;
      break;
    }
    if (c == '\r' || c == '\n') {
      skip_line_end();
      break;
    }
    buffer[n++] = c;
    ++console.read_pos;
    if (block_is_used_up()) {
      RefillBuffer();
      if (DetectEndOfFile()) return end_of_input(count);
    }
  }
  *count = n;
  return console.read_error;
}

}  // namespace tarn
