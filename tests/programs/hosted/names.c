/* What the cross compiler's headers and libraries lack of ISO C, and names of Windows' C
 * run-time that programs use. */
#include <complex.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <uchar.h>

static void unicode(void) {
  setlocale(LC_ALL, "C.UTF-8");
  mbstate_t state = {0};
  char16_t half;
  char32_t code = 7;
  char bytes[8];
  const char text[] = "\xF0\x9F\x98\x80";
  int high = (int)mbrtoc16(&half, text, 4, &state), part = half;
  int low = (int)mbrtoc16(&half, "x", 1, &state);
  printf("16: %d %x, %d %x", high, part, low, half);
  int first = (int)c16rtomb(bytes, (char16_t)part, &state);
  int rest = (int)c16rtomb(bytes, half, &state);
  printf(", back %d %d %d\n", first, rest, memcmp(bytes, text, 4));
  int cut = (int)mbrtoc32(&code, text, 2, &state), end = (int)mbrtoc32(&code, text + 2, 2, &state);
  printf("32: %d %d %lx, %d, surrogate %d\n", cut, end, (long)code,
         (int)c32rtomb(bytes, code, NULL), (int)c32rtomb(bytes, 0xD800, NULL));
}

static void blocks(void) {
  char* block = aligned_alloc(4096, 100);
  int place = (int)((size_t)block % 4096);
  memset(block, 'a', 100);
  block = realloc(block, 5000);
  printf("aligned %d, moved %c, ", place, block[99]);
  free(block);
  free(aligned_alloc(64, 1));
  printf("none %d\n", aligned_alloc(3, 8) == NULL);
}

static void say(void) {
  puts("quick");
  fflush(stdout);
}
static void never(void) { puts("never"); }

int main(void) {
  struct timespec now;
  unicode();
  blocks();
  printf("%d %g\n", timespec_get(&now, TIME_UTC) == TIME_UTC && now.tv_sec >= time(NULL) - 1,
         cimag(CMPLX(1, -0.0)));
  atexit(never);
  at_quick_exit(say);
  quick_exit(0);
}
