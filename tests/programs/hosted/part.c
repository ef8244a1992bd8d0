/* A hosted DLL: its output keeps its place among the program's; its atexit routines come at
 * the end of the program. */
#include <stdio.h>
#include <stdlib.h>
static void bye(void) { puts("atexit of the DLL"); }
__declspec(dllexport) int twice(int x) {
  atexit(bye);
  printf("in the DLL %d\n", x);
  return 2 * x;
}
