/* One failure of each kind, by name, three calls deep. */
#include <setjmp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarn/errors.h>
#include <tarn/runtime.h>
#include <tarn/traps.h>

#define DEEP __attribute__((noinline))

static volatile double zero = 0, one = 1, huge = 1e308, tiny = 1e-300;
static volatile int integer_zero = 0;
static volatile double sink;

static void set_mxcsr_masks(unsigned int clear) {
  unsigned int mxcsr;
  __asm__ volatile("stmxcsr %0" : "=m"(mxcsr));
  mxcsr &= ~(clear | 0x8040u);
  __asm__ volatile("ldmxcsr %0" : : "m"(mxcsr));
}

static DEEP void read_null(void) { sink = *(volatile char*)0; }
static DEEP void write_null(void) {
  volatile int* volatile wild = (int*)16;
  *wild = 1;
}
static DEEP void call_null(void) {
  void (*volatile nowhere)(void) = 0;
  nowhere();
}
static DEEP void jump_wild(void) {
  void (*volatile nowhere)(void) = (void (*)(void))0x00007123456789A0;
  nowhere();
}
static DEEP void breakpoint(void) { __asm__ volatile("int3"); }
static DEEP void single_step(void) {
  __asm__ volatile(
      "sub $128, %%rsp\n\tpushfq\n\torl $0x100, (%%rsp)\n\tpopfq\n\tnop\n\tadd $128, %%rsp" ::
          : "memory", "cc");
}
static DEEP void denormal(void) {
  set_mxcsr_masks(0x100);
  volatile union {
    unsigned long long bits;
    double value;
  } small = {1};
  sink = small.value + one;
}
static DEEP void float_divide(void) { sink = one / zero; }
static DEEP void precision(void) {
  set_mxcsr_masks(0x1000);
  sink = one / 3;
}
static DEEP void invalid(void) { sink = zero / zero; }
static DEEP void square_root(void) {
  double minus = -one;
  __asm__ volatile("sqrtsd %1, %0" : "=x"(sink) : "x"(minus));
}
static DEEP void overflow(void) { sink = huge * 10; }
static DEEP void x87_stack(void) {
  unsigned short control = 0x037E;
  __asm__ volatile("fninit\n\tfldcw %0\n\tfstp %%st(0)\n\tfwait" : : "m"(control));
}
static DEEP void underflow(void) {
  const short permitted = 0;
  PERMIT_UNDERFLOW(&permitted);
  sink = tiny * tiny;
}
static DEEP void integer_divide(void) { sink = 7 / integer_zero; }
static DEEP void divide_overflow(void) {
  volatile long long lowest[] = {0, (long long)1 << 63, -1};
  __asm__ volatile("cqo\n\tidivq -8(%1,%2,8)" : : "a"(lowest[1]), "r"(lowest), "r"(3LL) : "rdx");
}
static DEEP void privileged(void) { __asm__ volatile("hlt"); }
static DEEP void illegal(void) { __asm__ volatile("ud2"); }
static DEEP int deeper(int depth) {
  volatile char frame[2000];
  frame[0] = (char)depth;
  return depth < 0 ? frame[0] : deeper(depth + 1) + frame[0];
}
static DEEP void stack_overflow(void) { sink = deeper(0); }
static DEEP void raised(void) { __RuntimeError(TARN_ERROR_ALLOCATE_STORAGE); }
static DEEP void missing(void) { __MissingRoutine("SOLVE_QUICKLY"); }
static DEEP void closed_stream(void) { fputs("x", 0); }
static DEEP void library_fault(void) { sink = (double)strlen((const char*)8); }
/* What the compiler puts in the slots of pure virtual functions. */
extern void __cxa_pure_virtual(void) __attribute__((weak));
static void (*volatile pure_slot)(void) = __cxa_pure_virtual;
static DEEP void pure_virtual(void) { pure_slot(); }
static DEEP void bad_jump(void) {
  static jmp_buf never_set;
  longjmp(never_set, 1);
}
/* There is no storage until the report wants some. */
int VirtualProtect(void* address, unsigned long long size, unsigned rights, unsigned* before);
static unsigned char* allocator;
static unsigned char allocator_code[3] = {0x31, 0xC0, 0xC3}; /* xor eax, eax; ret */
static int exchange_code(struct tarn_context* context, struct tarn_exception* exception, int zero) {
  (void)context, (void)exception, (void)zero;
  for (int i = 0; i < 3; ++i) {
    unsigned char before = allocator[i];
    ((volatile unsigned char*)allocator)[i] = allocator_code[i];
    allocator_code[i] = before;
  }
  return TARN_REPORT;
}
static DEEP void no_label(void) {
  const int access = TARN_TRAP_ACCESS;
  const unsigned all_rights = 0x40;
  unsigned before;
  void* label;
  allocator = ProcessDynt("malloc", "TARNLIBC64.DLL");
  VirtualProtect(allocator, sizeof allocator_code, all_rights, &before);
  TRAP_EXCEPTION(&access, exchange_code);
  exchange_code(0, 0, 0);
  LABEL(&label);
}
static DEEP int trap_again(struct tarn_context* context, struct tarn_exception* exception,
                           int zero) {
  (void)context, (void)exception, (void)zero;
  return *(volatile char*)0;
}
static DEEP void trap_faults(void) {
  const int access = TARN_TRAP_ACCESS, all = TARN_TRAP_ALL;
  TRAP_EXCEPTION(&access, trap_again);
  TRAP_EXCEPTION(&all, trap_again);
  sink = *(volatile char*)0;
}
/* With rbp pushed, so that the way back goes through what is overwritten. */
static DEEP __attribute__((optimize("no-omit-frame-pointer"))) void smashed(void) {
  volatile char text[16];
  volatile char* volatile to = text;
  for (int i = 0; i < 32; ++i) to[i] = 'A';
}
static DEEP void double_free(void) {
  char* block = malloc(40);
  free(block);
  free(block);
}
static DEEP void inside_free(void) { free((char*)malloc(400) + 16); }
static DEEP void realloc_static(void) {
  static int fixed[4];
  sink = realloc(fixed, 200) != 0;
}
/* What the report needs of the heap is hurt too. */
static DEEP void hurt_heap(void) {
  char* blocks[20];
  for (int i = 0; i < 20; ++i) blocks[i] = malloc(20 + 200 * i);
  for (int i = 0; i < 20; ++i) free(blocks[i]);
  for (int i = 0; i < 20; ++i) memset(blocks[i] - 16, 'A', 36 + 200 * i);
  text_error(
      "the heap is \033[31mhurt \xC2\x9B"
      "31m");
}
static DEEP void text(void) { text_error("the %s has %d legs", "spider", 8); }
static DEEP void region_over(void) {
  char* region = setup_expanding_region("WORK SPACE", 1 << 20);
  region[1 << 20] = 1;
}
static DEEP void region_under(void) {
  char* region = setup_expanding_region("WORK SPACE", 1 << 20);
  region[-1] = 1;
}

#define FAILURE(name) \
  { #name, name }
static const struct failure {
  const char* name;
  void (*routine)(void);
} failures[] = {FAILURE(read_null),      FAILURE(write_null),
                FAILURE(call_null),      FAILURE(jump_wild),
                FAILURE(breakpoint),     FAILURE(single_step),
                FAILURE(denormal),       FAILURE(float_divide),
                FAILURE(precision),      FAILURE(invalid),
                FAILURE(square_root),    FAILURE(overflow),
                FAILURE(x87_stack),      FAILURE(underflow),
                FAILURE(integer_divide), FAILURE(divide_overflow),
                FAILURE(privileged),     FAILURE(illegal),
                FAILURE(stack_overflow), FAILURE(raised),
                FAILURE(missing),        FAILURE(closed_stream),
                FAILURE(library_fault),  FAILURE(double_free),
                FAILURE(inside_free),    FAILURE(realloc_static),
                FAILURE(hurt_heap),      FAILURE(text),
                FAILURE(pure_virtual),   FAILURE(bad_jump),
                FAILURE(no_label),       FAILURE(trap_faults),
                FAILURE(smashed),        FAILURE(region_over),
                FAILURE(region_under)};

static DEEP int run(const char* name) {
  for (unsigned i = 0; i < sizeof failures / sizeof failures[0]; ++i) {
    if (strcmp(failures[i].name, name) == 0) {
      failures[i].routine(), sink = 0; /* the instruction after the call is of this line */
      return 0;
    }
  }
  return 2;
}

int main(int argc, char** argv) {
  printf("before\n");
  int status = argc > 1 ? run(argv[1]) : 2;
  printf("after\n");
  return status;
}
