#include <stdlib.h>

#include "../crt.h"

extern "C" {
int at_quick_exit(void (*routine)(void));
[[noreturn]] void quick_exit(int status);
}

// ISO C asks for 32 at least.
static void (*routines[64])(void);
static int count;

CRT_API int at_quick_exit(void (*routine)(void)) {
  if (count == sizeof routines / sizeof routines[0]) return -1;
  routines[count++] = routine;
  return 0;
}

CRT_API void quick_exit(int status) {
  while (count > 0) routines[--count]();
  _exit(status);
}
