/* Alignment checks that a program turns on are dropped at the first fault. */
#include <stdio.h>

static char bytes[64];

int main(void) {
  volatile int* misaligned = (volatile int*)(bytes + 1);
  __asm__ volatile(
      "pushfq\n\torl $0x40000, (%%rsp)\n\tpopfq\n\t"
      "movl $258, (%0)\n\t"
      "pushfq\n\tandl $0xFFFBFFFF, (%%rsp)\n\tpopfq"
      :
      : "r"(misaligned)
      : "memory", "cc");
  printf("stored %d\n", *misaligned);
  return 0;
}
