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

static unsigned float_control(void) {
  unsigned mxcsr;
  __asm__ volatile("stmxcsr %0" : "=m"(mxcsr));
  return mxcsr & ~0x3Fu; /* without what has happened */
}

static int by_longjmp(struct tarn_context* context, struct tarn_exception* exception, int zero) {
  (void)zero;
  printf("%x, control as the program has it: %d\n", exception->code,
         float_control() == (context->mxcsr & ~0x3Fu));
  longjmp(place, 1);
}

static int by_jump(struct tarn_context* context, struct tarn_exception* exception, int zero) {
  (void)context, (void)exception, (void)zero;
  JUMP(&label);
}

static int deeper(int depth) {
  volatile char frame[2000];
  frame[0] = (char)depth;
  return depth < 0 ? frame[0] : deeper(depth + 1) + frame[0];
}

/* Out of a trap routine, again and again: traps stay on, the routine is called
 * each time, and the stack overflows each time. */
static void leave_traps(void) {
  const int access = TARN_TRAP_ACCESS, all = TARN_TRAP_ALL;
  const unsigned control = float_control();
  volatile int times = 0;
  TRAP_EXCEPTION(&access, by_longjmp);
  TRAP_EXCEPTION(&all, by_longjmp);
  setjmp(place);
  ++times;
  if (times < 3) *(volatile int*)0 = 1;
  if (times < 5) deeper(0);
  printf("%d times, control kept: %d\n", times, float_control() == control);
  TRAP_EXCEPTION(&access, by_jump);
  if (LABEL(&label) != 1) *(volatile int*)0 = 1;
  printf("control kept: %d\n", float_control() == control);
  TRAP_EXCEPTION(&access, 0);
  TRAP_EXCEPTION(&all, 0);
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

  leave_traps();
  place[1] ^= 1;
  longjmp(place, 1);
}
