/* Byte strings and blocks. All routines use the Microsoft x64 convention.
 *
 * A string is a sequence of bytes ended by a NUL. Only ASCII letters have case.
 * Arguments are not checked: a null pointer or a string without its NUL faults at
 * the first byte that cannot be read, and the fault is reported. The string
 * routines work byte by byte and read nothing after the NUL. None changes errno.
 * All but strtok may be called on any thread.
 *
 * Where this differs from standard C: comparisons of strings return exactly -1,
 * 0 or 1 and take bytes as signed, so that 0x80 to 0xFF come before ASCII;
 * strstr finds an empty pattern at the end of the string, not at its start;
 * memmove allocates from the heap. */
#ifndef TARN_STRING_H
#define TARN_STRING_H

#include <stddef.h>

#include "tarn/api.h"

TARN_API_BEGIN

/* ---- Length and copying ------------------------------------------------ */

/* Bytes before the NUL. */
TARNAPI size_t strlen(const char* text);

/* The address of the terminating NUL. */
TARNAPI char* strend(const char* text);

/* The strings must not overlap, and the destination must have room. Result: the
 * destination; for stpcpy, the address of the NUL written at its end. */
TARNAPI char* strcpy(char* destination, const char* source);
TARNAPI char* strcat(char* destination, const char* source);
TARNAPI char* stpcpy(char* destination, const char* source);

/* Writes exactly `count` bytes: the source's, then NULs. If the source has `count`
 * bytes or more there is no NUL. */
TARNAPI char* strncpy(char* destination, const char* source, size_t count);

/* A copy from malloc, or null if the heap is exhausted. */
TARNAPI char* strdup(const char* text);

/* The blocks may overlap in any way. Copies through a temporary block from
 * malloc; without storage for it, in place, with the same result. */
TARNAPI void* memmove(void* destination, const void* source, size_t length);

/* ---- Comparing --------------------------------------------------------- */

/* -1, 0 or 1: the left string comes before the right one, is equal to it, or
 * comes after it. */
TARNAPI int strcmp(const char* left, const char* right);
/* The same for at most `count` bytes; for a count of 0 it returns 0 and reads
 * nothing. */
TARNAPI int strncmp(const char* left, const char* right, size_t count);

/* strcmp that treats ASCII upper case as lower case, under three names. */
TARNAPI int strcmpl(const char* left, const char* right);
TARNAPI int stricmp(const char* left, const char* right);
TARNAPI int strcmpi(const char* left, const char* right);

/* 1 if the strings are equal, 0 if not; case matters unless `with_case` is 0. */
TARNAPI int string_match(const char* left, const char* right, int with_case);

/* The difference of the first two bytes that differ, taken as unsigned; or 0. */
TARNAPI int memcmp(const void* left, const void* right, size_t length);

/* ---- Case -------------------------------------------------------------- */

/* Convert to lower or upper case, in place. Result: the string. */
TARNAPI char* strlwr(char* text);
TARNAPI char* strupr(char* text);

/* ---- Searching --------------------------------------------------------- */

/* The last byte equal to the low byte of `character`, or null; 0 finds the NUL. */
TARNAPI char* strrchr(const char* text, int character);
TARNAPI char* rindex(const char* text, int character);

/* Length of the leading run of bytes that are in the set, or are not in it. */
TARNAPI size_t strspn(const char* text, const char* set);
TARNAPI size_t strcspn(const char* text, const char* set);

/* The first byte that is in the set, or null. */
TARNAPI char* strpbrk(const char* text, const char* set);

/* The first place where the pattern occurs, or null; an empty pattern is found
 * at the NUL. Tries each position in turn: up to the product of both lengths in
 * steps. */
TARNAPI char* strstr(const char* text, const char* pattern);

/* The next token of `text`, or, for null, of the previous call's string; null
 * when none is left. The delimiter after the token is overwritten with a NUL.
 * One string at a time in the whole process, whatever the thread. */
TARNAPI char* strtok(char* text, const char* delimiters);

/* ---- Not exported ------------------------------------------------------ */

#ifndef TARN_LIBRARY
/* Expanded inline if the length is known and short; otherwise a call of the
 * routine that each image contains. */
extern __inline__ __attribute__((gnu_inline, always_inline)) void* memcpy(void* destination,
                                                                          const void* source,
                                                                          size_t length) {
  return __builtin_memcpy(destination, source, length);
}
extern __inline__ __attribute__((gnu_inline, always_inline)) void* memset(void* block, int byte,
                                                                          size_t length) {
  return __builtin_memset(block, byte, length);
}

/* Expanded inline. The first byte equal to the low byte of `character`, or null;
 * 0 finds the NUL. */
static __inline__ char* strchr(const char* text, int character) {
  for (;; ++text) {
    if (*text == (char)character) return (char*)text;
    if (!*text) return 0;
  }
}

/* Expanded inline. The first byte of the block equal to the low byte of `byte`,
 * or null. */
static __inline__ void* memchr(const void* block, int byte, size_t length) {
  const unsigned char* at = (const unsigned char*)block;
  for (; length > 0; --length, ++at) {
    if (*at == (unsigned char)byte) return (void*)at;
  }
  return 0;
}
#endif

TARN_API_END

#endif
