/* Prints COUNT lines to a file, of integers and strings or of doubles:
 *
 *   print_lines COUNT integers|doubles */
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv) {
  const int count = argc > 1 ? atoi(argv[1]) : 10;
  const int doubles = argc > 2 && argv[2][0] == 'd';
  static const char* const words[] = {"alpha", "beta", "gamma", "delta"};
  FILE* file = fopen("printed", "w");
  if (!file) return 1;
  for (int i = 0; i < count; ++i) {
    if (doubles) {
      fprintf(file, "%d %.3f %g %.15g\n", i, i * 1.37, i * 1e-3, i / 7.0);
    } else {
      fprintf(file, "%d: %s %8u %x %c %ld %-10s|\n", i, words[i % 4], i * 7u, (unsigned)i,
              'a' + i % 26, i * 31L, words[i % 3]);
    }
  }
  if (fclose(file) != 0) return 1;
  remove("printed");
  return 0;
}
