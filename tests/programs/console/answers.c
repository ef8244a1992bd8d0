/* Lines and keys from a terminal. Where the input ends, the program goes on
 * asking: a terminal's input may have more. */
#include <tarn/console.h>

int main(void) {
  char line[20];
  int count, key = 99;
  for (int asked = 0; asked < 4; ++asked) {
    ConsoleWrite("line? ");
    int failed = ConsoleRead(line, sizeof line, &count);
    ConsolePrintf("%d %d [%.*s]\n", failed, count, count, line);
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
