/* What happens on a fault: routines that run before the report, underflow, the
 * console break, labels, and regions that grow on fault. Names that C cannot
 * spell are given by their link names; Fortran's forms take their arguments by
 * reference.
 *
 * The routines that programs install belong to the process and are not locked. */
#ifndef TARN_TRAPS_H
#define TARN_TRAPS_H

#include <stdint.h>

#include "api.h"

TARN_API_BEGIN

/* ---- Routines before the report -------------------------------------- */

/* The system's records. A routine that repairs a fault changes the context; the
 * changes take effect, including those to the XMM registers. */
#ifdef TARN_LIBRARY
namespace platform {
struct AMD_CONTEXT;
struct ExceptionRecord;
}  // namespace platform
using tarn_context = platform::AMD_CONTEXT;
using tarn_exception = platform::ExceptionRecord;
#else
typedef struct tarn_context {
  uint64_t home[6];
  unsigned int flags, mxcsr; /* mxcsr is at fxsave + 24 too: change both */
  unsigned short cs, ds, es, fs, gs, ss;
  unsigned int eflags;
  uint64_t dr[6];
  uint64_t rax, rcx, rdx, rbx, rsp, rbp, rsi, rdi, r8, r9, r10, r11, r12, r13, r14, r15;
  uint64_t rip;
  unsigned char fxsave[512]; /* XMM0 at 160, 16 bytes each */
  unsigned char rest[464];
} tarn_context;

typedef struct tarn_exception {
  unsigned int code, flags;
  struct tarn_exception* next;
  void* address;
  unsigned int parameter_count, padding;
  uint64_t parameters[15]; /* access violation: kind, address */
} tarn_exception;
#endif

/* What the routine returns: continue at rip (a breakpoint instruction there is
 * skipped, any other runs again unless the routine moved rip); pass the exception
 * to the next handler; pass it on as not an error; continue with the report. */
enum { TARN_RESUME = -1, TARN_PASS_ON = 0, TARN_NOT_AN_ERROR = 0x10002, TARN_REPORT = 1 };

/* A routine runs on the thread that failed, with that thread's floating-point
 * control, on an empty x87 stack; it may be left by longjmp and JUMP@, even after a
 * stack overflow. If it causes its own exception again, it is not called a second
 * time: that exception is reported. */
typedef int TARNAPI tarn_trap_routine(tarn_context* context, tarn_exception* exception, int zero);

enum tarn_trap_type {
  TARN_TRAP_ACCESS = 0,
  TARN_TRAP_INVALID = 1,
  TARN_TRAP_DENORMAL = 2,
  TARN_TRAP_DIVIDE = 3,
  TARN_TRAP_OVERFLOW = 4,
  TARN_TRAP_UNDERFLOW = 5,
  TARN_TRAP_PRECISION = 6,
  TARN_TRAP_X87_STACK = 7,
  TARN_TRAP_BREAKPOINT = 9,
  TARN_TRAP_SINGLE_STEP = 10,
  TARN_TRAP_PRIVILEGED = 11,
  TARN_TRAP_ALL = 12,       /* every exception without a routine of its own */
  TARN_TRAP_ALL_FLOAT = 13, /* every such floating-point exception; asked first */
  TARN_TRAP_INTEGER_DIVIDE = 14
};

/* Installs a routine (null: none) for a type; returns the previous one. For a type
 * that is not listed it changes nothing and returns null. */
TARNAPI tarn_trap_routine* TRAP_EXCEPTION(const int* type, tarn_trap_routine* routine)
    TARN_LINK_NAME("TRAP_EXCEPTION@");

/* Removes all routines except those of the types 12 and 13, and restores the
 * library's own underflow handling. The argument is not read. */
TARNAPI void RESTORE_DEFAULT_HANDLER(const void* unused) TARN_LINK_NAME("RESTORE_DEFAULT_HANDLER@");

/* ---- Floating point --------------------------------------------------------- */

/* Mode 0, as at the start: underflows become zero and are not counted. 1: each is
 * counted and becomes zero. 2: each is counted and ends in the report. Applies to
 * the calling thread; another mode changes nothing. Mode 1 costs two system calls
 * per underflow. */
TARNAPI void __set_software_underflows(int mode);
TARNAPI void SET_SOFTWARE_UNDERFLOWS(const int* mode) TARN_LINK_NAME("SET_SOFTWARE_UNDERFLOWS$");

/* True: mode 0; false: mode 2. */
TARNAPI void PERMIT_UNDERFLOW(const short* permitted) TARN_LINK_NAME("PERMIT_UNDERFLOW$");

/* Stores the number of underflows counted. In mode 0 a notice is shown, once. */
TARNAPI void UNDERFLOW_COUNT(int* count) TARN_LINK_NAME("UNDERFLOW_COUNT$");

/* The first does nothing; the second always returns 0. */
TARNAPI void CLEAR_FLT_UNDERFLOW(void) TARN_LINK_NAME("CLEAR_FLT_UNDERFLOW$");
TARNAPI int64_t EXCEPTION_ADDRESS(void) TARN_LINK_NAME("EXCEPTION_ADDRESS$");

/* If `on` is not 0, underflow, overflow, invalid operation and division by zero no
 * longer trap on the calling thread, and subnormal operands and results count as
 * zero. 0 restores the control register that the process's first call found. */
TARNAPI void mask_all_fp_errors(int on);

/* ---- Console break ------------------------------------------------------------ */

/* For type 0, `routine` is called on Ctrl+C and Ctrl+Break, on a thread that the
 * system starts; it returns non-zero if it handled the break, otherwise the program
 * ends. Returns the previous routine. For another type it does nothing and returns
 * null. */
typedef int TARNAPI tarn_break_routine(void);
TARNAPI tarn_break_routine* SET_TRAP(tarn_break_routine* routine, const int* type)
    TARN_LINK_NAME("SET_TRAP@");

/* ---- Labels -------------------------------------------------------------------- */

/* Records the place after the call in `cell`. Uses 256 bytes of the heap, which are
 * never freed; without storage it raises 199. The result is not 1; after a jump to
 * the label it is 1. All registers that a routine preserves for its caller are
 * restored. */
TARNAPI int64_t LABEL(void** cell) TARN_SYMBOL("tarn_LABEL") TARN_LINK_NAME("LABEL@")
    __attribute__((returns_twice));

/* Jumps to the place; this may be repeated until its routine has returned. */
TARN_NO_RETURN TARNAPI void JUMP(void** cell) TARN_SYMBOL("tarn_JUMP") TARN_LINK_NAME("JUMP@");

/* ---- Regions that grow on fault --------------------------------------------------- */

/* Reserves `size` bytes of address space, in whole pages, with a guard page at
 * each end. Memory is committed when it is first accessed, ten pages at a time.
 * `name` (null: "No name") is not copied; reports show it. A size that is negative
 * or cannot be reserved raises "Insufficient virtual memory available to create
 * expanding region" (366); if memory runs out on an access, the same with "physical"
 * (367) is raised. Only one thread at a time may create and remove regions; any
 * number may access them. */
TARNAPI void* setup_expanding_region(const char* name, int64_t size);

/* Mode 0x4000 releases the memory, 0x8000 the address space too; in both cases the
 * region no longer grows. Returns non-zero on success; 0, and changes nothing, if no
 * region begins at `region` or the mode is another. */
TARNAPI int remove_virtual_region(void* region, int mode);

TARN_API_END

#endif
