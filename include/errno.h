/* errno: one cell for the process, not one per thread. System errors are not
 * mapped to C's numbers; the library stores
 *
 *   ERANGE    a value out of range, or a bad argument of a conversion
 *   EDOM      no such real number
 *   307       a write failed (fwrite and what is built on it)
 *   others    the system's own code, from fflush
 *
 * and clears it only in pow. In a program errno is an object; a DLL, where the
 * name does not work, must use the routines. Any thread. */
#ifndef TARN_ERRNO_H
#define TARN_ERRNO_H

#include "tarn/api.h"

TARN_API_BEGIN

#ifndef TARN_LIBRARY
extern void* __runtime_slots[12]; /* this image's pointers to the cells */
#endif

/* Read and set the cell, in a program or a DLL. */
TARNAPI int get_errno(void);
TARNAPI void set_errno(int value);

TARN_API_END

#ifndef TARN_LIBRARY
#define errno (*(int*)__runtime_slots[0])

#define ERANGE (-1001)
#define EDOM (-1002)
#endif

#endif
