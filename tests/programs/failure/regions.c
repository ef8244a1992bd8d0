/* Regions that grow on fault: sparse use of a huge one, bounds, removal. */
#include <stdio.h>
#include <tarn/traps.h>

#define PAGE 4096LL
#define TIB (1LL << 40)

static volatile int faults;
static int count_faults(struct tarn_context* context, struct tarn_exception* exception, int zero) {
  (void)context, (void)exception, (void)zero;
  ++faults;
  return TARN_REPORT; /* goes on to the growth */
}

static int touch(char* at) {
  int before = faults;
  *(volatile char*)at = 1;
  return faults - before;
}

int main(void) {
  const int access_type = TARN_TRAP_ACCESS;
  TRAP_EXCEPTION(&access_type, count_faults);

  char* huge = setup_expanding_region("huge", TIB);
  long long sum = 0;
  for (long long at = 0; at < TIB; at += TIB / 64) {
    huge[at] = (char)(at / (TIB / 64));
  }
  for (long long at = 0; at < TIB; at += TIB / 64) sum += huge[at];
  printf("sparse: sum %lld after %d faults\n", sum, faults);
  printf("removed: %d\n", remove_virtual_region(huge, 0x8000) != 0);

  char* region = setup_expanding_region(0, 25 * PAGE);
  const int pages[] = {0, 8, 9, 10, 24, 23};
  for (unsigned i = 0; i < sizeof pages / sizeof pages[0]; ++i) {
    printf("page %d: %d faults\n", pages[i], touch(region + pages[i] * PAGE));
  }

  /* The system would not write to pages that are not there. */
  char* wide = setup_expanding_region("wide", 40 * PAGE);
  FILE* file = fopen("region.tmp", "wb");
  for (int i = 0; i < 40 * PAGE; i += 2) fwrite("ab", 1, 2, file);
  fclose(file);
  file = fopen("region.tmp", "rb");
  int read = (int)fread(wide + 5, 1, 30 * PAGE, file);
  printf("read %d: %c%c", read, wide[5], wide[30 * PAGE + 4]);
  read = (int)fread(wide, 1, 20 * PAGE, file);
  printf(", then %d: %c, end %d\n", read, wide[10 * PAGE - 1], feof(file) != 0);
  fclose(file);

  char* small = setup_expanding_region("small", 1);
  printf("one page: %d", touch(small));
  printf(" %d\n", touch(small + PAGE - 1));
  printf("not a region: %d\n", remove_virtual_region(small + 1, 0x8000));
  printf("wrong mode: %d\n", remove_virtual_region(small, 0x1000));
  printf("decommitted: %d\n", remove_virtual_region(small, 0x4000) != 0);
  printf("and again: %d\n", remove_virtual_region(small, 0x8000));
  printf("released: %d\n", remove_virtual_region(region, 0x8000) != 0);

  setup_expanding_region("impossible", 1LL << 60);
  return 0;
}
