/* Common blocks of a program and of its DLL: the list, the pointers, the fill. */
#include "blocks.h"

#include <stdio.h>
#include <string.h>
#include <tarn/image.h>

#include "part.h"

TARN_COMMON(first, "FIRST", struct first)
TARN_COMMON_MEMBER(middle, "FIRST", unsigned char, 50)
TARN_COMMON_SIZED(empty, "EMPTY", struct first, 0)

struct nothing {};
static struct nothing no_bytes;
TARN_COMMON_OBJECT(no_bytes, "NO_BYTES")

static struct { int values[3]; } table = {{5, 6, 7}};
TARN_COMMON_OBJECT(table, "TABLE")
TARN_COMMON(shared_table, "TABLE", int)

/* A record as the library lists it; a new one is linked in at the head, so its
 * `next` is the head before it. */
struct block_record {
  struct block_record* next;
  const char* name;
  void* address;
  unsigned long long size;
  const char* module;
};
void append_common_spec(struct block_record* record);

int main(void) {
  static struct block_record mine = {0, "MINE", &mine, sizeof mine, 0};
  append_common_spec(&mine);
  printf("%s in %s\n", mine.name, mine.module);
  for (struct block_record* each = mine.next; each; each = each->next) {
    printf("%s, %llu bytes, in %s\n", each->name, each->size, each->module);
    if (strcmp(each->name, "FIRST") == 0) {
      printf("  is where its pointers lead: %d\n",
             each->address == (void*)first && middle == (unsigned char*)first + 50);
    }
    if (strcmp(each->name, "TABLE") == 0) {
      printf("  is the object itself: %d\n", each->address == (void*)&table);
    }
  }
  printf("a pointer to a block of no size: %s\n", empty ? "not null" : "null");

  int filled = 0;
  for (unsigned i = 0; i < sizeof *first; ++i) filled += ((unsigned char*)first)[i] == 0x80;
  printf("filled with 0x80: %d of %d bytes\n", filled, (int)sizeof *first);
  printf("an object is not: %d %d %d\n", table.values[0], shared_table[1], table.values[2]);
  fill_second();
  printf("two sources share a block: %d\n", first->count);

  int size;
  filled = filled_bytes(&size);
  printf("the DLL did not ask for the fill: %d\n", filled < size);
  printf("its object: %d\n", declared_value());
  return 0;
}
