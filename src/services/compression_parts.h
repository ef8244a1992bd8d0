// What the compression's own sources, tests and measurements share.
#pragma once

#include "services/compression.h"

namespace tarn::compression {

inline constexpr std::uint32_t kLiteralMark = 31;
inline constexpr std::int32_t kOffsetBits = 12;  // of the end marker too

// ---- Writing --------------------------------------------------------------

struct Index;

// Writes the tokens of the data from `data` to `end`, whose window is in
// front of them, and the end marker. `index` is all 0. Result: the end of what
// was written.
using Encode = std::uint8_t*(TARNAPI*)(Index* index, const std::uint8_t* data,
                                       const std::uint8_t* end, std::uint8_t* output);
TARNAPI std::uint8_t* encode_sse2(Index* index, const std::uint8_t* data, const std::uint8_t* end,
                                  std::uint8_t* output);
// Only where has_avx2 returns true.
TARNAPI std::uint8_t* encode_avx2(Index* index, const std::uint8_t* data, const std::uint8_t* end,
                                  std::uint8_t* output);

// __tarn_compress2 by one of the two.
TARNAPI void* compress_by(Encode encode, void* block, std::int32_t size, std::int32_t* length);

// ---- Reading --------------------------------------------------------------

// A stream being read, after its header.
struct Expansion {
  const std::uint8_t* input;
  const std::uint8_t* input_end;
  std::int32_t bit;          // of *input
  bool literals;             // a literal run is open
  std::uint8_t* output;      // the window is before it
  std::uint8_t* output_end;  // of the room
};

// Goes on until the stream ends, and returns true, or until there is no room for
// the next element; its reading begins anew once there is more.
bool expand(Expansion& expansion);

}  // namespace tarn::compression
