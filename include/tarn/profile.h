/* Execution profile: how often each line of a source ran.
 *
 * A profiled source has a block of counters, one per line, which the code
 * increments; at the end the program asks for the report:
 *
 *   TARN_PROFILE_SOURCE("primes.cpp", 200)   a source of at most 200 lines
 *
 *   int main(void) {
 *     TARN_COUNT work();
 *     TARN_COUNT __use_profile_data();
 *   }
 *
 * The report is two files beside the source: primes.PROFILE, a summary with one
 * row per line, and the compiler's listing primes.LIS, rewritten with a count
 * after each numbered line. A compiler that counts by itself lays out the same
 * block, and passes it on with TARN_PROFILE of <tarn/image.h>.
 *
 * Only one source per program: the last block that the start-up script names is
 * reported. Not for several threads at once. */
#ifndef TARN_PROFILE_H
#define TARN_PROFILE_H

#include <stdint.h>

#include "api.h"
#include "image.h"

TARN_API_BEGIN

/* The block of this source, at file scope: n, n counters, the path, which ends in
 * a dot and three letters. finish_image marks the lines that have no TARN_COUNT
 * with -1, those that have one with 0. */
#define TARN_PROFILE_SOURCE(source_path, lines)                                               \
  static struct {                                                                             \
    int64_t n;                                                                                \
    int64_t counters[lines];                                                                  \
    char path[sizeof(source_path)];                                                           \
  } tarn_profile = {lines, {0}, source_path};                                                 \
  TARN_PROFILE_REFUSED_UNLESS(                                                                \
      sizeof(source_path) >= sizeof ".abc" &&                                                 \
          __builtin_strcspn((source_path) + sizeof(source_path) - sizeof ".abc", ".") == 0 && \
          __builtin_strcspn((source_path) + sizeof(source_path) - sizeof "abc", "./\\") == 3, \
      "the path of a profiled source ends in a dot and three letters")                        \
  TARN_NOTE(15, &tarn_profile, 0, 0, lines)

#ifdef __cplusplus
#define TARN_PROFILE_REFUSED_UNLESS(condition, text) static_assert(condition, text);
#else
#define TARN_PROFILE_REFUSED_UNLESS(condition, text) __extension__ _Static_assert(condition, text);
#endif

/* A statement: counts its own line, which must be one of the first `lines`. */
#define TARN_COUNT                                                     \
  do {                                                                 \
    TARN_NOTE(18, &tarn_profile.counters[__LINE__ - 1], 0, 0, 0)       \
    tarn_profile.counters[__LINE__ - 1] += TARN_COUNTED_LINE_IS_THERE; \
  } while (0);
#define TARN_COUNTED_LINE_IS_THERE \
  (int)sizeof(                     \
      char[__LINE__ <= sizeof tarn_profile.counters / sizeof tarn_profile.counters[0] ? 1 : -1])

/* Writes both files and prints a line for each. Call it once, at the end of the
 * program. In the listing a numbered line begins with a space and has a first
 * word of at least four characters, with digits in places 1 and 4 and no ';' in
 * place 3. Its count is in column 82 or further right: "12,345 Times", or
 * "Never executed"; a line without code, or beyond the block's lines, gets a
 * space and no count. The last line says which line ran most often, the first if
 * there are several.
 *
 * The source's path ends in a dot and three letters; in the block itself it is
 * changed to the listing's. Does nothing without a block, or with a path of fewer
 * than four characters. If the summary cannot be opened, its line says so; a
 * listing that cannot be read or rewritten is skipped silently. */
TARNAPI void __use_profile_data(void);

/* Writes only the summary: rows for those of the `n` counters that are not
 * negative. */
TARNAPI void generate_profile_summary(const int64_t* counters, int n, const char* file_name);

/* The value with commas, 1234567 as "1,234,567", at least three characters
 * wide. Valid until the next call, by any thread. */
TARNAPI char* num_layout(int64_t value);

/* The address of the text's first character that is not white space. */
TARNAPI char* skip_blanks(const char* text);

TARN_API_END

#endif
