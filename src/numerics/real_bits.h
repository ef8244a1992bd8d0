// Tests of a real number by its bits. A comparison in SSE registers would take
// a subnormal for zero, as programs run with DAZ set, and would trap on a NaN.
// Private to the room.
#pragma once

#include <cstdint>

namespace tarn {

inline constexpr std::uint64_t kSignBit = std::uint64_t{1} << 63;
inline constexpr std::uint64_t kInfinityBits = 0x7FF0000000000000;

inline std::uint64_t bits_of(double x) { return __builtin_bit_cast(std::uint64_t, x); }
inline std::uint64_t magnitude_bits(double x) { return bits_of(x) & ~kSignBit; }
inline bool is_nan(double x) { return magnitude_bits(x) > kInfinityBits; }
inline bool is_finite(double x) { return magnitude_bits(x) < kInfinityBits; }
inline bool is_zero(double x) { return magnitude_bits(x) == 0; }
// Of a number that is not a NaN. -0.0 is not below zero.
inline bool is_below_zero(double x) { return bits_of(x) > kSignBit; }
inline std::uint32_t high_word(double x) { return static_cast<std::uint32_t>(bits_of(x) >> 32); }

}  // namespace tarn
