/* A break routine: the first break is taken, the second is left to the system.
 * With an argument the routine fails. */
#include <stdio.h>
#include <tarn/traps.h>

static volatile int breaks, fails;

static int on_break(void) {
  if (fails) return *(volatile char*)0;
  ++breaks;
  return breaks == 1;
}

int main(int argc, char** argv) {
  (void)argv;
  fails = argc > 1;
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
