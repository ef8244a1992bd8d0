/* One failure of each kind, by name, at -O2, which inlines most routines here. A line that a
   report shows has a mark. */
#undef NDEBUG
#define UNICODE /* assert reports wide characters */
#include <assert.h>
#undef UNICODE
#include <process.h>
#include <setjmp.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

static int* volatile nowhere;
static volatile int one = 1, sink;
static jmp_buf back;

static void fault(void) { *nowhere = 1; /* @fault */ }
static __attribute__((noinline)) int deeper(int depth) {
  volatile char frame[2000];
  frame[0] = (char)depth;
  return depth < 0 ? frame[0] : deeper(depth + 1) + frame[0];
}

static void two_assertions(void) {
  assert(one == 1);
  assert(one == 2); /* @assert */
  sink = 1;
}

static unsigned __stdcall in_thread(void* name) {
  if (strcmp(name, "thread_overflow") == 0) sink = deeper(0);
  fault(); /* @in_thread */
  return 0;
}
static void thread(const char* name) {
  const uintptr_t started = _beginthreadex(NULL, 0, in_thread, (void*)name, 0, NULL);
  WaitForSingleObject((HANDLE)started, INFINITE);
}

static FILE* closed(void) {
  FILE* file = fopen("closed.tmp", "w");
  fclose(file);
  return file;
}

static __attribute__((noinline)) void overwritten(void) {
  char text[8];
  for (int at = 0; at < 12 + one; ++at) ((volatile char*)text)[at] = 1;
} /* @overwritten */
static __attribute__((noinline)) void fortified(void) {
  char text[8];
  memset(text, 1, 8 + one); /* @fortified */
  sink = text[one];
}

static void leave(int number) {
  printf("signal %d\n", number);
  longjmp(back, 1);
}
static void stay(int number) {
  printf("signal %d\n", number);
  fflush(stdout);
}

static void run(const char* name) {
  if (strcmp(name, "fault") == 0) {
    fault(); /* @run_fault */
  } else if (strcmp(name, "abort") == 0) {
    abort(); /* @abort */
  } else if (strcmp(name, "assert") == 0) {
    two_assertions(); /* @run_assert */
  } else if (strcmp(name, "raise") == 0) {
    raise(SIGABRT); /* @raise */
  } else if (strcmp(name, "closed_twice") == 0) {
    fclose(closed()); /* @closed_twice */
  } else if (strcmp(name, "closed_write") == 0) {
    fputs("lost", closed()); /* @closed_write */
  } else if (strcmp(name, "overwritten") == 0) {
    overwritten(); /* @run_overwritten */
  } else if (strcmp(name, "fortified") == 0) {
    fortified(); /* @run_fortified */
  } else if (strcmp(name, "inside") == 0) {
    sink = (int)strtold((const char*)nowhere, NULL);
  } else if (strcmp(name, "handled") == 0) {
    signal(SIGSEGV, stay);
    *nowhere = 2; /* @handled */
  } else if (strcmp(name, "left") == 0) {
    /* The third overflow comes after two that were left. */
    for (volatile int turn = 0; turn < 2; ++turn) {
      signal(SIGSEGV, leave);
      if (setjmp(back) == 0) sink = deeper(0);
    }
    fflush(stdout);
    sink = deeper(0);
  } else {
    thread(name);
  }
}

int main(int count, char** arguments) {
  puts("lost with the buffer, as abort leaves it");
  if (count > 1) run(arguments[1]); /* @main */
  return 0;
}
