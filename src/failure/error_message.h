// From the registers of a raised number to the message that is shown.
#pragma once

#include "platform/platform.h"

namespace tarn {

// Bytes of the longest message, its NUL included.
inline constexpr std::uint64_t kRuntimeMessageSize = 1024;

// Writes `text` to `message`, which has room for kRuntimeMessageSize bytes, with
// %1 to %6 replaced by the strings that r8 to r13 point to. An argument is
// copied as it is, so a '%' in it is safe; one that cannot be read shows as
// "???", and one that runs into unreadable memory ends there. Any other
// placeholder is dropped, together with the space before it. A longer message
// is cut.
//
// Never faults, whatever the registers hold. Keeps no state; any thread.
void expand_error_text(const char* text, const platform::AMD_CONTEXT& context, char* message);

// The same for the catalogue's text of the number in rax.
void compose_error_message(const platform::AMD_CONTEXT& context, char* message);

// Replaces control characters by '?', for strings and names of a program may
// hold anything and a terminal must not act on it. Tabs and line ends stay.
void hide_control_characters(char* text);

}  // namespace tarn
