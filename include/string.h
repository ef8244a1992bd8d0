/* Byte strings and blocks. All routines use the Microsoft x64 convention.
 *
 * A string is a row of bytes ended by a NUL. Only ASCII letters have case. No
 * argument is tested: a null pointer or a string without its end faults at the
 * first byte that cannot be read, and the fault is reported. The string
 * routines go byte by byte and read nothing behind a terminator. errno is left
 * alone. Everything but strtok may be called on any thread.
 *
 * Where this differs from standard C: comparisons give exactly -1, 0 or 1 and
 * take bytes as signed, so that 0x80 to 0xFF come before ASCII; strstr finds an
 * empty pattern at the end of the text; memmove takes storage from the heap. */
#ifndef TARN_STRING_H
#define TARN_STRING_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Length and copying ------------------------------------------------ */

/* Bytes before the NUL. */
size_t strlen(const char* text);

/* The terminating NUL of the text. */
char* strend(const char* text);

/* The texts may not overlap, and the destination has room. Result: the
 * destination; of stpcpy, the NUL written at its end. */
char* strcpy(char* destination, const char* source);
char* strcat(char* destination, const char* source);
char* stpcpy(char* destination, const char* source);

/* Writes exactly `count` bytes: the source's, then NULs. A source of `count`
 * bytes or more leaves no NUL. */
char* strncpy(char* destination, const char* source, size_t count);

/* A copy from malloc, or null if the heap is exhausted. */
char* strdup(const char* text);

/* Copies through a temporary block of the heap; the blocks may overlap. If the
 * heap is exhausted the copy is made in place, just as correctly. */
void* memmove(void* destination, const void* source, size_t length);

/* ---- Comparing --------------------------------------------------------- */

/* -1, 0 or 1: the left text comes before the right one, is equal, or behind. */
int strcmp(const char* left, const char* right);
/* At most `count` bytes; a count of 0 gives 0. */
int strncmp(const char* left, const char* right, size_t count);

/* strcmp with ASCII capitals taken as small letters, under three names. */
int strcmpl(const char* left, const char* right);
int stricmp(const char* left, const char* right);
int strcmpi(const char* left, const char* right);

/* 1 if the texts are equal, 0 if not; case matters if `with_case` is not 0. */
int string_match(const char* left, const char* right, int with_case);

/* Difference of the first two bytes, taken as unsigned, that are unlike; or 0. */
int memcmp(const void* left, const void* right, size_t length);

/* ---- Case -------------------------------------------------------------- */

/* Makes small letters, or capitals, in place. Result: the text. */
char* strlwr(char* text);
char* strupr(char* text);

/* ---- Searching --------------------------------------------------------- */

/* Last byte equal to the low byte of `character`, or null; 0 finds the NUL. */
char* strrchr(const char* text, int character);
char* rindex(const char* text, int character);

/* Length of the leading run of bytes that are in the set, or are not in it. */
size_t strspn(const char* text, const char* set);
size_t strcspn(const char* text, const char* set);

/* First byte that is in the set, or null. */
char* strpbrk(const char* text, const char* set);

/* First place of the pattern, or null. At most the product of both lengths in
 * steps. */
char* strstr(const char* text, const char* pattern);

/* Next token of `text`, or, with null, of the text of the call before; null
 * when none is left. Overwrites the delimiter behind the token. One text at a
 * time in the whole process, whatever the thread. */
char* strtok(char* text, const char* delimiters);

/* ---- Not of the library ------------------------------------------------ */

/* In line where the length is known and short; else a call of the routine that
 * each image brings of its own. */
extern __inline__ __attribute__((gnu_inline, always_inline)) void* memcpy(void* destination,
                                                                          const void* source,
                                                                          size_t length) {
  return __builtin_memcpy(destination, source, length);
}
extern __inline__ __attribute__((gnu_inline, always_inline)) void* memset(void* block, int byte,
                                                                          size_t length) {
  return __builtin_memset(block, byte, length);
}

/* In line. First byte equal to the low byte of `character`, or null; 0 finds
 * the NUL. */
static __inline__ char* strchr(const char* text, int character) {
  for (;; ++text) {
    if (*text == (char)character) return (char*)text;
    if (!*text) return 0;
  }
}

/* In line. First byte of the block equal to the low byte of `byte`, or null. */
static __inline__ void* memchr(const void* block, int byte, size_t length) {
  const unsigned char* at = (const unsigned char*)block;
  for (; length > 0; --length, ++at) {
    if (*at == (unsigned char)byte) return (void*)at;
  }
  return 0;
}

#ifdef __cplusplus
}
#endif

#endif
