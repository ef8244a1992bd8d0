/* Lines and keys from a terminal. The second line is typed while the program works:
 * until there is a file with the name of its argument. Where the input ends, the
 * program goes on asking: a terminal's input may have more. */
#include <stdio.h>
#include <tarn/console.h>

static void work(const char* until) {
  FILE* file;
  while ((file = fopen(until, "r")) == 0) {
  }
  fclose(file);
}

int main(int argc, char** argv) {
  char line[20];
  int count, key = 99;
  for (int asked = 0; asked < 5; ++asked) {
    ConsoleWrite("line? ");
    int failed = ConsoleRead(line, sizeof line, &count);
    ConsolePrintf("%d %d [%.*s]\n", failed, count, count, line);
    if (asked > 0 || argc < 2) continue;
    ConsoleWrite("working\n");
    work(argv[1]);
  }
  ConsolePrintf("key?\n");
  get_key(&key);
  ConsolePrintf("key %d\n", key);
  get_key(&key);
  ConsolePrintf("key %d\n", key);
  FlushConsole();
  __ConsolePrintf("\xC9\xCD\xBB past the cells\r\n");
  return 0;
}
