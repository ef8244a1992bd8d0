// Compression: a small dictionary coder with a window of 3,968 bytes that is
// full of spaces before the data begin.
//
// The stream. Bytes are filled from the least significant bit up, and so is
// every value; nothing but the start is aligned.
//
//   header        8 bits, the format's version, 1
//   match         5 bits offset / 128 (0 to 30), 7 bits offset modulo 128,
//                 2 bits length code: 0 is 2 bytes; 1 is 3; 2 is 4 and a 3-bit
//                 field after it; 3 is 12 and a 5-bit field after it
//   literals      5 bits 31, 8 bits a byte, then 1 bit "more": 1 and a further
//                 byte follow, or 0
//   end marker    12 bits 0, then zero bits up to the next byte
//
// The source of a match is at the output position less 3,968 plus the
// offset, and is copied byte by byte in rising order.
//
// Which match is taken is part of the contract: the same data make the same
// stream everywhere. Candidates are the window's positions but the oldest and
// the newest; the longest match wins, of equal ones the oldest, and the first of
// more than 20 bytes ends the search. A match may reach beyond its own window
// for one byte only, and never beyond the data.
//
// Blocks that are returned come from the heap and belong to the caller. The
// length cell is written only together with a block. No state; any thread.
#pragma once

#include "include/tarn/compression.h"
#include "platform/abi.h"

namespace tarn {

inline constexpr std::int32_t kCompressionWindow = 0xF80;
inline constexpr std::uint8_t kCompressionFill = 0x20;
inline constexpr std::uint32_t kCompressionVersion = 1;
inline constexpr std::int32_t kShortestMatch = 2;
inline constexpr std::int32_t kLongestMatch = 43;
inline constexpr std::int32_t kGoodMatch = 20;  // a longer one ends the search

// What the reader allocates at first, the window included. A stream that needs
// more gets more, up to 2,147,483,647 bytes of data.
inline constexpr std::uint64_t kDecoderBuffer = 50'000'000;

}  // namespace tarn
