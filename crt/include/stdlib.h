// stdlib.h of the cross compiler, and what it lacks of ISO C.
#include_next <stdlib.h>

#ifndef TARN_HOSTED_STDLIB_H
#define TARN_HOSTED_STDLIB_H
#ifdef __cplusplus
// libstdc++ has the names in std, by these macros.
#define _GLIBCXX_HAVE_ALIGNED_ALLOC 1
#define _GLIBCXX_HAVE_AT_QUICK_EXIT 1
#define _GLIBCXX_HAVE_QUICK_EXIT 1
extern "C" {
#endif

// A block whose address is a multiple of `alignment`, a power of two; for free and realloc, which
// keeps the alignment of malloc alone. Null, with errno: EINVAL, or ENOMEM.
void* aligned_alloc(size_t alignment, size_t size) __attribute__((__malloc__, __alloc_size__(2)));

// Ends the process with `status`, after the routines that at_quick_exit has registered, the
// last one first: without atexit's, and what streams hold is lost.
void quick_exit(int status) __attribute__((__noreturn__));
// Result: 0, or -1 after 64 of them.
int at_quick_exit(void (*routine)(void));

#ifdef __cplusplus
}
#endif
#endif
