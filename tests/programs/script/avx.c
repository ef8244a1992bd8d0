/* Asks for AVX, and uses a DLL that does. */
#include <stdio.h>
#include <tarn/image.h>

TARN_REQUIRE_AVX

int part_is_up(void);

int main(void) {
  printf("main is reached, the DLL is up: %d\n", part_is_up());
  return 0;
}
