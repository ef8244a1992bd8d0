/* A program looks at itself: its common blocks, the resources of its image, a
 * window. All use the Microsoft x64 convention; one thread at a time. Names that
 * C cannot spell are given by their link names. */
#ifndef TARN_INTROSPECTION_H
#define TARN_INTROSPECTION_H

#include <stdint.h>

#include "api.h"

TARN_API_BEGIN

/* A common block that an image registered at its start. The list belongs to
 * the library. */
struct tarn_block_record {
  struct tarn_block_record* next;
  const char* name;
  void* address;
  uint64_t size;      /* bytes */
  const char* module; /* file name of the image, without its folder */
};

/* The newest of the blocks, from which `next` leads to the others; null if
 * there are none. The second entry also executes a breakpoint with the result
 * in rax: for programs that run under a debugger. */
TARNAPI struct tarn_block_record* __get_common_info(void);
TARNAPI struct tarn_block_record* __dbgget_common_info(void);

/* Prints the blocks, sorted by name without regard to case: name, address and
 * size in hexadecimal, image. Only the heading if there are none, or no storage
 * to sort them. */
TARNAPI void __display_common_info(void);

/* Writes the resource section of the program's image to the file
 * "bracken_resource_block_N" in the current folder, N being the section's place
 * in the image in hexadecimal, and prints where the section is. Without resources
 * it prints that, and makes no file. Raises 296 if the file cannot be made. */
TARNAPI void __dump_resource_section(void);

/* Prints the tree of the section: directories, entries, and for each resource
 * its place in the section and its length. A damaged tree is printed as far as
 * it lies in the section, to 16 directories within each other. */
TARNAPI void __display_resource_data(void);

/* Shows a message box "Information" that says "Window HANDLE Enabled (text)", or
 * Disabled; of the text, which has `length` bytes, the first 127. Without a desktop
 * no window is enabled, and the message goes to standard error. */
TARNAPI void DESCRIBE_WINDOW(void* const* window, const char* text, int64_t length)
    TARN_LINK_NAME("DESCRIBE_WINDOW@");

TARN_API_END

#endif
