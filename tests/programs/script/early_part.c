/* A DLL that prints before the library is up. */
#include <stdio.h>

__attribute__((constructor)) static void start_early(void) { puts("initialiser of the DLL"); }

__attribute__((dllexport)) int early_part(void) { return 1; }
