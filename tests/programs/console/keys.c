/* Keys of a hosted program, waited for and asked for; then a line. Nothing is echoed but
 * what _getche reads. */
#include <conio.h>
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
}
