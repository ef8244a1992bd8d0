/* A DLL's script walked once more, as a new thread does: nothing changes. So
 * does the library's own. */
#include <stdio.h>
#include <tarn/image.h>
#include <tarn/runtime.h>

#include "part.h"

typedef int entry(void);
TARN_BIND(library_entry, entry, "TARNLIBC64.DLL", "__BrackenStartup")

int main(void) {
  printf("constructor %d, initialiser %d, text \"%s\"\n", constructor_runs(), initialiser_runs(),
         relocated_text());
  for (int i = 0; i < 2; ++i) {
    int changed = 1;
    int result = walk_again(&changed);
    printf("walk: %s, data %s\n", result ? "success" : "failure",
           changed ? "changed" : "as before");
  }
  printf("constructor %d, initialiser %d, text \"%s\"\n", constructor_runs(), initialiser_runs(),
         relocated_text());
  printf("the library's walk: %s\n", library_entry() ? "success" : "failure");
  printf("errno cell %s\n", __runtime_slots[0] ? "connected" : "null");
  return 0;
}
