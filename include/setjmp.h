/* Jumps across frames.
 *
 * setjmp records the place of its call; longjmp returns to it, as long as
 * the routine that called setjmp has not returned. Differences from C:
 * longjmp(buffer, 0) makes setjmp return 0, not 1; only rbp and the stack pointer
 * are restored, so variables that changed between the two calls must be declared
 * volatile. The secondary stack is restored to its position at setjmp. A buffer
 * that setjmp did not fill ends the program with the run-time error "Invalid long
 * jump". A place belongs to the thread that recorded it. */
#ifndef TARN_SETJMP_H
#define TARN_SETJMP_H

#include <stdint.h>

#include "tarn/api.h"

TARN_API_BEGIN

typedef uint64_t jmp_buf[5];

/* Records this place. Returns 0, or, when longjmp returns here, its `value`. */
TARNAPI int setjmp(jmp_buf buffer) TARN_SYMBOL("tarn_setjmp") __attribute__((returns_twice));
/* Returns to the place in the buffer, where setjmp then returns `value`. */
TARN_NO_RETURN TARNAPI void longjmp(jmp_buf buffer, int value) TARN_SYMBOL("tarn_longjmp");

TARN_API_END

#endif
