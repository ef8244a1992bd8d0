/* Common blocks, as compiled Fortran uses them: storage with a name, shared
 * by all sources of an image that name it. Here "SETTINGS" is shared by two
 * sources of the program, and the DLL has "TALLY" and "HISTORY" of its own. */
#include <stdio.h>
#include <tarn/image.h>

#include "common_blocks.h"

TARN_COMMON(settings, "SETTINGS", struct settings)
TARN_COMMON_MEMBER(limit, "SETTINGS", int, 8)

int main(void) {
  settings->step = 2.5;
  settings->limit = 4;
  printf("limit through its own pointer: %d\n", *limit);

  int steps = walk(); /* the other source of the program */
  printf("walk took %d steps, limit is now %d\n", steps, settings->limit);

  printf("the DLL began with a tally of %d\n", tally());
  for (int i = 1; i <= 3; ++i) count(i * 10);
  printf("the DLL counted %d in %d calls\n", tally(), calls());
  return 0;
}
