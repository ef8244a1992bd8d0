/* malloc and free of TARNLIBC64.DLL against the bare platform calls, by
 * turns in one process. Prints nanoseconds: ours, a tab, theirs. */
#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

#define PAIRS 400000
#define ROUNDS 15

typedef void* (*allocate_routine)(unsigned long long);
typedef void (*free_routine)(void*);

static double seconds(void) {
  LARGE_INTEGER now, rate;
  QueryPerformanceCounter(&now);
  QueryPerformanceFrequency(&rate);
  return (double)now.QuadPart / (double)rate.QuadPart;
}

static int compare(const void* a, const void* b) {
  double x = *(const double*)a, y = *(const double*)b;
  return (x > y) - (x < y);
}

int main(void) {
  HMODULE library = LoadLibraryA("TARNLIBC64.DLL");
  if (!library) return 1;
  allocate_routine allocate = (allocate_routine)(void*)GetProcAddress(library, "malloc");
  free_routine release = (free_routine)(void*)GetProcAddress(library, "free");
  if (!allocate || !release) return 1;
  double ours[ROUNDS], bare[ROUNDS];
  for (int round = 0; round < ROUNDS; ++round) {
    double start = seconds();
    for (unsigned i = 0; i < PAIRS; ++i) release(allocate(8 + i % 1000));
    ours[round] = (seconds() - start) * 1e9 / PAIRS;
    start = seconds();
    for (unsigned i = 0; i < PAIRS; ++i) GlobalFree(GlobalAlloc(0, 8 + i % 1000));
    bare[round] = (seconds() - start) * 1e9 / PAIRS;
  }
  qsort(ours, ROUNDS, sizeof *ours, compare);
  qsort(bare, ROUNDS, sizeof *bare, compare);
  printf("%.1f\t%.1f\n", ours[ROUNDS / 2], bare[ROUNDS / 2]);
  return 0;
}
