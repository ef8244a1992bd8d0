/* Copies a file of COUNT bytes by getc and putc:
 *
 *   copy_characters COUNT */
#include <stdio.h>
#include <stdlib.h>

static char block[65536];

int main(int argc, char** argv) {
  const long count = argc > 1 ? atol(argv[1]) : 1000;
  for (unsigned i = 0; i < sizeof block; ++i) block[i] = (char)(i * 7 % 251);
  FILE* from = fopen("copied_from", "wb");
  if (!from) return 1;
  for (long done = 0; done < count; done += (long)sizeof block) {
    const long left = count - done;
    fwrite(block, 1, left < (long)sizeof block ? (size_t)left : sizeof block, from);
  }
  if (fclose(from) != 0 || !(from = fopen("copied_from", "rb"))) return 1;
  FILE* to = fopen("copied_to", "wb");
  if (!to) return 1;
  long copied = 0;
  for (int c; (c = getc(from)) != EOF; ++copied) putc(c, to);
  if (fclose(to) != 0 || fclose(from) != 0 || copied != count) return 1;
  remove("copied_from");
  remove("copied_to");
  return 0;
}
