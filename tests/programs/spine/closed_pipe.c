/* Writes for ever, by one of the ways out; or looks at its results and stays. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarn/console.h>

int main(int argc, char** argv) {
  const char* way = argc > 1 ? argv[1] : "";
  int failures = 0;
  while (strcmp(way, "printf") == 0) printf("y\n");
  while (strcmp(way, "console") == 0) ConsolePrintf("y\n");
  while (strcmp(way, "line") == 0) __cou("y");
  while (failures < 1000) {
    printf("y\n");
    failures += ferror(stdout) != 0;
  }
  return 3;
}
