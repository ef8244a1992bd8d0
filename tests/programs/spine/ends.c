/* The ways to an exit code. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(int argc, char** argv) {
  printf("before the end\n");
  if (argc > 1 && strcmp(argv[1], "exit") == 0) {
    exit(3);
    printf("never printed\n");
  }
  return 7;
}
