/* SIGINT of a hosted program while it waits for a line: ignored, handled, left to the system
 * in spite of a handler of SIGBREAK; a handler that ends the program; and one that cannot
 * leave by longjmp. */
#include <pthread.h>
#include <setjmp.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

static jmp_buf place;

static void take(int number) {
  volatile long double third = 1.0L / 3;
  signal(number, take);
  printf("taken %d %d\n", number, third * 3 == 1);
}
static void leave(int number) { exit(number); }
static void jump(int number) { longjmp(place, number); }
static void* work(void* unused) {
  Sleep(INFINITE);
  return unused;
}

int main(void) {
  char line[80];
  pthread_t thread;
  pthread_create(&thread, NULL, work, NULL);
  setjmp(place);
  signal(SIGBREAK, take);
  SetConsoleCtrlHandler(NULL, TRUE);
  for (;;) {
    printf("> ");
    if (!fgets(line, sizeof line, stdin)) puts("END");
    line[strcspn(line, "\n")] = '\0';
    SetConsoleCtrlHandler(NULL, FALSE);
    signal(SIGINT, strcmp(line, "ignore") == 0  ? SIG_IGN
                   : strcmp(line, "take") == 0  ? take
                   : strcmp(line, "leave") == 0 ? leave
                   : strcmp(line, "jump") == 0  ? jump
                                                : SIG_DFL);
    printf("set [%s]\n", line);
    if (strcmp(line, "jump") == 0) work(NULL);  // so that the keys are for the report
  }
}
