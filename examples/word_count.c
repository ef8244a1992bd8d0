/* Counts lines, words and bytes of files, as wc does.
 *
 *   word_count [-t] file...
 *
 * -t reads text streams: carriage returns are dropped on the way in, so a
 * file with CR LF line ends counts like the same file with LF. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define BLOCK_SIZE 65536

struct counts {
  long long lines, words, bytes;
};

static int is_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

static int count(const char* path, const char* mode, struct counts* total) {
  static char block[BLOCK_SIZE];
  FILE* file = fopen(path, mode);
  if (!file) return 0;
  struct counts found = {0, 0, 0};
  int in_word = 0;
  for (;;) {
    long long got = (long long)fread(block, 1, BLOCK_SIZE, file);
    for (long long i = 0; i < got; ++i) {
      if (block[i] == '\n') ++found.lines;
      if (is_space(block[i])) {
        in_word = 0;
      } else if (!in_word) {
        in_word = 1;
        ++found.words;
      }
    }
    found.bytes += got;
    if (got < BLOCK_SIZE) break;
  }
  fclose(file);
  printf("%lld %lld %lld %s\n", found.lines, found.words, found.bytes, path);
  total->lines += found.lines;
  total->words += found.words;
  total->bytes += found.bytes;
  return 1;
}

/* The library leaves quotes in arguments, so that a path with a slash or a
 * blank can be given in quotes; here they go. */
static char* unquoted(char* argument) {
  size_t length = strlen(argument);
  if (length >= 2 && (argument[0] == '"' || argument[0] == '\'') &&
      argument[length - 1] == argument[0]) {
    argument[length - 1] = '\0';
    return argument + 1;
  }
  return argument;
}

int main(int argc, char** argv) {
  const char* mode = "rb";
  struct counts total = {0, 0, 0};
  int files = 0, failed = 0;
  for (int i = 1; i < argc; ++i) {
    char* path = unquoted(argv[i]);
    if (strcmp(path, "-t") == 0) {
      mode = "r";
      continue;
    }
    ++files;
    if (!count(path, mode, &total)) {
      fprintf(stderr, "word_count: cannot open %s\n", path);
      failed = 1;
    }
  }
  if (files == 0) {
    fprintf(stderr, "usage: word_count [-t] file...\n");
    return 2;
  }
  if (files > 1) printf("%lld %lld %lld total\n", total.lines, total.words, total.bytes);
  return failed;
}
