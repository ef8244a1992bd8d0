/* Jumps across frames: what is kept, what is put back, what is refused. */
#include <setjmp.h>
#include <stdio.h>
#include <tarn/storage.h>
#include <tarn/traps.h>

static jmp_buf place;
static void* label;

/* Called through pointers, so that the compiler does not look through them. */
static void dive(int depth, int value);
static void leap(int depth);
static void (*volatile dive_on)(int, int) = dive;
static void (*volatile leap_on)(int) = leap;

static void dive(int depth, int value) {
  __alloc_pseudo_stack(1000);
  if (depth > 0) dive_on(depth - 1, value);
  longjmp(place, value);
}

static void leap(int depth) {
  if (depth > 0) leap_on(depth - 1);
  JUMP(&label);
}

int main(void) {
  volatile int rounds = 0;
  void* mark = __return_pseudo_stack_ptr();
  int value = setjmp(place);
  printf("setjmp gives %d, temporaries are gone: %d\n", value, mark == __return_pseudo_stack_ptr());
  if (++rounds == 1) dive(5, 42);
  if (rounds == 2) dive(0, -1);
  if (rounds == 3) dive(3, 0); /* 0 stays 0 */
  printf("%d rounds\n", rounds);

  volatile int jumps = 0;
  long long first = LABEL(&label);
  printf("label gives %s\n", first == 1 ? "1" : "its record");
  if (++jumps < 4) leap(jumps * 3);
  printf("%d jumps\n", jumps);

  place[1] ^= 1;
  longjmp(place, 1);
}
