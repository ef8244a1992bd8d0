/* Allocates and frees blocks COUNT times.
 *
 *   churn COUNT pairs     each block at once
 *   churn COUNT mixed     a thousand kept, of mixed sizes
 *   churn COUNT threads   so, by eight threads; blocks go from one to another
 *   churn COUNT kept      COUNT blocks at once, half of them freed and taken again
 *
 * Made as a hosted program, as one of the suite (without threads), and natively. */
#include <stdlib.h>
#include <string.h>

#define KEPT 1000
#define THREADS 8

static unsigned long long next(unsigned long long* random) {
  *random ^= *random << 13;
  *random ^= *random >> 7;
  *random ^= *random << 17;
  return *random;
}

/* Most are small; one in sixteen has up to 8 kB. */
static size_t mixed_size(unsigned long long random) {
  const unsigned kind = (unsigned)random & 15;
  return 1 + ((unsigned)(random >> 8) & (kind == 0 ? 8191 : kind < 6 ? 255 : 63));
}

static char* taken(size_t size) {
  char* const block = malloc(size);
  if (!block) exit(1);
  block[0] = block[size - 1] = 1;
  return block;
}

static void pairs(int count) {
  static size_t sizes[256];
  for (int i = 0, size = 8; i < 256; ++i, size = size * 5 % 1021 + 8) sizes[i] = (size_t)size;
  for (int i = 0; i < count; ++i) free(taken(sizes[i & 255]));
}

static void mixed(int count, void** blocks, unsigned long long random) {
  for (int i = 0; i < count; ++i) {
    const unsigned at = (unsigned)(next(&random) >> 20) % KEPT;
    free(blocks[at]);
    blocks[at] = taken(mixed_size(random));
  }
}

static void kept(int count) {
  char** const blocks = malloc((size_t)count * sizeof *blocks);
  unsigned long long random = 88172645463325252u;
  if (!blocks) exit(1);
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < count; ++i) {
      const size_t size = mixed_size(next(&random));
      if (round > 0 && (random >> 40 & 1)) continue;
      if (round > 0) free(blocks[i]);
      blocks[i] = taken(size);
      memset(blocks[i], 1, size);
    }
  }
}

static void* blocks[THREADS][KEPT];

/* Four rounds, each with blocks that another thread had in the one before. */
#ifdef CHURN_THREADS
static int turns;
#ifdef _WIN32
#include <windows.h>
typedef HANDLE thread;
static DWORD WINAPI turn(void* kept_blocks) {
  mixed(turns, kept_blocks, (size_t)kept_blocks);
  return 0;
}
static thread start(void** of_thread) { return CreateThread(NULL, 0, turn, of_thread, 0, NULL); }
static void end(thread ended) {
  WaitForSingleObject(ended, INFINITE);
  CloseHandle(ended);
}
#else
#include <pthread.h>
typedef pthread_t thread;
static void* turn(void* kept_blocks) {
  mixed(turns, kept_blocks, (size_t)kept_blocks);
  return NULL;
}
static thread start(void** of_thread) {
  pthread_t started;
  if (pthread_create(&started, NULL, turn, of_thread) != 0) exit(1);
  return started;
}
static void end(thread ended) { pthread_join(ended, NULL); }
#endif

static void threads(int count) {
  turns = count / THREADS / 4;
  for (int round = 0; round < 4; ++round) {
    thread started[THREADS];
    for (int i = 0; i < THREADS; ++i) started[i] = start(blocks[(i + round) % THREADS]);
    for (int i = 0; i < THREADS; ++i) end(started[i]);
  }
}
#endif

int main(int argc, char** argv) {
  const int count = argc > 1 ? atoi(argv[1]) : 1000;
  const char* const what = argc > 2 ? argv[2] : "mixed";
  if (strcmp(what, "pairs") == 0) {
    pairs(count);
  } else if (strcmp(what, "kept") == 0) {
    kept(count);
#ifdef CHURN_THREADS
  } else if (strcmp(what, "threads") == 0) {
    threads(count);
#endif
  } else {
    mixed(count, blocks[0], 88172645463325252u);
  }
  return 0;
}
