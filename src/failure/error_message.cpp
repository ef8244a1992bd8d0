#include "failure/error_message.h"

#include "failure/catalogue.h"
#include "failure/image_tables.h"
#include "platform/output.h"
#include "process/raising.h"
#include "streams/format.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr char kUnreadable[] = "???";
// The start of an image names the block that it could not allocate: its name,
// which lies in the image, in r8, its size in r10, and the mark in r9, since
// others that raise the number set none of them.
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

  std::uint64_t room() const { return kRuntimeMessageSize - 1 - length; }
};

void append(Message* message, char c) {
  if (message->room() > 0) message->text[message->length++] = c;
}

// Copies in pieces that end with a page, straight into the message.
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

using Arguments = std::uint64_t[kArgumentCount];

// Writes the expanded text after what the message has.
void expand_into(const char* text, const Arguments& arguments, Message out) {
  for (; *text; ++text) {
    if (*text != '%') {
      append(&out, *text);
      continue;
    }
    ++text;
    if (!*text) break;
    const int place = *text - '1';
    if (place >= 0 && place < kArgumentCount) {
      append_argument(&out, arguments[place]);
    } else if (out.length > 0 && out.text[out.length - 1] == ' ') {
      --out.length;
    }
  }
  out.text[out.length] = '\0';
}

std::uint64_t address_of(const char* text) { return reinterpret_cast<std::uint64_t>(text); }

// Which block of which image it was.
void tell_block(const platform::AMD_CONTEXT& context, char* message) {
  char image[kImageNameSize];
  char size[24];
  const bool known = image_name(image_at(context.R8), image);
  sprintf(size, "%llu", context.R10);
  expand_into(": %1 of %2, %3 bytes", {context.R8, known ? address_of(image) : 0, address_of(size)},
              Message{message, strlen(message)});
}

}  // namespace

void expand_error_text(const char* text, const platform::AMD_CONTEXT& context, char* message) {
  Arguments arguments;
  for (int i = 0; i < kArgumentCount; ++i) arguments[i] = context.*kArguments[i];
  expand_into(text, arguments, Message{message, 0});
}

void compose_error_message(const platform::AMD_CONTEXT& context, char* message) {
  expand_error_text(error_text(static_cast<std::int64_t>(context.Rax)), context, message);
  if (context.Rax == TARN_ERROR_COMMON_BLOCK && context.R9 == kBlockNameMark) {
    tell_block(context, message);
  }
}

void hide_control_characters(char* text) {
  for (char before = '\0'; *text; before = *text++) {
    const bool stays = *text == '\t' || *text == '\n';
    if (!stays && platform::is_terminal_control(before, *text)) *text = '?';
  }
}

}  // namespace tarn
