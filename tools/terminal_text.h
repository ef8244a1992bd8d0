// Text that others chose, names and files, on its way to a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Of the UTF-8 character at the start of `text`; 0 if that is none.
inline std::size_t character_length(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const std::size_t length = byte(0) < 0x80                       ? 1
                             : byte(0) >= 0xC2 && byte(0) <= 0xDF ? 2
                             : (byte(0) & 0xF0) == 0xE0           ? 3
                             : byte(0) >= 0xF0 && byte(0) <= 0xF4 ? 4
                                                                  : 0;
  if (length > text.size()) return 0;
  for (std::size_t i = 1; i < length; i++) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  // Not in more bytes than it needs.
  if ((byte(0) == 0xE0 && byte(1) < 0xA0) || (byte(0) == 0xF0 && byte(1) < 0x90)) return 0;
  return length;
}

// With '?' for what a terminal acts on, control characters of one byte or two, and for what
// is not UTF-8, some of which is control characters of an older code.
inline std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    std::size_t length = character_length(text);
    const auto first = static_cast<unsigned char>(text[0]);
    const bool control =
        (length == 1 && (first < ' ' || first == 0x7F)) ||
        (length == 2 && first == 0xC2 && static_cast<unsigned char>(text[1]) < 0xA0);
    if (length == 0 || control) {
      result += '?';
      if (length == 0) length = 1;
    } else {
      result += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
  return result;
}
