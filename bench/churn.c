/* Allocates and frees blocks of mixed sizes, COUNT times, a thousand kept at once:
 *
 *   churn COUNT */
#include <stdlib.h>
#include <string.h>

#define KEPT 1000

static void* blocks[KEPT];

int main(int argc, char** argv) {
  const int count = argc > 1 ? atoi(argv[1]) : 1000;
  unsigned long long random = 88172645463325252u;
  for (int i = 0; i < count; ++i) {
    random ^= random << 13;
    random ^= random >> 7;
    random ^= random << 17;
    const unsigned at = (unsigned)(random >> 20) % KEPT;
    const unsigned kind = (unsigned)random & 15;
    /* Most are small; one in sixteen has up to 8 kB. */
    const size_t size = 1 + ((unsigned)(random >> 8) & (kind == 0 ? 8191 : kind < 6 ? 255 : 63));
    free(blocks[at]);
    if (!(blocks[at] = malloc(size))) return 1;
    *(char*)blocks[at] = 1;
  }
  for (int i = 0; i < KEPT; ++i) free(blocks[i]);
  return 0;
}
