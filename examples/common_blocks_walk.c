/* The second source of the common block example. */
#include <tarn/image.h>

#include "common_blocks.h"

TARN_COMMON(shared, "SETTINGS", struct settings)

int walk(void) {
  int steps = 0;
  for (double at = 0; at < shared->limit; at += shared->step) ++steps;
  shared->limit *= 2;
  return steps;
}
