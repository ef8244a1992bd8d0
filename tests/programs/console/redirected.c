/* The console on a file: what a program of every routine prints, byte by byte.
 * Its input is a file that ends in Ctrl-Z. */
#include <stdio.h>
#include <tarn/console.h>

static void plain_text(void) {
  __cou("one line");
  __cou("");
  __coua("");
  __cou1("with\0NUL", 8);
  __coua("no end|");
  _coua1("abc", 2);
  __newline();
  printf("%d %d %d\n", __coua("four"), _coua1("", 0), _coua1("x", -1));
  __errcou("one line");
  __errcou1("1234", 3);
  __errcoua("no end|");
  __errcoua1("abc", 2);
  __errnewline();
}

static void lines(void) {
  ConsoleWrite("collected ");
  __coua("past it ");
  ConsoleWrite("until here\n");
  output_win32_line("tab\t, NUL\0, CR LF\r\nand LF\n", 26);
  output_unbuffered_win32_line("at once\n", -1);
  ConsoleWriteChar('x');
  FlushConsole();
  tarn_console_write("yz\n+++", 3);
}

static void formatted(void) {
  printf("%d\n", ConsolePrintf("%s %d%%\n", "ready", 100));
  printf("%d\n", ConsolePrintfC("not centred\n"));
  printf("%d\n", ConsoleBoxPrint(2, TARN_BLUE, TARN_WHITE | TARN_BRIGHT, "two\nlines"));
  printf("%d\n", __HandlePrintf(-1, "nothing"));
  SetBoxShadow(-1);
  ConsoleBoxPrint(1, 16, 16, "%d", 42);
}

static void facts(void) {
  int x = 7, y = 7;
  GetCursorPos(&x, &y);
  printf("%d %d by %d, %d,%d, %d\n", ConsoleRedirected(), ScreenWidth(), ScreenHeight(), x, y,
         _get_console_handle(3));
  printf("%d %d\n", SetConsoleColour(TARN_RED), SetConsoleBackground(TARN_RED));
}

static void input(void) {
  char line[20];
  int count;
  for (;;) {
    ConsoleWrite("> ");
    int failed = ConsoleRead(line, sizeof line, &count);
    ConsolePrintf("%d %d [%.*s]\n", failed, count, count, line);
    if (count < 0) break;
  }
}

int main(void) {
  plain_text();
  lines();
  formatted();
  facts();
  input();
  ConsoleWrite("lost: nobody flushes it");
  return 0;
}
