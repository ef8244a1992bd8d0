/* Numbered errors end the program with their text and, without the dialog, status 1. */
#include <stdio.h>
#include <string.h>
#include <tarn/errors.h>

static long long no_stream[8]; /* zeroes, as a closed stream */

int main(int argc, char** argv) {
  const char* what = argc > 1 ? argv[1] : "";
  printf("before the failure\n");
  if (strcmp(what, "number") == 0) __RuntimeError(368);
  if (strcmp(what, "text") == 0) text_error("%s is %d%% full, not %%1", "the disc", 100);
  if (strcmp(what, "missing") == 0) __MissingRoutine("TRIANGLE");
  if (strcmp(what, "stream") == 0) fclose((FILE*)no_stream);
  if (strcmp(what, "null_stream") == 0) fseek(0, 0, SEEK_SET);
  printf("after the failure\n");
  return 0;
}
