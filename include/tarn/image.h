/* What a program or DLL requests of its start-up script.
 *
 * An image is linked by the ordinary linker and then finished by finish_image,
 * which writes the image's start-up script. The macros of this header leave
 * notes for finish_image in the object file: about common blocks, routines
 * that are bound by name, initialisers and switches. Use them at file
 * scope, in C or C++. They generate no code, and finish_image removes the
 * notes from the finished image.
 *
 * Common blocks. A common block is storage that has a name, is shared by all
 * sources of an image that name it, and is listed by __display_common_info.
 *
 *   struct settings { double tolerance; int limit; };
 *   TARN_COMMON(settings, "SETTINGS", struct settings)
 *
 *   int main(void) { settings->limit = 10; ... }
 *
 * `settings` is a pointer local to this source file; once the program runs it
 * points to the block. Any number of source files may do the same: blocks of the
 * same name within one image are one block, which has the largest of the sizes
 * given. The program and each DLL have blocks of their own. Names are
 * case-sensitive.
 *
 * All of this happens before the first initialiser. The blocks are in the
 * script in the order in which the linker met their names: by source, in link
 * order, and within a source in the order of the notes.
 */
#ifndef TARN_IMAGE_H
#define TARN_IMAGE_H

#include <stdint.h>

#include "api.h"

/* One note. The kind is the script's opcode and a mark in the upper half. */
struct tarn_image_note {
  uint64_t kind;
  const void* target;
  const char* name;
  const char* routine;
  uint64_t size;
};

/* Keeps the notes of a source in the order in which they are written. */
#ifdef __clang__
#define TARN_NOTE_ORDER
#else
#define TARN_NOTE_ORDER no_reorder,
#endif

#define TARN_NOTE_MARK 0x4E52415400000000ULL /* "TARN" */
#define TARN_NOTE_JOIN_(a, b) a##b
#define TARN_NOTE_JOIN(a, b) TARN_NOTE_JOIN_(a, b)
#define TARN_NOTE(opcode, target, name, routine, size)                           \
  static struct tarn_image_note TARN_NOTE_JOIN(tarn_note_, __COUNTER__)          \
      __attribute__((TARN_NOTE_ORDER section(".tarnimg"), used, aligned(8))) = { \
          TARN_NOTE_MARK | (opcode), target, name, routine, size};

/* An allocated block: the start-up allocates it. Its bytes are not defined, or
 * all 0x80 if the image asks for that. `pointer` is defined as a static pointer
 * to `type`. */
#define TARN_COMMON(pointer, block_name, type) \
  TARN_COMMON_SIZED(pointer, block_name, type, sizeof(type))

/* The same, of `bytes` bytes. A block for which every note says 0 bytes is not
 * created: it is not listed, and its pointers are null. */
#define TARN_COMMON_SIZED(pointer, block_name, type, bytes) \
  static type* pointer __attribute__((used));               \
  TARN_NOTE(7, &pointer, block_name, 0, bytes)

/* A further pointer, `offset` bytes into a block that another note of this image
 * describes. The offset must be within the block. */
#define TARN_COMMON_MEMBER(pointer, block_name, type, offset)   \
  static type* pointer __attribute__((used)) = (type*)(offset); \
  TARN_NOTE(9, &pointer, block_name, 0, 0)

/* A block with initial values: `object`, a variable of static storage, is
 * registered under the name. A block may have only one such note. TARN_COMMON in
 * other sources then means this object, and must not ask for more bytes than it
 * has. It is never filled with 0x80. */
#define TARN_COMMON_OBJECT(object, block_name) TARN_NOTE(8, &object, block_name, 0, sizeof(object))

/* A routine of a library that is found by name at start-up: `pointer` is
 * defined as a static pointer to a routine of the given type.
 *
 *   typedef int counter(const char* text);
 *   TARN_BIND(count, counter, "COUNTING.DLL", "count_words")
 *
 * If the library or the routine cannot be found, the start-up continues, and a
 * call ends the process with the run-time error "Attempt to call a function in
 * an rlo library failed". */
#define TARN_BIND(pointer, type, library, routine_name) \
  static type* pointer __attribute__((used));           \
  TARN_NOTE(16, &pointer, library, routine_name, 0)

/* Calls `void routine(void)` once, before main. In a program the library is
 * initialised by then; in a DLL it may not be. Initialisers run in the order of
 * their notes, after C++ constructors and __attribute__((constructor)). */
#define TARN_INITIALISER(routine) TARN_NOTE(10, (const void*)(routine), 0, 0, 0)

/* `block` is the image's block of line counters, for __use_profile_data: the
 * number n of lines and n counters, 64 bits each, then the source's path. Only one
 * per process is kept. <tarn/profile.h> defines such a block. */
#define TARN_PROFILE(block) TARN_NOTE(15, &(block), 0, 0, 0)

/* Switches of the whole image: fill allocated blocks with 0x80; refuse to
 * start on a processor without AVX; put "NOTE" over the first four bytes of
 * the image in memory, so that no search for "MZ" finds it. */
#define TARN_UNDEFINED_FILL TARN_NOTE(13, 0, 0, 0, 0)
#define TARN_REQUIRE_AVX TARN_NOTE(14, 0, 0, 0, 0)
#define TARN_NOTE_IMAGE TARN_NOTE(17, 0, 0, 0, 0)

#endif
