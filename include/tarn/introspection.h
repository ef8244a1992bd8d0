/* What a program can find out about itself: its common blocks, the resources of its
 * image, a window. All use the Microsoft x64 convention; one thread at a time.
 * Names that C cannot spell are given by their link names. */
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

/* Returns the newest block, whose `next` leads to the others; null if
 * there are none. The second entry also executes a breakpoint with the result
 * in rax, for programs that run under a debugger. */
TARNAPI struct tarn_block_record* __get_common_info(void);
TARNAPI struct tarn_block_record* __dbgget_common_info(void);

/* Prints the blocks, sorted by name without regard to case: name, address and
 * size in hexadecimal, image. Prints only the heading if there are no blocks, or no
 * storage to sort them. */
TARNAPI void __display_common_info(void);

/* Writes the resource section of the program's image to the file
 * "bracken_resource_block_N" in the current folder, where N is the section's image
 * offset in hexadecimal, and prints where the section is. If there are no resources
 * it says so and creates no file. Raises 296 if the file cannot be created. */
TARNAPI void __dump_resource_section(void);

/* Prints the tree of the section: directories, entries, and for each resource
 * its offset in the section and its length. A damaged tree is printed as far as
 * it lies within the section, down to 16 levels of directories. */
TARNAPI void __display_resource_data(void);

/* Shows a message box "Information" that says "Window HANDLE Enabled (text)" or
 * "Window HANDLE Disabled (text)", with at most the first 127 of the text's
 * `length` bytes. Without a desktop no window counts as enabled, and the message
 * goes to standard error. */
TARNAPI void DESCRIBE_WINDOW(void* const* window, const char* text, int64_t length)
    TARN_LINK_NAME("DESCRIBE_WINDOW@");

TARN_API_END

#endif
