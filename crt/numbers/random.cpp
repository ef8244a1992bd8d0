#include <stdlib.h>

#include "../crt.h"

// The linear congruential generator that programs for Windows know: the same
// numbers for the same seed there.
static unsigned state = 1;

CRT_API void srand(unsigned seed) { state = seed; }
CRT_API int rand(void) {
  state = state * 214013 + 2531011;
  return static_cast<int>(state >> 16 & RAND_MAX);
}
