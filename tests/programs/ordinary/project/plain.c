// What a program of another C run-time has, with and without a failure of each kind.
#include <assert.h>
#include <setjmp.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>
#include <xmmintrin.h>

__declspec(dllimport) int store(int* place);

static jmp_buf back;
static volatile int depth;

static unsigned x87_control(void) {
  unsigned short control;
  __asm__("fnstcw %0" : "=m"(control));
  return control;
}

static DWORD WINAPI print_control(void* argument) {
  printf("control of a thread %x %x\n", _mm_getcsr(), x87_control());
  return argument != NULL;
}

__attribute__((noinline)) static int recurse(volatile char* from) {
  volatile char room[5000];
  room[0] = *from;
  depth++;
  return recurse(room) + room[0];
}

static DWORD WINAPI exhaust(void* argument) {
  (void)argument;
  return (DWORD)recurse("");
}

static void wait_for(LPTHREAD_START_ROUTINE routine) {
  WaitForSingleObject(CreateThread(NULL, 0, routine, NULL, 0, NULL), INFINITE);
}

static void leave(int number) { longjmp(back, number); }
static void end(int number) {
  puts(number == SIGABRT ? "own end" : "?");
  fflush(stdout);
  _Exit(5);
}

int main(int count, char** arguments) {
  const char* const how = count > 1 ? arguments[1] : "";
  const volatile double zero = 0;
  DWORD mode = 0;
  printf("control %x %x, 1/0 %g, %d arguments\n", _mm_getcsr(), x87_control(), 1 / zero, count);
  wait_for(print_control);
  printf("console %d\n", GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode));
  fflush(stdout);
  if (strcmp(how, "fault") == 0) return store((int*)8) + 1;
  if (strcmp(how, "assert") == 0) assert(count == 9);
  if (strcmp(how, "overflow") == 0) wait_for(exhaust);
  if (strcmp(how, "signals") == 0) {
    signal(SIGSEGV, leave);
    if (setjmp(back) == 0) store(NULL);
    puts("recovered");
    signal(SIGABRT, end);
    abort();
  }
  return 7;
}
