/* A DLL that asks for AVX too. The loader enters it before any program has
 * brought the library up. */
#include <tarn/image.h>

TARN_REQUIRE_AVX

__attribute__((dllexport)) int part_is_up(void) { return 1; }
