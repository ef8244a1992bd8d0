// The C string family: what compiled C code calls by name on byte strings.
//
// A string is a sequence of bytes ended by a NUL. Lengths are 64-bit. Only ASCII
// letters have case. No argument is tested: a null pointer or a string without
// its end faults at the first byte that cannot be read. Every string routine
// works byte by byte and reads nothing after a terminator. errno is left alone.
//
// There is no strchr, memcpy, memset or memchr: compilers expand those inline.
//
// State: the saved pointer of strtok, shared by all threads. Everything else
// may be called on any thread. Storage: strdup and memmove, from malloc.
#pragma once

#include "platform/abi.h"

namespace tarn {

// ---- Length and copying -------------------------------------------------

TARNAPI std::uint64_t strlen(const char* text);

// The terminating NUL of the text.
TARNAPI char* strend(const char* text);

// The texts may not overlap, and the destination has room; result: destination.
TARNAPI char* strcpy(char* destination, const char* source);
TARNAPI char* strcat(char* destination, const char* source);

// strcpy whose result is the NUL written at the end of the destination.
TARNAPI char* stpcpy(char* destination, const char* source);

// A copy in a block from malloc, or null if there is no storage for it.
TARNAPI char* strdup(const char* text);

// Writes exactly `count` bytes: the source's, then NULs. A source of `count`
// bytes or more leaves no NUL.
TARNAPI char* strncpy(char* destination, const char* source, std::uint64_t count);

// Copies by way of a temporary block, so the blocks may overlap in any way. If
// the heap gives no block the copy is made in place, from the end that is safe.
TARNAPI void* memmove(void* destination, const void* source, std::uint64_t length);

// ---- Comparing ----------------------------------------------------------

// -1, 0 or 1. Bytes compare as signed: 0x80 to 0xFF come before ASCII, unlike
// in standard C.
TARNAPI std::int32_t strcmp(const char* left, const char* right);
// The same for at most `count` bytes; a count of 0 gives 0 and reads nothing.
TARNAPI std::int32_t strncmp(const char* left, const char* right, std::uint64_t count);

// strcmp with ASCII capitals taken as small letters, under three names.
TARNAPI std::int32_t strcmpl(const char* left, const char* right);
TARNAPI std::int32_t stricmp(const char* left, const char* right);
TARNAPI std::int32_t strcmpi(const char* left, const char* right);

// 1 if the texts are equal, 0 if not: with regard to case if `with_case` is not
// 0, without if it is 0.
TARNAPI std::int32_t string_match(const char* left, const char* right, std::int32_t with_case);

// Difference of the first two bytes, taken as unsigned, that are unlike; or 0.
TARNAPI std::int32_t memcmp(const void* left, const void* right, std::uint64_t length);

// ---- Case ---------------------------------------------------------------

// In place; result: the text.
TARNAPI char* strlwr(char* text);
TARNAPI char* strupr(char* text);

// ---- Searching ----------------------------------------------------------

// Last byte equal to the low byte of `character`, or null. 0 finds the NUL.
TARNAPI char* strrchr(const char* text, std::int32_t character);
TARNAPI char* rindex(const char* text, std::int32_t character);

// Length of the leading run of bytes that are in the set, or are not in it.
TARNAPI std::uint64_t strspn(const char* text, const char* set);
TARNAPI std::uint64_t strcspn(const char* text, const char* set);

// First byte that is in the set, or null.
TARNAPI char* strpbrk(const char* text, const char* set);

// First place where the pattern stands, or null. An empty pattern is found at
// the NUL of the text, not at its start. Tries each position in turn: up to
// the product of both lengths in steps.
TARNAPI char* strstr(const char* text, const char* pattern);

// Next token of `text`, or with null of the text of the call before; null when
// none is left. The delimiter after a token is overwritten by a NUL.
TARNAPI char* strtok(char* text, const char* delimiters);

}  // namespace tarn
