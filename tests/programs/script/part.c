/* The DLL of the script tests: one allocated block, one declared, pointers,
 * a constructor and an initialiser. It asks for no fill. */
#include "part.h"

#include <tarn/image.h>
#include <tarn/traps.h>

struct allocated {
  unsigned char bytes[24];
};
static struct { int value, other; } declared = {77, 78};

TARN_COMMON(allocated, "PART_ALLOCATED", struct allocated)
TARN_COMMON_OBJECT(declared, "PART_DECLARED")

static const char* const texts[] = {"first", "second"};

TARN_REQUIRE_AVX /* the loader enters the DLL before a program has brought the library up */

    static int constructed,
    initialised;

static char* region;

__attribute__((constructor)) static void construct(void) {
  ++constructed;
  region = setup_expanding_region("EARLY", 1);
}

static void initialise(void) {
  if (constructed == 1) ++initialised;
}
TARN_INITIALISER(initialise)

int __BrackenStartup(void);
__attribute__((dllexport)) int walk_again(void) { return __BrackenStartup(); }
__attribute__((dllexport)) int initialiser_runs(void) { return initialised; }
__attribute__((dllexport)) int constructor_runs(void) { return constructed; }
__attribute__((dllexport)) const char* volatile* texts_of_part(void) {
  return (const char* volatile*)texts;
}
__attribute__((dllexport)) int declared_value(void) { return declared.value; }
__attribute__((dllexport)) char* early_region(void) { return region; }
__attribute__((dllexport)) int twice(int value) { return 2 * value; }

__attribute__((dllexport)) int filled_bytes(int* size) {
  int filled = 0;
  *size = sizeof allocated->bytes;
  for (int i = 0; i < *size; ++i) filled += allocated->bytes[i] == 0x80;
  return filled;
}
