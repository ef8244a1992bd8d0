/* The DLL of the script tests: one allocated block, one declared, pointers,
 * a constructor and an initialiser. It asks for no fill. */
#include "part.h"

#include <tarn/image.h>
#include <tarn/traps.h>

struct allocated {
  unsigned char bytes[24];
};
static struct { int value, other; } declared = {77, 78};

TARN_COMMON(allocated, "PART_ALLOCATED", struct allocated)
TARN_COMMON_OBJECT(declared, "PART_DECLARED")

static const char* const texts[] = {"first", "second"};
static const char* const* volatile text_pointer = texts + 1;

static int constructed, initialised;

static char* region;

__attribute__((constructor)) static void construct(void) {
  ++constructed;
  region = setup_expanding_region("EARLY", 1);
}

static void initialise(void) {
  if (constructed == 1) ++initialised;
}
TARN_INITIALISER(initialise)

/* ---- The image's own header --------------------------------------------- */

extern unsigned char __ImageBase[];
extern unsigned char tarn_first_cell[], tarn_script_word[];
int __BrackenStartup(void);

#define SECTION_HEADER_SIZE 40
#define FILE_HEADER_SIZE 24
#define SECTION_WRITE 0x80000000u

static unsigned word(const unsigned char* at) { return *(const volatile unsigned*)at; }

/* A sum over the writable sections without the interpreter's cells. */
static unsigned long long data_sum(void) {
  const unsigned char* pe = __ImageBase + word(__ImageBase + 0x3C);
  int count = *(const unsigned short*)(pe + 6);
  const unsigned char* section = pe + FILE_HEADER_SIZE + *(const unsigned short*)(pe + 20);
  unsigned long long sum = 14695981039346656037ULL;
  for (; count > 0; --count, section += SECTION_HEADER_SIZE) {
    if (!(word(section + 36) & SECTION_WRITE)) continue;
    const volatile unsigned char* at = __ImageBase + word(section + 12);
    const volatile unsigned char* end = at + word(section + 8);
    for (; at < end; ++at) {
      if (at >= tarn_first_cell && at < tarn_script_word) continue;
      sum = (sum ^ *at) * 1099511628211ULL;
    }
  }
  return sum;
}

__attribute__((dllexport)) int walk_again(int* changed) {
  unsigned long long before = data_sum();
  int result = __BrackenStartup();
  *changed = data_sum() != before;
  return result;
}

__attribute__((dllexport)) int initialiser_runs(void) { return initialised; }
__attribute__((dllexport)) int constructor_runs(void) { return constructed; }
__attribute__((dllexport)) const char* relocated_text(void) { return *text_pointer; }
__attribute__((dllexport)) const char* volatile* texts_of_part(void) {
  return (const char* volatile*)texts;
}
__attribute__((dllexport)) int declared_value(void) { return declared.value; }
__attribute__((dllexport)) char* early_region(void) { return region; }
__attribute__((dllexport)) int twice(int value) { return 2 * value; }

__attribute__((dllexport)) int filled_bytes(int* size) {
  int filled = 0;
  *size = sizeof allocated->bytes;
  for (int i = 0; i < *size; ++i) filled += allocated->bytes[i] == 0x80;
  return filled;
}
