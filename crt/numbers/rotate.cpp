// Rotations. The headers have them in line for this compiler; these are their routines.
#include "../crt.h"

namespace {

template <class Word>
Word rotate(Word value, int places) {
  constexpr int kBits = sizeof(Word) * 8;
  const int left = places & (kBits - 1);
  return left == 0 ? value : static_cast<Word>(value << left | value >> (kBits - left));
}

}  // namespace

#define ROTATION(name, Word, sign)                        \
  extern "C" Word rotate##name(Word, int) __asm__(#name); \
  extern "C" Word rotate##name(Word value, int places) { return rotate(value, sign places); }

ROTATION(_rotl, unsigned, +)
ROTATION(_rotr, unsigned, -)
ROTATION(_lrotl, unsigned long, +)
ROTATION(_lrotr, unsigned long, -)
ROTATION(_rotl64, unsigned long long, +)
ROTATION(_rotr64, unsigned long long, -)
