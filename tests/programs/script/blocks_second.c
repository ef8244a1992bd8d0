#include "blocks.h"

#include <tarn/image.h>

TARN_COMMON_SIZED(other_view, "FIRST", struct first, 100)
TARN_COMMON(second, "SECOND", long long)

void fill_second(void) {
  *second = 3;
  other_view->count = (int)*second;
}
