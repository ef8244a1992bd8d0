/* The DLL of the common block example: one block with initial values, one
 * that the start-up allocates. */
#include <tarn/image.h>

#include "common_blocks.h"

#define CALLS_KEPT 100

struct history {
  int amount[CALLS_KEPT];
};

static struct { int total, calls; } initial = {100, 0};

TARN_COMMON_OBJECT(initial, "TALLY")
TARN_COMMON(history, "HISTORY", struct history)

__attribute__((dllexport)) void count(int amount) {
  if (initial.calls < CALLS_KEPT) history->amount[initial.calls++] = amount;
}

__attribute__((dllexport)) int tally(void) {
  int total = initial.total;
  for (int i = 0; i < initial.calls; ++i) total += history->amount[i];
  return total;
}

__attribute__((dllexport)) int calls(void) { return initial.calls; }
