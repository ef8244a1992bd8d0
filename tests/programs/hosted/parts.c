/* A hosted program that is linked to a hosted DLL, and loads another by name for a while, then
 * for good; that one ends the program. They have TLS callbacks. */
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <wchar.h>
#include <windows.h>
__declspec(dllimport) int twice(int);
__declspec(dllimport) int set_there(const char* assignment);
__declspec(dllimport) const char* get_there(const char* name);

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

static int listed(const wchar_t* entry) {
  int count = 0;
  for (wchar_t** at = _wenviron; *at; ++at) count += wcscmp(*at, entry) == 0;
  return count;
}

static const char* or_none(const char* value) { return value ? value : "(none)"; }

/* One table of variables for all: a call here is seen there, and the other way round. */
static void variables(HMODULE later) {
  static char* own_table[] = {"OWN=table", NULL};
  const char* (*get_later)(const char*) =
      (const char* (*)(const char*))(void*)GetProcAddress(later, "get_there");
  char kept[20] = "";
  _putenv("SHARED=ours");
  const char* ours = get_there("SHARED");
  printf("variables %s", ours);
  set_there("SHARED=theirs");
  set_there("FIRST=one");
  printf(", %s %s %s", getenv("SHARED"), getenv("FIRST"), or_none(get_later("FIRST")));
  const wchar_t *wide = _wgetenv(L"SHARED"), *other = _wgetenv(L"FIRST");
  printf(", wide %ls %ls %d", wide, other, listed(L"FIRST=one"));
  set_there("FIRST=");
  printf(" %d", listed(L"FIRST=one"));
  printf(", removed %s", or_none(getenv("FIRST")));
  SetEnvironmentVariableA("SYSTEM", "alone");
  printf(", of the system %s %s", or_none(getenv("SYSTEM")), or_none(get_there("SYSTEM")));
  GetEnvironmentVariableA("SHARED", kept, sizeof kept);
  char** table = _environ;
  _environ = own_table;
  printf(", then %s, another table %s %s", kept, or_none(get_there("OWN")),
         or_none(getenv("SHARED")));
  _environ = table;
  printf(", back %s\n", or_none(get_later("SHARED")));
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
  variables(part);
  pthread_create(&thread, NULL, same, NULL);
  pthread_join(thread, NULL);
  printf("attached %d, thread %d %d\n", before_constructors, counts[DLL_THREAD_ATTACH],
         counts[DLL_THREAD_DETACH]);
  ((void (*)(int))(void*)GetProcAddress(part, "leave"))(0);
  return 1;
}
