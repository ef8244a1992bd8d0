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

// ---- Writing --------------------------------------------------------------
// The compressed data, their length in `*length`. Null if there is no storage,
// for a negative `size`, and where a line below says so.

// Of the file at `path`. Null if it cannot be opened or read to its end, or has
// 2 GiB or more.
TARNAPI void* __tarn_compress(const char* path, std::int32_t* length);

// Of a heap block of `size` bytes. The block is freed in every case.
TARNAPI void* __tarn_compress1(void* block, std::int32_t size, std::int32_t* length);

// Of the `size` bytes after the first 3,968 of `block`. Those are overwritten;
// the block remains the caller's.
TARNAPI void* __tarn_compress2(void* block, std::int32_t size, std::int32_t* length);

// ---- Reading --------------------------------------------------------------

// The data of a compressed block of `size` bytes, their length in `*length`; no
// data are a block too. Null if the first byte is not 1, or if the data have
// more bytes than the limit, or than there is storage for. Every other block is
// a stream: one without an end marker ends with its last whole element, and
// what is after an end marker is ignored.
// Error: 199, "Run out of heap space", without storage for the first buffer.
TARNAPI void* __tarn_decompress(const void* block, std::int32_t size, std::int32_t* length);

// ---- The pieces -----------------------------------------------------------

// Writes the low `count` bits (at most 24) of `value` at bit `*bit` (0 to 7) of
// `**output` and moves both on. The bits of that byte from `*bit` up, and the
// three bytes after it, are overwritten.
TARNAPI void send_info(std::uint32_t value, std::uint8_t** output, std::int32_t* bit,
                       std::int32_t count);

// Reads `count` bits (at most 24) from bit `*bit` of `**input` and moves both
// on. Only bytes that hold such bits are read.
TARNAPI std::uint32_t get_bits(const std::uint8_t** input, std::int32_t* bit, std::int32_t count);

// The search of the window from `start` up to `position`.
// Result: the offset of the match, its length, without a cap, in `*length`; -1
// if no two bytes match, and the cell is left alone. The end of the data is not
// known here: as many bytes as the window has must be readable from `position` on.
TARNAPI std::int32_t seek_char(const std::uint8_t* position, const std::uint8_t* start,
                               std::int32_t* length);

}  // namespace tarn
