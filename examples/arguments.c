/* Prints the arguments as this library splits the command line: a slash
 * begins a new argument, and quotes stay in every argument but the first. */
#include <stdio.h>
#include <string.h>

/* The program's own name without its folder. */
static const char* base_name(const char* path) {
  const char* slash = strrchr(path, '\\');
  return slash ? slash + 1 : path;
}

int main(int argc, char** argv) {
  printf("%d arguments\n", argc);
  for (int i = 0; i < argc; ++i) {
    printf("argv[%d] = %s\n", i, i == 0 ? base_name(argv[0]) : argv[i]);
  }
  return 0;
}
