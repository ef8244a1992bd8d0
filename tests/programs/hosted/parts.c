/* A hosted program that is linked to a hosted DLL. */
#include <stdio.h>
#include <stdlib.h>
__declspec(dllimport) int twice(int);
static void bye(void) { puts("atexit of the program"); }
int main(void) {
  atexit(bye);
  printf("main %d\n", twice(21));
  return 0;
}
