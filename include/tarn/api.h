/* How the declarations of these headers read in a program and in the library
 * itself, which is compiled against the same headers. */
#ifndef TARN_API_H
#define TARN_API_H

#ifdef TARN_LIBRARY
#include <stdint.h>

/* C++, in a namespace beside the host's own C library. The host's convention is
 * another one, and its long has 64 bits. src/exports/export_rows.inc has the
 * names under which the routines are exported. */
#define TARN_API_BEGIN namespace tarn {
#define TARN_API_END }
#define TARNAPI __attribute__((ms_abi))
#define TARN_NO_RETURN [[noreturn]] /* clang counts the other form as part of the type */
#define TARN_LINK_NAME(name)
/* The name of a routine that assembly or compiled Fortran defines or calls. */
#define TARN_SYMBOL(name) __asm__(name)
#define TARN_FORMAT(kind, text, first)
#define TARN_LONG int
#define TARN_VA_LIST const uint64_t* /* a slot an argument */

#else
#ifdef __cplusplus
#define TARN_API_BEGIN extern "C" {
#define TARN_API_END }
#else
#define TARN_API_BEGIN
#define TARN_API_END
#endif
#define TARNAPI /* the compiler's own convention */
#define TARN_NO_RETURN __attribute__((__noreturn__))
#define TARN_SYMBOL(name)
/* The name that a routine is exported under, where C cannot spell it. */
#define TARN_LINK_NAME(name) __asm__(name)
/* The compiler checks the arguments from number `first` on against the format, the
 * argument of number `text`. */
#define TARN_FORMAT(kind, text, first) __attribute__((__format__(kind, text, first)))
#define TARN_LONG long /* 32 bits */
#define TARN_VA_LIST va_list
#endif

#endif
