/* Operations without a meaning, one of each kind that the compiler checks. */
#include <limits.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>

#line 1 "undefined.c"
static char first(const char* text) __attribute__((nonnull, noinline));
static char first(const char* text) { return (char)(sizeof text); }
static void* nothing(void* null) __attribute__((returns_nonnull, noinline));
static void* nothing(void* null) { return null; }

struct Pair {
  int a, b;
};

int main(void) {
  volatile int one = 1, zero = 0, least = INT_MIN, many = 33, row[3] = {1, 2, 3};
  volatile __int128 widest = (__int128)(~(unsigned __int128)0 >> 1);
  volatile float half = 0.5f;
  volatile double large = 1e10;
  char bytes[8] = {0, 5};
  struct Pair* volatile pair = NULL;
  char* volatile text = NULL;
  for (int i = 0; i < 2; ++i) zero = least - one; /* is said once */
  zero = 0;
  zero = least * (one + 1);
  zero = -least;
  widest = widest + one;
  zero = 0;
  half = half / (float)zero;
  zero = one << many;
  many = -1;
  zero = one >> many;
  zero = (many - 1) << one;
  zero = (INT_MAX - one) << one;
  many = 3;
  zero = row[many];
  zero = (int)large;
  one = *(volatile bool*)(bytes + 1);
  one = *(volatile int*)(bytes + one - 1 + 1);
  one = (int)(intptr_t)&pair->b;
  zero = first(text);
  text = nothing(text);
  text = NULL;
  text = text + one;
  one = 0;
  one = __builtin_ctz((unsigned)one);
  puts("and on");
  fflush(stdout);
  many = -2;
  int values[many];
  values[0] = one;
  return values[0];
}
