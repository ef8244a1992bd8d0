/* Jumps across frames.
 *
 * setjmp records the place of its call; longjmp comes back to it, as long as
 * the routine that called setjmp has not returned. Differences from C:
 * longjmp(buffer, 0) makes setjmp return 0, not 1; of the registers only rbp and
 * the stack pointer are kept, so values of variables that changed between the
 * two calls are those in memory (declare them volatile). The secondary stack is
 * set back to where it stood. A buffer that is not one of setjmp's ends the
 * program with the run-time error "Invalid long jump". A place belongs to the
 * thread that recorded it. */
#ifndef TARN_SETJMP_H
#define TARN_SETJMP_H

#include <stdint.h>

#include "tarn/api.h"

TARN_API_BEGIN

typedef uint64_t jmp_buf[5];

/* Records this place. 0; or, when longjmp comes back to it, its `value`. */
TARNAPI int setjmp(jmp_buf buffer) TARN_SYMBOL("tarn_setjmp") __attribute__((returns_twice));
/* Goes back to the place in the buffer, where setjmp then returns `value`. */
TARN_NO_RETURN TARNAPI void longjmp(jmp_buf buffer, int value) TARN_SYMBOL("tarn_longjmp");

TARN_API_END

#endif
