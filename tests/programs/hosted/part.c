/* A hosted DLL: its output keeps its place among the program's; its atexit routines come when
 * it is freed, or at the end of the program, which it may bring about, and after its DllMain. */
#include <process.h>
#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

static int attached;
static void NTAPI on_event(void* image, DWORD reason, void* unused) {
  (void)image, (void)unused;
  attached += reason == DLL_PROCESS_ATTACH;
}
PIMAGE_TLS_CALLBACK const part_callback __attribute__((section(".CRT$XLB"), used)) = on_event;

static int constructed, main_calls[4];
__attribute__((constructor)) static void construct(void) { constructed = 1; }
BOOL WINAPI DllMain(HANDLE image, DWORD reason, LPVOID process_ends) {
  main_calls[reason] += constructed && image != NULL;
  if (reason == DLL_PROCESS_DETACH) printf("DllMain leaves %d\n", process_ends != NULL);
  return TRUE;
}
static unsigned __stdcall run(void* argument) { return argument != NULL; }

static int last;
static void bye(void) { printf("atexit of the DLL %d\n", last); }
__declspec(dllexport) int twice(int x) {
  last = x;
  atexit(bye);
  printf("in the DLL %d, attached %d, PATH %d\n", x, attached, getenv("PATH") != NULL);
  return 2 * x;
}
__declspec(dllexport) int set_there(const char* assignment) { return _putenv(assignment); }
__declspec(dllexport) const char* get_there(const char* name) { return getenv(name); }
__declspec(dllexport) void leave(int status) {
  HANDLE thread = (HANDLE)_beginthreadex(NULL, 0, run, NULL, 0, NULL);
  WaitForSingleObject(thread, INFINITE);
  printf("DllMain: process %d, thread %d %d\n", main_calls[DLL_PROCESS_ATTACH],
         main_calls[DLL_THREAD_ATTACH], main_calls[DLL_THREAD_DETACH]);
  exit(status);
}
