/* Run-time errors: raising one of the catalogue's numbers, or a text of one's
 * own. All entries use the Microsoft x64 convention. Names that C cannot
 * spell are given by their link names.
 *
 * A raised number ends the program: the report begins with its text, and the
 * process ends after the report (docs/reading-a-report.md also has the exit
 * status). No raising entry returns, nothing is cleaned up, streams are not closed
 * (they are unbuffered, so nothing is lost). All of them may be called on any
 * thread.
 *
 * They execute the instruction `int 9` with the number in rax and
 * the NUL-terminated texts for %1 to %6 of the message in r8 to r13. */
#ifndef TARN_ERRORS_H
#define TARN_ERRORS_H

#include <stdint.h>

#include "api.h"

TARN_API_BEGIN

/* The numbers that the library itself raises, of the 449 (0 to 448) in
 * docs/errors.md; any other number is shown as 0, "Undefined error". */
enum tarn_error {
  /* Call to missing routine - %1 */
  TARN_ERROR_MISSING_ROUTINE = 29,
  /* Run out of heap space */
  TARN_ERROR_HEAP_EXHAUSTED = 199,
  /* Invalid long jump %F */
  TARN_ERROR_LONG_JUMP = 282,
  /* Not enough arguments to satisfy format %F */
  TARN_ERROR_FORMAT_ARGUMENTS = 291,
  /* Invalid FILE structure */
  TARN_ERROR_FILE_STRUCTURE = 296,
  /* Invalid double passed to printf */
  TARN_ERROR_PRINTED_DOUBLE = 297,
  /* Invalid long double passed to printf */
  TARN_ERROR_PRINTED_LONG_DOUBLE = 298,
  /* Unable to find length information to delete whole array with destructors */
  TARN_ERROR_ARRAY_LENGTH_UNKNOWN = 311,
  /* Attempt to call a pure virtual function implicitly */
  TARN_ERROR_PURE_VIRTUAL = 312,
  /* Invalid stream pointer (FILE*=NULL) */
  TARN_ERROR_STREAM_POINTER = 343,
  /* %1 */
  TARN_ERROR_CALLERS_TEXT = 345,
  /* Invalid argument to numeric intrinsic function */
  TARN_ERROR_NUMERIC_ARGUMENT = 357,
  /* Unable to dynamically allocate common block */
  TARN_ERROR_COMMON_BLOCK = 365,
  /* Insufficient virtual memory available to create expanding region %1 */
  TARN_ERROR_REGION_VIRTUAL_MEMORY = 366,
  /* Insufficient physical memory available to create expanding region %1 */
  TARN_ERROR_REGION_PHYSICAL_MEMORY = 367,
  /* MERLE optimised code needs AVX CPU capability */
  TARN_ERROR_NEEDS_AVX = 368,
  /* Attempt to free part of a storage block */
  TARN_ERROR_PART_FREED = 375,
  /* Attempt to delete unallocated storage */
  TARN_ERROR_UNALLOCATED_DELETED = 376,
  /* Attempt to free unallocated storage */
  TARN_ERROR_UNALLOCATED_FREED = 377,
  /* ALLOCATE was unable to obtain sufficient storage */
  TARN_ERROR_ALLOCATE_STORAGE = 408,
  /* ALLOCATABLE object has already been ALLOCATEd */
  TARN_ERROR_ALREADY_ALLOCATED = 432,
  /* Insufficient virtual stack (MERLE /VSTACK <MB-value>) */
  TARN_ERROR_VIRTUAL_STACK = 444,
};

/* ---- Raising ------------------------------------------------------------ */

/* Raises `number`. */
TARN_NO_RETURN TARNAPI void __RuntimeError(int number) TARN_SYMBOL("__RuntimeError");

/* Fortran's form: the number by reference. */
TARN_NO_RETURN TARNAPI void FAIL(const int* number) TARN_SYMBOL("FAIL_at") TARN_LINK_NAME("FAIL@");

/* Like __RuntimeError. Neither sets a text for the message's placeholders: the
 * values in r8 to r13 are used, and text that cannot be read is shown as "???". */
TARN_NO_RETURN TARNAPI void ReportErrorNumber(int number) TARN_SYMBOL("ReportErrorNumber_at")
    TARN_LINK_NAME("ReportErrorNumber@");

/* Raises 345 with `text` as its message; '%' has no special meaning. At most 1,023
 * bytes are shown. `length` is the hidden length of Fortran's form and is ignored:
 * `text` ends at its NUL. */
TARN_NO_RETURN TARNAPI void ReportErrorString(const char* text, int64_t length)
    TARN_SYMBOL("ReportErrorString_at") TARN_LINK_NAME("ReportErrorString@");

/* The same with a text formatted as by printf, cut at 527 bytes. */
TARN_NO_RETURN TARNAPI void text_error(const char* format, ...);

/* Raises 29 for the routine called `name`. */
TARN_NO_RETURN TARNAPI void __MissingRoutine(const char* name) TARN_SYMBOL("__MissingRoutine");

/* ---- Related -------------------------------------------------------- */

/* Returns `result`; the other arguments are ignored. */
TARNAPI int check_exception(int first, int result, int third);

/* The system's text for its error code, at most 255 bytes, in the system's own
 * wording; "Unknown error" if there is none, or only a longer one. The text is in a
 * static buffer: valid until the next call, by any thread. */
TARNAPI char* nt_error_message(unsigned int code);

TARN_API_END

#endif
