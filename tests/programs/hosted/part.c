/* A hosted DLL: its output keeps its place among the program's; its atexit routines come when
 * it is freed, or at the end of the program, which it may bring about. */
#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

static int attached;
static void NTAPI on_event(void* image, DWORD reason, void* unused) {
  (void)image, (void)unused;
  attached += reason == DLL_PROCESS_ATTACH;
}
PIMAGE_TLS_CALLBACK const part_callback __attribute__((section(".CRT$XLB"), used)) = on_event;

static int last;
static void bye(void) { printf("atexit of the DLL %d\n", last); }
__declspec(dllexport) int twice(int x) {
  last = x;
  atexit(bye);
  printf("in the DLL %d, attached %d, PATH %d\n", x, attached, getenv("PATH") != NULL);
  return 2 * x;
}
__declspec(dllexport) void leave(int status) { exit(status); }
