// The character-class table, shared with compiled code: __initialise_cpplib
// puts its address into a cell of __runtime_block. ASCII has the classes of
// the C locale; bytes from 0x80 up are printable and graphic, and nothing else.
// Constant; any thread.
#pragma once

#include "platform/abi.h"

namespace tarn {

enum CharacterClass : std::uint16_t {
  kPrintable = 0x0001,
  kWhiteSpace = 0x0002,
  kUpperCase = 0x0004,
  kLowerCase = 0x0008,
  kControl = 0x0010,
  kDecimalDigit = 0x0020,
  kHexadecimalDigit = 0x0040,
  kBeyondAscii = 0x0080,
  kLetter = 0x0100,
  kPunctuation = 0x0200,
  kAlphanumeric = 0x0400,
  kGraphic = 0x0800,
};

inline constexpr int kCharacters = 256;

// The classes of each byte, indexed by the byte taken as unsigned.
struct ClassTable {
  std::uint16_t of[kCharacters];
};
extern const ClassTable kClassTable;
inline constexpr const std::uint16_t (&character_class_table)[kCharacters] = kClassTable.of;

// The classes of a character as the library's own readers take it, a signed
// byte: what is outside 0 to 255, so every byte from 0x80 up, has the classes
// of entry 0 and counts as a control character.
inline std::uint16_t character_classes(std::int32_t character) {
  return character_class_table[character >= 0 && character < kCharacters ? character : 0];
}

}  // namespace tarn
