/* The heap, numbers as text, sort and search, the environment, the end of the
 * process. All routines use the Microsoft x64 convention. */
#ifndef TARN_STDLIB_H
#define TARN_STDLIB_H

#include <stddef.h>
#include <stdint.h>

#include "tarn/api.h"

TARN_API_BEGIN

/* ---- The heap ------------------------------------------------------------
 * Null when there is no storage; nothing is reported. Blocks are aligned to 16
 * bytes, and a size of 0 also returns a block. Blocks of all these routines and of
 * <tarn/storage.h> are interchangeable. Freeing a pointer that is not, or no longer,
 * a block raises 377, or 375 for the inside of a block: on Linux always, on Windows
 * if its heap notices. realloc to size 0 returns such a pointer instead. Any
 * thread. */
TARNAPI void* malloc(size_t size);
TARNAPI void free(void* block); /* null: nothing happens */
/* A zeroed block. A product beyond 64 bits is not detected: the block then has the
 * size of its low 64 bits. */
TARNAPI void* calloc(size_t count, size_t size);
/* A new block with as much of the old contents as fits; the block always moves, even
 * to a smaller size. Without storage it returns null and keeps the old block. A null
 * block: like malloc. A size of 0: frees the block and returns null. */
TARNAPI void* realloc(void* block, size_t size);

/* ---- Numbers to text -----------------------------------------------------
 * These write digits and a NUL to the caller's buffer: 33 bytes hold any 32-bit
 * value, 65 any 64-bit one. Result: the buffer. Radix 2 to 36; digits above 9 are
 * letters from A on. Any thread. */

/* Any other radix counts as 10. */
TARNAPI char* utoa(unsigned int value, char* buffer, int radix);
TARNAPI char* u64toa(uint64_t value, char* buffer, int radix);
/* A negative value is written as "-" and its magnitude in radix 10, whatever the
 * radix. For any other radix nothing is written, errno becomes -1001, and the result
 * is null. */
TARNAPI char* itoa(int value, char* buffer, int radix);
TARNAPI char* i64toa(int64_t value, char* buffer, int radix);

/* ---- Text to numbers -----------------------------------------------------
 * White space, a sign, digits. errno becomes -1001 for a value out of range
 * and for a radix outside 2 to 36 (with radix 0 a prefix "0x" or "0" chooses); it is
 * not cleared. `end`, if not null, is set to the place after the number, or to
 * the start of the string if there is none or the conversion failed. */

/* Out of range: the largest or least value. A value that wraps in strtoul also wraps
 * here, and "-2147483648" is converted correctly but sets errno. */
TARNAPI TARN_LONG strtol(const char* text, char** end, int radix);
TARNAPI int64_t strtol64(const char* text, char** end, int radix);
/* Out of range: all bits set. A value that leaves the range only with its last
 * digit wraps instead: 4294967296 returns 0. A minus sign negates. */
TARNAPI unsigned TARN_LONG strtoul(const char* text, char** end, int radix);
TARNAPI uint64_t strtoul64(const char* text, char** end, int radix);
/* A number with an exponent that is out of range returns 1e308 or -1e308; without
 * an exponent the range is not checked. "-0" returns +0.0. The result is close to
 * the written value, but not always the nearest double. */
TARNAPI double strtod(const char* text, char** end);

TARNAPI int atoi(const char* text);
TARNAPI TARN_LONG atol(const char* text);
TARNAPI double atof(const char* text);

/* ---- Sort and search -------------------------------------------------------
 * A comparator returns a number below, equal to or above 0. Which elements are
 * compared, and in which order, is the same in every version. */

/* A quicksort, not stable. The number of comparisons grows with count * log(count)
 * for keys that differ, and with count squared for keys that are equal: 100,000
 * equal elements take 5,000,000,000 comparisons. While it runs it uses 8 bytes per
 * element of the secondary stack, so only one thread at a time may call it; it
 * raises 444 if there is no room. It ends with any comparator that returns the same
 * result for the same elements, even if the order is inconsistent. */
TARNAPI void qsort(void* base, size_t count, size_t size,
                   int(TARNAPI* comparator)(const void*, const void*));
/* Returns an element that compares equal, or null; the key is the first argument of
 * each comparison. At most 2,147,483,647 elements. Any thread. */
TARNAPI void* bsearch(const void* key, const void* base, size_t count, size_t size,
                      int(TARNAPI* comparator)(const void*, const void*));

/* ---- The process --------------------------------------------------------- */

/* The variable's value, or null if it is absent or empty. Valid until the next
 * call, by any thread. */
TARNAPI char* getenv(const char* name);

/* Runs the command with the command processor ("cmd /c" on Windows, /bin/sh on
 * Linux) and waits. Returns its exit code (on Linux 0 to 255, but all 32 bits if the
 * whole command is a program image), or -1 if the command has more than 1,015 bytes
 * or nothing could be started. A null or empty command runs the command processor
 * without a command. */
TARNAPI int system(const char* command);

/* Ends the process with `status`, at once. There are no exit routines; streams have
 * no buffers to lose. A Linux shell sees the low 8 bits, or 1 if those are 0 and
 * `status` is not. */
TARN_NO_RETURN TARNAPI void exit(int status);

#ifndef TARN_LIBRARY
#define EXIT_SUCCESS 0
#define EXIT_FAILURE 1
#endif

TARN_API_END

#endif
