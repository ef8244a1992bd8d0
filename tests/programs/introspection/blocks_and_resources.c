/* A program with resources, and common blocks of its own and of its DLL. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarn/files.h>
#include <tarn/image.h>
#include <tarn/introspection.h>

static struct { int values[10]; } settings;
static char alpha = 'a';
TARN_COMMON_OBJECT(settings, "SETTINGS")
TARN_COMMON_OBJECT(alpha, "alpha")
TARN_NOTE_IMAGE /* its header can be written */

    extern unsigned char __ImageBase[];

void display_from_dll(void);

/* The header's entry for the resource section: its place and its length. */
static unsigned* resource_entry(void) {
  return (unsigned*)(__ImageBase + *(unsigned*)(__ImageBase + 0x3C) + 0x98);
}

static void compare_dump(void) {
  char name[60];
  sprintf(name, "bracken_resource_block_%x", resource_entry()[0]);
  const char* dump = __read_file(name);
  printf("the file is the section: %d\n",
         dump && memcmp(dump, __ImageBase + resource_entry()[0], resource_entry()[1]) == 0);
}

int main(void) {
  int count = 0;
  for (struct tarn_block_record* each = __get_common_info(); each; each = each->next) ++count;
  printf("%d blocks\n", count);
  __display_common_info();
  __dump_resource_section();
  compare_dump();
  __display_resource_data();
  printf("\nFrom a DLL:");
  display_from_dll();
  void* window = (void*)0x1234ABCD;
  DESCRIBE_WINDOW(&window, "no such window", 7);

  printf("\nWith a header that says too much:\n");
  resource_entry()[1] = 0x7FFFFFFF;
  __dump_resource_section();
  resource_entry()[0] = 0x7FFFF000;
  __dump_resource_section();
  __display_resource_data();
  return 0;
}
