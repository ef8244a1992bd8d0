#include "services/stack_statistics.h"

#include "storage/secondary_stack.h"
#include "streams/format.h"

namespace tarn {

void PRINT_SECONDARY_STACK_STATISTICS() {
  const SecondaryStack& s = secondary_stack;
  printf("\n__________________________\n");
  printf("Secondary stack statistics\n");
  printf("__________________________\n\n");
  printf("Committed (top)    = 0x%llx\n", s.top - s.pseudo_committed);
  printf("Committed (bottom) = 0x%llx\n", s.quasi_committed - s.base);
  printf("Maximum            = 0x%llx\n", s.size);
}

}  // namespace tarn
