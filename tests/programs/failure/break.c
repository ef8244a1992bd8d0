/* A break routine: the first break is taken, the second is left to the system. */
#include <stdio.h>
#include <tarn/traps.h>

static volatile int breaks;

static int on_break(void) {
  ++breaks;
  return breaks == 1;
}

int main(void) {
  const int ctrl_c = 0, other = 1;
  printf("another type: %d\n", SET_TRAP(on_break, &other) == 0);
  printf("none before: %d\n", SET_TRAP(on_break, &ctrl_c) == 0);
  printf("ready\n");
  while (breaks == 0) {
  }
  printf("taken\n");
  for (;;) {
  }
}
