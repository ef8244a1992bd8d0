/* A DLL whose initialiser prints and fails, before the program has begun. */
#include <stdio.h>

int* nowhere;

__attribute__((constructor)) static void start_early(void) {
  puts("initialiser of the DLL\n");
  *nowhere = 1;
}

__attribute__((dllexport)) int early_part(void) { return 1; }
