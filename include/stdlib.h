/* The heap, numbers in text, sort and search, the environment, the end. All
 * routines use the Microsoft x64 convention. */
#ifndef TARN_STDLIB_H
#define TARN_STDLIB_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- The heap ------------------------------------------------------------
 * Null when there is no storage; nothing is reported. Blocks are aligned to 16
 * bytes, a size of 0 gives a block too. Blocks of the whole family, with those
 * of <tarn/storage.h>, are interchangeable. Giving back what is no block, or no
 * longer one, raises 377, or 375 for the inside of a block: on Linux always, on
 * Windows where its heap notices. realloc to size 0 returns such a pointer
 * instead. Any thread. */
void* malloc(size_t size);
void free(void* block); /* null: nothing happens */
/* Zeroed. A product beyond 64 bits is not detected. */
void* calloc(size_t count, size_t size);
/* Always moves the block, also to a smaller one. Null, and the old block stays,
 * if there is no storage. A null block: malloc. A size of 0: free, and null. */
void* realloc(void* block, size_t size);

/* ---- Numbers to text -----------------------------------------------------
 * Digits and a NUL into the caller's buffer: 33 bytes hold any 32-bit value,
 * 65 any 64-bit one. Result: the buffer. Radix 2 to 36, digits above 9 from A
 * on. Any thread. */

/* Another radix counts as 10. */
char* utoa(unsigned int value, char* buffer, int radix);
char* u64toa(unsigned long long value, char* buffer, int radix);
/* A negative value is "-" and its magnitude in radix 10, whatever the radix.
 * Another radix: null, errno -1001, nothing written. */
char* itoa(int value, char* buffer, int radix);
char* i64toa(long long value, char* buffer, int radix);

/* ---- Text to numbers -----------------------------------------------------
 * White space, a sign, digits. errno becomes -1001 for a value out of range
 * and for a radix outside 2 to 36 (radix 0 goes by "0x" and "0"); it is not
 * cleared. `end`, if not null, is given the place behind the number, or the
 * text's start if there is none or it failed. */

/* Out of range: the largest or least value; but what wraps in strtoul is the
 * wrapped value here too. */
long strtol(const char* text, char** end, int radix);
long long strtol64(const char* text, char** end, int radix);
/* Out of range: all bits set. A value that only its last digit takes out of the
 * range wraps instead: 4294967296 gives 0. A sign negates. */
unsigned long strtoul(const char* text, char** end, int radix);
unsigned long long strtoul64(const char* text, char** end, int radix);
/* Out of range, of a number with an exponent: 1e308 or -1e308. The result is
 * close to the text's value, but not always the nearest double. */
double strtod(const char* text, char** end);

int atoi(const char* text);
long atol(const char* text);
double atof(const char* text);

/* ---- Sort and search -------------------------------------------------------
 * A comparator gives a number below, at or above 0. */

/* Not stable. The number of comparisons grows with count * log(count) for keys
 * that differ, and with count squared for keys that are equal: 100,000 equal
 * elements take 5,000,000,000 comparisons. The same array makes the same comparisons in every
 * version. Takes 8 bytes an element of the secondary stack while it runs: one thread at a time, and
 * the run-time error 444 where there is no room. */
void qsort(void* base, size_t count, size_t size, int (*comparator)(const void*, const void*));
/* An element that compares equal, or null; the key comes first in each
 * comparison. At most 2,147,483,647 elements. Any thread. */
void* bsearch(const void* key, const void* base, size_t count, size_t size,
              int (*comparator)(const void*, const void*));

/* ---- The process --------------------------------------------------------- */

/* The variable's value, or null if it is absent or empty. Valid until the next
 * call, by any thread. */
char* getenv(const char* name);

/* Runs the command by the command processor ("cmd /c" on Windows, /bin/sh on
 * Linux) and waits. Its exit code (on Linux 0 to 255, but all 32 bits of a
 * program image that is the whole command), or -1 if the command has more than
 * 1,015 bytes or nothing could be started. A null or empty command runs the
 * command processor alone. */
int system(const char* command);

/* Ends the process with `status`, at once. There are no exit routines; streams
 * hold nothing back. A Linux shell sees the low 8 bits, but 1 where they would
 * make a 0 of another status. */
__attribute__((noreturn)) void exit(int status);

#define EXIT_SUCCESS 0
#define EXIT_FAILURE 1

#ifdef __cplusplus
}
#endif

#endif
