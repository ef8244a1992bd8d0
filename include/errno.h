/* errno: one cell for the process, not one a thread. Nothing maps system
 * errors to C's numbers; the library stores
 *
 *   ERANGE    a value out of range, or a bad argument of a conversion
 *   EDOM      no such real number
 *   307       a write failed (fwrite and what is built on it)
 *   others    the system's own code, from fflush
 *
 * and clears it only in pow. In a program it is an object; a DLL, whose cells
 * are not connected, uses the routines. Any thread. */
#ifndef TARN_ERRNO_H
#define TARN_ERRNO_H

#include "tarn/api.h"

TARN_API_BEGIN

#ifndef TARN_LIBRARY
extern void* __runtime_slots[12]; /* this image's pointers to the cells */
#endif

/* The cell, read and set: for a program and a DLL alike. */
TARNAPI int get_errno(void);
TARNAPI void set_errno(int value);

TARN_API_END

#ifndef TARN_LIBRARY
#define errno (*(int*)__runtime_slots[0])

#define ERANGE (-1001)
#define EDOM (-1002)
#endif

#endif
