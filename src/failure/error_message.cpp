#include "failure/error_message.h"

#include "failure/catalogue.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr char kUnreadable[] = "???";
// The start of an image names the block that it could not allocate: its name in
// r8, and the mark in r9, since whoever else raises the number sets neither.
constexpr std::uint64_t kErrorCommonBlock = 365;
constexpr std::uint64_t kBlockNameMark = 0x4B4C4231;

constexpr std::uint64_t kPageSize = 4096;  // memory is readable or not by pages

constexpr std::uint64_t platform::AMD_CONTEXT::*kArguments[] = {
    &platform::AMD_CONTEXT::R8,  &platform::AMD_CONTEXT::R9,  &platform::AMD_CONTEXT::R10,
    &platform::AMD_CONTEXT::R11, &platform::AMD_CONTEXT::R12, &platform::AMD_CONTEXT::R13,
};
constexpr int kArgumentCount = sizeof kArguments / sizeof kArguments[0];

struct Message {
  char* text;
  std::uint64_t length;

  std::uint64_t room() const { return kErrorMessageSize - 1 - length; }
};

void append(Message* message, char c) {
  if (message->room() > 0) message->text[message->length++] = c;
}

// Copies by pieces that end with a page, straight into the message.
void append_argument(Message* message, std::uint64_t address) {
  bool any_read = false;
  while (message->room() > 0) {
    std::uint64_t piece = kPageSize - address % kPageSize;
    if (piece > message->room()) piece = message->room();
    char* const here = message->text + message->length;
    std::uint64_t copied = 0;
    if (!platform::ReadProcessMemory(platform::GetCurrentProcess(),
                                     reinterpret_cast<const void*>(address), here, piece,
                                     &copied) ||
        copied != piece) {
      for (const char* c = kUnreadable; *c && !any_read; ++c) append(message, *c);
      return;
    }
    any_read = true;
    for (std::uint64_t i = 0; i < piece; ++i) {
      if (!here[i]) return;
      ++message->length;
    }
    address += piece;
  }
}

// Writes the expanded text after what the message has.
void expand_into(const char* text, const platform::AMD_CONTEXT& context, Message out) {
  for (; *text; ++text) {
    if (*text != '%') {
      append(&out, *text);
      continue;
    }
    ++text;
    if (!*text) break;
    const int place = *text - '1';
    if (place >= 0 && place < kArgumentCount) {
      append_argument(&out, context.*kArguments[place]);
    } else if (out.length > 0 && out.text[out.length - 1] == ' ') {
      --out.length;
    }
  }
  out.text[out.length] = '\0';
}

}  // namespace

void expand_error_text(const char* text, const platform::AMD_CONTEXT& context, char* message) {
  expand_into(text, context, Message{message, 0});
}

void compose_error_message(const platform::AMD_CONTEXT& context, char* message) {
  expand_error_text(error_text(static_cast<std::int64_t>(context.Rax)), context, message);
  if (context.Rax != kErrorCommonBlock || context.R9 != kBlockNameMark) return;
  const std::uint64_t length = strlen(message);
  expand_into(" %1", context, Message{message, length});
}

}  // namespace tarn
