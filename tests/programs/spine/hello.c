/* Formatted output to both streams, and the library's own corner rules. */
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  char line[64];
  int length;
  printf("Hello from %s with %d argument%s\n", "a finished image", argc, argc == 1 ? "" : "s");
  length = sprintf(line, "%5d|%-5d|%05d|%+d|%x|%#X", 42, 42, 42, 0, 255, 255);
  printf("%s has %d characters\n", line, length);
  printf("%lld %llu %hd %c%c %.2s %*d|\n", -5000000000LL, 18446744073709551615ULL, 65535, 'o', 'k',
         "abc", -4, 7);
  puts("puts adds no line feed");
  putchar('\n');
  fprintf(stderr, "to standard error: %s\n", argv[argc] == 0 ? "argv is closed" : "argv is open");
  printf("strcmp sorts bytes as signed: %d\n", strcmp("a", "\xE9"));
  return 0;
}
