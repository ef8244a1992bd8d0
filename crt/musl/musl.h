/* Included before each source of musl: what that library's own headers would say of
 * names that are hidden in it. */
#pragma once
#include <stdlib.h>
#include <string.h>
#include <wchar.h>
#include <wctype.h>
#undef iswalnum
#undef iswalpha
#undef iswblank
#undef iswcntrl
#undef iswdigit
#undef iswgraph
#undef iswlower
#undef iswprint
#undef iswpunct
#undef iswspace
#undef iswupper
#undef iswxdigit
#define weak
#define hidden
#define weak_alias(old, new) extern __typeof(old) new __attribute__((__alias__(#old)))
// The cross compiler's headers lack these. A configure script that found them would have
// a program call them undeclared, and cut the pointers.
#define memrchr tarn_memrchr
#define qsort_r tarn_qsort_r
#define strchrnul tarn_strchrnul

char* __strchrnul(const char*, int);
void* __memrchr(const void*, int, size_t);
char* __stpcpy(char*, const char*);
char* __stpncpy(char*, const char*, size_t);

typedef void* locale_t;
void __qsort_r(void*, size_t, size_t, int (*)(const void*, const void*, void*), void*);

// libmingwex has hypot, on a _hypot of the C run-time.
#define hypot _hypot
