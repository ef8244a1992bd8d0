/* Routines in front of the report: they repair, step over, or pass on; and the
 * underflow modes. */
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <tarn/traps.h>

static volatile double zero = 0, one = 1, tiny = 1e-300, sink;
static volatile float narrow;
static volatile int calls;

static int repair_divide(struct tarn_context* context, struct tarn_exception* exception, int zero) {
  (void)zero;
  ++calls;
  printf("divide trapped: code %x, on the instruction %d\n", exception->code,
         context->rip == (unsigned long long)exception->address);
  double *xmm0 = (double*)(context->fxsave + 160), *xmm1 = xmm0 + 2;
  *xmm0 = 84;
  *xmm1 = 2;
  return TARN_RESUME;
}

static int skip_breakpoint(struct tarn_context* context, struct tarn_exception* exception,
                           int zero) {
  (void)context, (void)exception, (void)zero;
  ++calls;
  return TARN_RESUME;
}

static int skip_load(struct tarn_context* context, struct tarn_exception* exception, int zero) {
  (void)zero;
  printf("access trapped: kind %llu at %llx\n", exception->parameters[0], exception->parameters[1]);
  context->rax = 77;
  context->rip += 2;
  return TARN_RESUME;
}

static int any(struct tarn_context* context, struct tarn_exception* exception, int zero) {
  (void)zero;
  printf("any trapped %x\n", exception->code);
  context->rip += 2; /* ud2, or hlt and a nop */
  return TARN_RESUME;
}

static double divide(double a, double b) {
  double result = a;
  __asm__ volatile(
      "movsd %2, %%xmm1\n\tmovsd %1, %%xmm0\n\tdivsd %%xmm1, %%xmm0\n\tmovsd %%xmm0, %0"
      : "=m"(result)
      : "m"(a), "m"(b)
      : "xmm0", "xmm1");
  return result;
}

static long long load(const void* address) {
  long long value;
  __asm__ volatile("movl (%1), %%eax\n\tmovslq %%eax, %0" : "=r"(value) : "r"(address) : "rax");
  return value;
}

static void underflow_many(int times) {
  for (int i = 0; i < times; ++i) sink = tiny * tiny;
}

/* A routine that goes on after the raise of 291 makes the call end with -1. */
static void ask_for_too_much(void) {
  static char format[3 * 25001 + 1], text[25001];
  static void* arguments[25001];
  for (int i = 0; i < 25000; ++i) strcat(format + 2 * i, "%c");
  strcat(format + 50000, "%d");
  printf("printed %d\n", vsprintf(text, format, (va_list)arguments));
  for (int i = 0; i < 25000; ++i) strcpy(format + 3 * i, "%*n");
  strcat(format + 75000, "%d");
  printf("scanned %d\n", sscanf("1", format, text));
}

int main(void) {
  const int divide_type = TARN_TRAP_DIVIDE, breakpoint_type = TARN_TRAP_BREAKPOINT,
            access_type = TARN_TRAP_ACCESS, all_type = TARN_TRAP_ALL,
            float_type = TARN_TRAP_ALL_FLOAT, underflow_type = TARN_TRAP_UNDERFLOW,
            nothing[] = {8, 15, -1, 16, 1000000};
  int mode, count;

  for (unsigned i = 0; i < sizeof nothing / sizeof nothing[0]; ++i) {
    printf("%d", TRAP_EXCEPTION(&nothing[i], any) == 0);
  }
  printf("\nfirst routine before: %d\n", TRAP_EXCEPTION(&divide_type, repair_divide) == 0);
  printf("84 / 2 is %.1f\n", divide(one, zero));
  printf("the one before: %d\n", TRAP_EXCEPTION(&divide_type, 0) == repair_divide);

  TRAP_EXCEPTION(&float_type, repair_divide);
  printf("all float: %.1f\n", divide(one, zero));
  TRAP_EXCEPTION(&float_type, 0);

  calls = 0;
  TRAP_EXCEPTION(&breakpoint_type, skip_breakpoint);
  __asm__ volatile("int3");
  __asm__ volatile("int3");
  printf("breakpoints stepped over: %d\n", calls);

  TRAP_EXCEPTION(&access_type, skip_load);
  printf("loaded %lld\n", load((const void*)0x10));
  ask_for_too_much();

  TRAP_EXCEPTION(&all_type, any);
  __asm__ volatile("ud2");
  __asm__ volatile("hlt\n\tnop");
  RESTORE_DEFAULT_HANDLER(0);
  __asm__ volatile("ud2"); /* the routine for all stays */
  TRAP_EXCEPTION(&all_type, 0);
  printf("restored: %d\n", TRAP_EXCEPTION(&access_type, 0) == 0);

  UNDERFLOW_COUNT(&count); /* shows its notice */
  printf("count in mode 0: %d\n", count);
  UNDERFLOW_COUNT(&count);
  mode = 3;
  SET_SOFTWARE_UNDERFLOWS(&mode);
  underflow_many(3);
  mode = 1;
  SET_SOFTWARE_UNDERFLOWS(&mode);
  underflow_many(5);
  UNDERFLOW_COUNT(&count);
  printf("five counted: %d, result %.1f\n", count, sink);
  narrow = (float)tiny; /* its result does not depend on the destination */
  UNDERFLOW_COUNT(&count);
  printf("a conversion too: %d, result %.1f\n", count, (double)narrow);
  printf("its own handler was there: %d\n", TRAP_EXCEPTION(&underflow_type, skip_breakpoint) != 0);
  RESTORE_DEFAULT_HANDLER(0);
  underflow_many(1);
  UNDERFLOW_COUNT(&count);
  printf("and is back: %d\n", count);
  __set_software_underflows(0);
  underflow_many(4);
  UNDERFLOW_COUNT(&count);
  printf("not counted: %d\n", count);

  mask_all_fp_errors(1);
  sink = one / zero;
  printf("masked\n");
  mask_all_fp_errors(0);
  TRAP_EXCEPTION(&divide_type, repair_divide);
  printf("unmasked again: %.1f\n", divide(one, zero));
  return 0;
}
