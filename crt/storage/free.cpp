// A file of its own: a program may have a `free` that does nothing beside this malloc.
#include <stdlib.h>

#include "aligned.h"

extern "C" {
void suite_free(void*) __asm__("tarn_suite_free");

// Ends in a jump to the library's own, so that its misuse is reported at the program's line.
void free(void* block) {
  if (crt::may_be_listed(block)) block = crt::block_of_listed(block);
  suite_free(block);
}
}
