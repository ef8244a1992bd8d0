/* Keys of a hosted program, waited for and asked for; then lines. Nothing is echoed but
 * what _getche reads, and the lines. Where there are no lines, nothing comes after Enter. */
#include <conio.h>
#include <io.h>
#include <stdio.h>
#include <windows.h>

int main(void) {
  char line[20];
  printf("key? ");
  _cprintf("%d", _getch());
  _cprintf(" %d", _getch());
  _cprintf(" %d\r\n", _getch());
  _cputs("polling\r\n");
  while (!_kbhit()) Sleep(20);
  int silent = _getch(), code = _getch();
  int echoed = _getche(), pushed = _ungetch('u'), waits = _kbhit(), again = _getch();
  printf(" %d %d, %d, %d %d %d\n", silent, code, echoed, pushed, waits, again);
  fgets(line, sizeof line, stdin);
  printf("[%.4s]\n", line);
  char block[2 + 5] = {5};
  wchar_t rest[20];
  size_t length;
  _cputws(L"größe? ");
  _cgets(block);
  _cgetws_s(rest, 20, &length);
  _cwprintf(L"%hs %d, %ls %d\r\n", block + 2, block[1], rest, (int)length);
  int number, more;
  wint_t wide = _getwch(), shown = _getwche(), none = _getwch(), up = _getwch();
  _ungetch('4');
  int got = _cscanf("%d %3s", &number, line);
  got = got * 10 + _cscanf_s("%19s %d", rest, 20u, &more);
  _cprintf("%x %x %d %d, %d %d %s %s %d\r\n", wide, shown, none, up, got, number, line, (char*)rest,
           more);

  HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
  DWORD mode;
  GetConsoleMode(input, &mode);
  SetConsoleMode(input, mode & ~(ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT));
  _cputs("enter? ");
  read(0, line, 1);
  printf("%d\nagain? ", line[0]);
  printf("%d\n", getchar());
  SetConsoleMode(input, mode);
}
