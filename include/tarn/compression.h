/* Compression: blocks and files to and from a small dictionary format with a
 * window of 3,968 bytes. The same data produce the same stream on every machine.
 * All routines use the Microsoft x64 convention and may be called on any
 * thread.
 *
 * Returned blocks come from malloc and belong to the caller. *length is set when
 * a block is returned, and unchanged when null is. */
#ifndef TARN_COMPRESSION_H
#define TARN_COMPRESSION_H

#include "api.h"

TARN_API_BEGIN

#define TARN_COMPRESSION_WINDOW 3968

/* ---- Writing --------------------------------------------------------------
 * These return the compressed data, or null without storage or for a negative
 * size. The result is never longer than 1.2 times the data plus 1,200 bytes. */

/* Compresses the file at `path`. Null if it cannot be opened or read to its end,
 * or has 2 GiB or more. */
TARNAPI void* __tarn_compress(const char* path, int* length);
/* Compresses a block from malloc, of `size` bytes. The block is freed, whatever
 * the result. */
TARNAPI void* __tarn_compress1(void* block, int size, int* length);
/* Compresses the `size` bytes after the first 3,968 of `block`. The first 3,968
 * are overwritten. */
TARNAPI void* __tarn_compress2(void* block, int size, int* length);

/* ---- Reading --------------------------------------------------------------
 * Returns the data of a compressed block of `size` bytes; if there are no data, an
 * empty block. Null if the first byte is not 1, or if the data would have 2 GiB or
 * more, or more bytes than there is storage for. The stream has no checksum: any
 * other damage yields wrong data, and a truncated stream yields the data of its
 * complete elements. Raises "Run out of heap space" (199) without storage for the
 * first 50,000,000 bytes. */
TARNAPI void* __tarn_decompress(const void* block, int size, int* length);

/* ---- The pieces ----------------------------------------------------------- */

/* Writes the low `count` bits (at most 24) of `value` at bit `*bit` (0 to 7) of
 * **output and moves both on. The rest of that byte and the three bytes after it
 * are overwritten. */
TARNAPI void send_info(unsigned int value, unsigned char** output, int* bit, int count);
/* Reads `count` bits (at most 24) from bit `*bit` of **input and moves both on. */
TARNAPI unsigned int get_bits(const unsigned char** input, int* bit, int count);
/* Searches for the longest match of the bytes at `position` that begins at
 * `start` + 1 to `position` - 2: of equally long ones the oldest, but the first of
 * more than 20 bytes ends the search. Returns its distance from `start` and stores
 * its length; -1 if no two bytes match. As many bytes as from `start` to `position`
 * must be readable from `position` on. */
TARNAPI int seek_char(const unsigned char* position, const unsigned char* start, int* length);

TARN_API_END

#endif
