/* A common block that no system can allocate. */
#include <tarn/image.h>

TARN_COMMON_SIZED(huge, "HUGE", char, 1ull << 62)

int main(void) { return huge != 0; }
