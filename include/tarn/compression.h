/* Compression: blocks and files to and from a small dictionary format with a
 * window of 3,968 bytes. The same data make the same stream on every machine.
 * All routines use the Microsoft x64 convention and may be called on any
 * thread.
 *
 * Blocks that are handed out come from malloc and belong to the caller. The
 * length cell is written together with a block, and left alone with null. */
#ifndef TARN_COMPRESSION_H
#define TARN_COMPRESSION_H

#include "api.h"

TARN_API_BEGIN

#define TARN_COMPRESSION_WINDOW 3968

/* ---- Writing --------------------------------------------------------------
 * The compressed data. Null without storage and for a negative size. The
 * result is never longer than 1.2 times the data and 1,200 bytes. */

/* The file at `path`. Null if it cannot be opened or read to its end, or has
 * 2 GiB or more. */
TARNAPI void* __tarn_compress(const char* path, int* length);
/* A block of malloc, of `size` bytes. It is freed, whatever the result. */
TARNAPI void* __tarn_compress1(void* block, int size, int* length);
/* The `size` bytes after the first 3,968 of `block`. Those are overwritten. */
TARNAPI void* __tarn_compress2(void* block, int size, int* length);

/* ---- Reading --------------------------------------------------------------
 * The data of a compressed block of `size` bytes; a block, even if there are
 * none. Null if the first byte is not 1 and if the data would have 2 GiB or
 * more, or more bytes than there is storage for. The stream has no checksum:
 * any other bytes yield some data, and a stream that was cut yields what its whole
 * elements hold. Without storage for the first 50,000,000 bytes: the run-time
 * error "Run out of heap space" (199). */
TARNAPI void* __tarn_decompress(const void* block, int size, int* length);

/* ---- The pieces ----------------------------------------------------------- */

/* Writes the low `count` bits (at most 24) of `value` at bit `*bit` (0 to 7) of
 * **output and moves both on. The rest of that byte and the three bytes after it
 * are overwritten. */
TARNAPI void send_info(unsigned int value, unsigned char** output, int* bit, int count);
/* Reads `count` bits (at most 24) from bit `*bit` of **input and moves both on. */
TARNAPI unsigned int get_bits(const unsigned char** input, int* bit, int count);
/* The longest match of what stands at `position` with what stands at `start` + 1
 * to `position` - 2, of equal ones the oldest, the first of more than 20 bytes
 * at once. Result: its distance from `start`, and its length in the cell; -1 if
 * no two bytes match. As many bytes as from `start` to `position` must be
 * readable from `position` on. */
TARNAPI int seek_char(const unsigned char* position, const unsigned char* start, int* length);

TARN_API_END

#endif
