/* A hosted program that is linked to a hosted DLL, and loads another by name for a while, then
 * for good; that one ends the program. They have TLS callbacks. */
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <windows.h>
__declspec(dllimport) int twice(int);

static int counts[4], before_constructors, early_path;
static void NTAPI on_event(void* image, DWORD reason, void* unused) {
  (void)unused;
  counts[reason] += image == GetModuleHandleA(NULL);
  if (reason == DLL_PROCESS_DETACH) puts("detached");
}
PIMAGE_TLS_CALLBACK const callback __attribute__((section(".CRT$XLB"), used)) = on_event;
__attribute__((constructor)) static void construct(void) {
  before_constructors = counts[DLL_PROCESS_ATTACH];
  early_path = getenv("PATH") != NULL;
}

static void* same(void* argument) { return argument; }
static void bye(void) { puts("atexit of the program"); }
int main(void) {
  pthread_t thread;
  atexit(bye);
  printf("main %d, PATH %d\n", twice(21), early_path);
  HMODULE part = NULL;
  for (int i = 1; i <= 2; ++i) {
    if (part) printf("freed %d\n", FreeLibrary(part));
    part = LoadLibraryA("hosted_freed.dll");
    int (*twice_there)(int) = (int (*)(int))(void*)GetProcAddress(part, "twice");
    printf("there %d\n", twice_there(i));
  }
  pthread_create(&thread, NULL, same, NULL);
  pthread_join(thread, NULL);
  printf("attached %d, thread %d %d\n", before_constructors, counts[DLL_THREAD_ATTACH],
         counts[DLL_THREAD_DETACH]);
  ((void (*)(int))(void*)GetProcAddress(part, "leave"))(0);
  return 1;
}
