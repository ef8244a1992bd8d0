/* Copies and fills blocks of 8, 16 and 32 bytes COUNT times, as a compiler
 * puts them in line.
 *
 *   small_blocks COUNT
 *
 * Made twice: as a program of the suite, with its string.h, and natively, with
 * the system's. */
#include <stdlib.h>
#include <string.h>

static char from[32], to[32];

/* What the compiler must not see through. */
#define TOUCH(block) __asm__ volatile("" : : "r"(block) : "memory")

int main(int argc, char** argv) {
  const int count = argc > 1 ? atoi(argv[1]) : 1;
  for (int i = 0; i < count; ++i) {
    TOUCH(from);
    memcpy(to, from, 8);
    TOUCH(to);
    memcpy(to, from, 16);
    TOUCH(to);
    memcpy(to, from, 32);
    TOUCH(to);
    memset(from, i, 8);
    TOUCH(from);
    memset(from, i, 16);
    TOUCH(from);
    memset(from, i, 32);
    TOUCH(from);
  }
  return 0;
}
