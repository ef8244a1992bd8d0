/* The system's own routines, as images import them from KERNEL32: the same results and
 * last errors on both targets. */
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <time.h>
#include <windows.h>
#include <winioctl.h>

#include <psapi.h> /* wants windows.h before it */

static DWORD last(void) {
  DWORD code = GetLastError();
  SetLastError(0);
  return code;
}

static void files(void) {
  char buffer[300], *part;
  DWORD count = 0;
  HANDLE file = CreateFileA("k.tmp", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, NULL,
                            CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL);
  WriteFile(file, "0123456789", 10, &count, NULL);
  LARGE_INTEGER place = {.QuadPart = 4}, size, moved;
  BOOL sought = SetFilePointerEx(file, place, &moved, FILE_BEGIN), cut = SetEndOfFile(file);
  GetFileSizeEx(file, &size);
  printf("file %lu %d %lld %d %lld type %lu", count, sought, moved.QuadPart, cut, size.QuadPart,
         GetFileType(file));
  BOOL sparse = DeviceIoControl(file, FSCTL_SET_SPARSE, NULL, 0, NULL, 0, &count, NULL);
  printf(" sparse %d %lu\n", sparse, count);
  BY_HANDLE_FILE_INFORMATION facts;
  WIN32_FILE_ATTRIBUTE_DATA data;
  BOOL told = GetFileInformationByHandle(file, &facts);
  BOOL named = GetFileAttributesExA("k.tmp", GetFileExInfoStandard, &data);
  FILETIME created, written;
  BOOL timed = GetFileTime(file, &created, NULL, &written);
  printf("facts %d %lu %lu %lu, %d %lu, times %d %d\n", told, facts.nFileSizeLow,
         facts.nNumberOfLinks, facts.dwFileAttributes, named, data.nFileSizeLow,
         timed && memcmp(&created, &facts.ftCreationTime, sizeof created) == 0,
         memcmp(&written, &facts.ftLastWriteTime, sizeof written) == 0);
  HANDLE copy;
  BOOL copied = DuplicateHandle(GetCurrentProcess(), file, GetCurrentProcess(), &copy, 0, FALSE,
                                DUPLICATE_SAME_ACCESS);
  CloseHandle(file);
  place.QuadPart = 0;
  SetFilePointerEx(copy, place, NULL, FILE_BEGIN);
  BOOL read = ReadFile(copy, buffer, 10, &count, NULL);
  printf("copy %d %d %lu %.4s\n", copied, read, count, buffer);
  BOOL held = MoveFileExA("k.tmp", "l.tmp", 0);
  printf("move held %d %lu", held, last());
  CloseHandle(copy);
  BOOL free_now = MoveFileA("k.tmp", "l.tmp");
  printf(", free %d", free_now);
  BOOL gone = MoveFileExA("k.tmp", "m.tmp", 0);
  printf(", gone %d %lu", gone, last());
  CloseHandle(CreateFileA("m.tmp", GENERIC_WRITE, 0, NULL, CREATE_NEW, 0, NULL));
  BOOL onto = MoveFileExA("l.tmp", "m.tmp", 0);
  printf(", onto %d %lu", onto, last());
  printf(", replaced %d", MoveFileExA("l.tmp", "m.tmp", MOVEFILE_REPLACE_EXISTING));
  file = CreateFileA("m.tmp", FILE_APPEND_DATA, 0, NULL, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, NULL);
  WriteFile(file, "at the end", 10, &count, NULL);
  CloseHandle(file);
  GetFileAttributesExA("m.tmp", GetFileExInfoStandard, &data);
  printf(", appended %lu\n", data.nFileSizeLow);
  BOOL marked = SetFileAttributesA("m.tmp", FILE_ATTRIBUTE_READONLY);
  printf("read-only %d %d\n", marked, (GetFileAttributesA("m.tmp") & FILE_ATTRIBUTE_READONLY) != 0);
  SetFileAttributesA("m.tmp", FILE_ATTRIBUTE_NORMAL);
  CreateDirectoryA("d", NULL);
  CloseHandle(CreateFileA("d\\x", GENERIC_WRITE, 0, NULL, CREATE_NEW, 0, NULL));
  BOOL full = RemoveDirectoryA("d");
  printf("full folder %d %lu", full, last());
  DeleteFileA("d\\x");
  BOOL empty = RemoveDirectoryA("d"), none = RemoveDirectoryA("d");
  printf(", empty %d, none %d %lu\n", empty, none, last());
  DWORD length = GetFullPathNameA("a\\..\\b.txt", sizeof buffer, buffer, &part);
  printf("full path %d %s\n", length == strlen(buffer) && buffer[1] == ':', part);
  HANDLE temporary = CreateFileA("t.tmp", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_DELETE, NULL,
                                 CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE, NULL);
  WriteFile(temporary, "x", 1, &count, NULL);
  CloseHandle(temporary);
  DWORD attributes = GetFileAttributesA("t.tmp");
  printf("delete on close: %lx %lu\n", attributes, last());
  DeleteFileA("m.tmp");
  char name[MAX_PATH];
  UINT one = GetTempFileNameA(".", "prefix", 0x1ABCD, name);
  printf("temporary %x %s %lx", one, name, GetFileAttributesA(name));
  BOOL made = GetTempFileNameA(".", "prefix", 0, name) != 0 && DeleteFileA(name);
  last();
  printf(", made %d", made);
  UINT nowhere = GetTempFileNameA("nowhere", "p", 0, name);
  printf(", nowhere %u %lu\n", nowhere, last());
  SetErrorMode(SEM_NOGPFAULTERRORBOX);
  UINT mode = SetErrorMode(0);
  HANDLE self = OpenThread(SYNCHRONIZE, FALSE, GetCurrentThreadId());
  MEMORYSTATUS memory;
  PROCESS_MEMORY_COUNTERS used;
  GlobalMemoryStatus(&memory);
  BOOL counted = GetProcessMemoryInfo(GetCurrentProcess(), &used, sizeof used);
  printf("memory %lu %d, used %d %lu %d, ", memory.dwLength, memory.dwAvailPhys > 0, counted,
         used.cb, used.WorkingSetSize > 100000 && used.PeakWorkingSetSize >= used.WorkingSetSize);
  counted = GetProcessMemoryInfo(GetCurrentProcess(), &used, sizeof used - 1);
  printf("small %d %lu, ", counted, last());
  BOOL locked = VirtualLock(&used, sizeof used);
  printf("locked %d %d, ", locked, VirtualUnlock(&used, sizeof used));
  printf("error mode %u, thread %lu", mode, WaitForSingleObject(self, 0));
  CloseHandle(self);
  last();
  HANDLE none_such = OpenThread(SYNCHRONIZE, FALSE, 1);
  printf(", none %d %lu", none_such == NULL, last());
  BOOL shown = WriteConsoleW(GetStdHandle(STD_OUTPUT_HANDLE), L"x", 1, &count, NULL);
  printf(", no console %d %lu\n", shown, last());
  HANDLE reading, writing;
  CreatePipe(&reading, &writing, NULL, 0);
  WriteFile(writing, "abc", 3, &count, NULL);
  CloseHandle(writing);
  ReadFile(reading, buffer, 10, &count, NULL);
  BOOL more = ReadFile(reading, buffer + 3, 10, &length, NULL);
  DWORD why = last(), type = GetFileType(reading);
  printf("pipe %lu %.3s, at its end %d %lu, type %lu\n", count, buffer, more, why, type);
  type = GetFileType((HANDLE)0x7777);
  printf("no file: type %lu, last error %lu\n", type, last());
}

/* Names in UTF-16, places of transfers, locks and mappings. */
static void parts_of_files(void) {
  WCHAR wide[300], *part;
  DWORD count = 0, high = 7;
  OVERLAPPED at = {.Offset = 4}, first = {0};
  WIN32_FIND_DATAW found;
  WIN32_FILE_ATTRIBUTE_DATA data;
  const DWORD all = FILE_SHARE_READ | FILE_SHARE_WRITE;
  HANDLE file = CreateFileW(L"gr\u00f6\u00dfe.tmp", GENERIC_READ | GENERIC_WRITE, all, NULL,
                            CREATE_ALWAYS, 0, NULL);
  HANDLE other = CreateFileA("gr\u00f6\u00dfe.tmp", GENERIC_READ | GENERIC_WRITE, all, NULL,
                             OPEN_EXISTING, 0, NULL);
  BOOL wrote = WriteFile(file, "ab", 2, &count, &at);
  printf("at a place %d %lu, then %lu", wrote, count, SetFilePointer(file, 0, NULL, FILE_CURRENT));
  at.Offset = 2;  // a handle of the same file goes on with it
  HANDLE twin;
  DuplicateHandle(GetCurrentProcess(), file, GetCurrentProcess(), &twin, 0, FALSE,
                  DUPLICATE_SAME_ACCESS);
  WriteFile(twin, "c", 1, &count, &at);
  WriteFile(file, "d", 1, &count, NULL);
  printf(", twin %lu", SetFilePointer(twin, 0, NULL, FILE_CURRENT));
  CloseHandle(twin);
  at.Offset = 6;
  BOOL read = ReadFile(file, wide, 4, &count, &at);
  printf(", at the end %d %lu %lu", read, count, last());
  printf(", size %lu", GetFileSize(file, &high));
  LONG up = 1;
  DWORD low = SetFilePointer(file, -1, &up, FILE_BEGIN);
  printf(" %lu, far %lx %ld", high, low, up);
  low = SetFilePointer(file, -1, NULL, FILE_BEGIN);
  printf(", before %lx %lu\n", low, last());
  DWORD length = GetFullPathNameW(L"a\\gr\u00f6.b", 300, wide, &part);
  HANDLE search = FindFirstFileW(L"gr*.tmp", &found);
  BOOL more = FindNextFileW(search, &found);
  printf("wide: part %d, found %x %d %lu", length == wcslen(wide) && part == wide + length - 5,
         found.cFileName[2], more, last());
  FindClose(search);
  BOOL told = GetFileAttributesExW(L"gr\u00f6\u00dfe.tmp", GetFileExInfoStandard, &data);
  printf(", attributes %d %lu %lx", told, data.nFileSizeLow, GetFileAttributesW(L"none"));
  printf(" %lu\n", last());
  BOOL locked = LockFile(file, 10, 0, 5, 0), again = LockFile(file, 14, 0, 1, 0);
  printf("lock %d, own again %d %lu", locked, again, last());
  BOOL across = LockFile(other, 12, 0, 100, 0);
  printf(", other's %d %lu", across, last());
  BOOL beside = LockFileEx(other, LOCKFILE_FAIL_IMMEDIATELY, 0, 10, 0, &first);
  BOOL shared_too = LockFileEx(file, LOCKFILE_FAIL_IMMEDIATELY, 0, 5, 0, &first);
  BOOL cut = UnlockFile(file, 10, 0, 4, 0);
  printf(", shared %d %d, unlocked part %d", beside, shared_too, cut);
  last();
  CloseHandle(other);
  BOOL rest = UnlockFile(file, 10, 0, 5, 0);
  other = CreateFileA("gr\u00f6\u00dfe.tmp", GENERIC_READ, all, NULL, OPEN_EXISTING, 0, NULL);
  BOOL then = LockFile(other, 12, 0, 100, 0), shared = LockFile(other, 0, 0, 1, 0);
  printf(", whole %d, then other's %d, shared by another %d %lu\n", rest, then, shared, last());
  HANDLE mapping = CreateFileMappingA(file, NULL, PAGE_READWRITE, 0, 0x10100, NULL);
  char* view = MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0x10000, 0x100);
  void* crooked = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0x1000, 0x100);
  printf("mapped %lu, crooked %d %lu", GetFileSize(file, NULL), crooked != NULL, last());
  void* beyond = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0x10000, 0x20000);
  printf(", beyond %d %lu", beyond != NULL, last());
  CloseHandle(mapping);
  memcpy(view + 0x80, "view", 4);
  BOOL flushed = FlushViewOfFile(view, 0);
  at.Offset = 0x10080;
  ReadFile(file, wide, 4, &count, &at);
  printf(", flushed %d, read %.4s", flushed, (char*)wide);
  SetFilePointer(file, 10, NULL, FILE_BEGIN);
  cut = SetEndOfFile(file);
  printf(", cut %d %lu", cut, last());
  BOOL unmapped = UnmapViewOfFile(view), twice = UnmapViewOfFile(view);
  DWORD why = last();
  printf(", unmapped %d %d %lu, cut %d\n", unmapped, twice, why, SetEndOfFile(file));
  CloseHandle(file);
  CloseHandle(other);
  DeleteFileW(L"gr\u00f6\u00dfe.tmp");
  SYSTEMTIME day = {.wYear = 2024, .wMonth = 2, .wDay = 29, .wMilliseconds = 5};
  FILETIME units;
  BOOL right = SystemTimeToFileTime(&day, &units);
  printf("day %d %lx %lx", right, units.dwHighDateTime, units.dwLowDateTime);
  day.wMonth = 4;
  day.wDay = 31;
  right = SystemTimeToFileTime(&day, &units);
  printf(", none %d %lu\n", right, last());
}

static void heaps(void) {
  HANDLE heap = HeapCreate(0, 0, 0);
  char* block = HeapAlloc(heap, HEAP_ZERO_MEMORY, 100);
  int sum = 0;
  for (int i = 0; i < 100; ++i) sum += block[i];
  memset(block, 7, 100);
  block = HeapReAlloc(heap, HEAP_ZERO_MEMORY, block, 300);
  printf("heap %d %d %d %d", sum, block[99], block[100], (int)HeapSize(heap, 0, block));
  printf(", valid %d %d", HeapValidate(heap, 0, block), HeapValidate(heap, 0, NULL));
  printf(", freed %d", HeapFree(heap, 0, block));
  HeapAlloc(heap, 0, 50000);
  printf(", destroyed %d\n", HeapDestroy(heap));
}

/* As programs ask for the words of an error: the last one as libstdc++. */
static void messages(void) {
  static const DWORD kinds[] = {FORMAT_MESSAGE_IGNORE_INSERTS, FORMAT_MESSAGE_MAX_WIDTH_MASK, 0};
  for (int i = 0; i < 3; ++i) {
    char* text = NULL;
    DWORD length =
        FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | kinds[i], NULL,
                       ERROR_DISK_FULL, 0, (char*)&text, 0, NULL);
    printf("message %d", length > 5 && length == strlen(text) && isspace(text[length - 1]));
    printf(" %s\n", LocalFree(text) ? "kept" : "freed");
  }
}

static void temporary_folders(void) {
  char folder[MAX_PATH], own[MAX_PATH];
  SetEnvironmentVariableA("TMP", "missing");
  SetEnvironmentVariableA("TEMP", ".");
  for (int i = 0; i < 2; ++i) {
    GetFullPathNameA(i == 0 ? "missing\\" : ".\\", sizeof own, own, NULL);
    printf("temporary folder %d\n",
           GetTempPathA(sizeof folder, folder) == strlen(folder) && strcmp(folder, own) == 0);
    SetEnvironmentVariableA("TMP", NULL);
  }
  SetEnvironmentVariableA("TEMP", NULL);
}

static CRITICAL_SECTION section;
static DWORD slot;
static int shared, tried;

static DWORD WINAPI add(LPVOID times) {
  TlsSetValue(slot, times);
  for (int i = 0; i < *(int*)times; ++i) {
    EnterCriticalSection(&section);
    EnterCriticalSection(&section);
    ++shared;
    LeaveCriticalSection(&section);
    LeaveCriticalSection(&section);
  }
  tried = TryEnterCriticalSection(&section);
  if (tried) LeaveCriticalSection(&section);
  ExitThread(TlsGetValue(slot) == times);
}

static DWORD waited[2];

static DWORD WINAPI keep(LPVOID mutex) {
  waited[waited[0] != 0] = WaitForSingleObject(mutex, waited[0] != 0 ? INFINITE : 0);
  return 0;
}

static void mutexes(void) {
  HANDLE mutex = CreateMutexW(NULL, TRUE, NULL),
         both[] = {CreateEventA(NULL, TRUE, FALSE, NULL), mutex};
  DWORD entered = WaitForSingleObjectEx(mutex, INFINITE, FALSE);
  for (int i = 0; i < 2; ++i) {
    HANDLE thread = CreateThread(NULL, 0, keep, mutex, 0, NULL);
    if (i == 1) Sleep(20), ReleaseMutex(mutex), ReleaseMutex(mutex);
    WaitForSingleObject(thread, INFINITE);
  }
  BOOL twice = ReleaseMutex(mutex);
  DWORD why = last();
  printf("mutex %lu %lu %lu, not owned %d %lu", entered, waited[0], waited[1], twice, why);
  printf(", abandoned %lx", WaitForMultipleObjects(2, both, FALSE, 1000));
  printf(", released %d\n", ReleaseMutex(mutex));
  CloseHandle(mutex);
}

static char called[8];

static void CALLBACK note(ULONG_PTR letter) {
  called[strlen(called)] = (char)letter;
  if (letter == 'a') QueueUserAPC(note, GetCurrentThread(), 'z');
}

static DWORD WINAPI wait_alertably(LPVOID events) {
  SetEvent(((HANDLE*)events)[0]);
  return WaitForSingleObjectEx(((HANDLE*)events)[1], 10000, TRUE);
}

static void queued_calls(void) {
  HANDLE event = CreateEventA(NULL, TRUE, FALSE, NULL), all[] = {event, GetCurrentProcess()};
  QueueUserAPC(note, GetCurrentThread(), 'a');
  QueueUserAPC(note, GetCurrentThread(), 'b');
  DWORD plain = WaitForSingleObject(event, 10), slept = SleepEx(INFINITE, TRUE);
  printf("calls %lx %lx %s", plain, slept, called);
  SetEvent(event);
  QueueUserAPC(note, GetCurrentThread(), 'c');
  DWORD there = WaitForSingleObjectEx(event, 10, TRUE);
  printf(", object first %lx %s", there, called);
  DWORD both = WaitForMultipleObjectsEx(2, all, TRUE, 5000, TRUE), none = SleepEx(10, TRUE);
  printf(", all %lx %s, none %lx\n", both, called, none);
  HANDLE events[] = {event, CreateEventW(NULL, TRUE, FALSE, NULL)};
  ResetEvent(event);
  HANDLE thread = CreateThread(NULL, 0, wait_alertably, events, CREATE_SUSPENDED, NULL);
  QueueUserAPC(note, thread, 'd');
  ResumeThread(thread);
  WaitForSingleObject(event, INFINITE);
  QueueUserAPC(note, thread, 'e');
  WaitForSingleObject(thread, INFINITE);
  GetExitCodeThread(thread, &slept);
  BOOL late = QueueUserAPC(note, thread, 'f');
  printf("of a thread %lx %s, ended %d %lu\n", slept, called, late, last());
}

static void machine(void) {
  char name[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD size = sizeof name, small = 1;
  BOOL named = GetComputerNameA(name, &size), cut = GetComputerNameA(name, &small);
  printf("computer %d %d, cut %d %lu %d\n", named, strlen(name) == size, cut, last(),
         small == size + 1);
}

static void threads(void) {
  int times = 50000;
  slot = TlsAlloc();
  InitializeCriticalSection(&section);
  HANDLE made[2] = {CreateThread(NULL, 0, add, &times, 0, NULL),
                    CreateThread(NULL, 0, add, &times, 0, NULL)};
  for (int i = 0; i < 2; ++i) WaitForSingleObject(made[i], INFINITE);
  EnterCriticalSection(&section);
  HANDLE third = CreateThread(NULL, 0, add, &(int){0}, 0, NULL);
  WaitForSingleObject(third, INFINITE);
  printf("threads %d, taken by another %d, own slot %d\n", shared, tried,
         TlsGetValue(slot) == NULL);
  LeaveCriticalSection(&section);
  DeleteCriticalSection(&section);
}

static SRWLOCK place = SRWLOCK_INIT, shared_place = SRWLOCK_INIT;
static CONDITION_VARIABLE filled = CONDITION_VARIABLE_INIT, emptied = CONDITION_VARIABLE_INIT;
static INIT_ONCE once = INIT_ONCE_STATIC_INIT;
static int goods, taken_goods, initialised;
static volatile LONG sharers;

static BOOL CALLBACK initialise(PINIT_ONCE cell, PVOID parameter, PVOID* context) {
  Sleep(20);
  *context = parameter;
  return ++initialised > 1;  // the first time fails
}

static DWORD WINAPI consume(LPVOID count) {
  PVOID context = NULL;
  InitOnceExecuteOnce(&once, initialise, &once, &context);
  InitOnceExecuteOnce(&once, initialise, &once, &context);
  for (int i = 0; i < *(int*)count; ++i) {
    AcquireSRWLockExclusive(&place);
    while (goods == 0) SleepConditionVariableSRW(&filled, &place, INFINITE, 0);
    --goods;
    ++taken_goods;
    WakeConditionVariable(&emptied);
    ReleaseSRWLockExclusive(&place);
  }
  AcquireSRWLockShared(&shared_place);
  InterlockedIncrement(&sharers);
  for (int i = 0; i < 2000 && sharers < 3; ++i) Sleep(1);
  ReleaseSRWLockShared(&shared_place);
  return context == &once;
}

static void light_locks(void) {
  int each = 2000;
  HANDLE consumers[3];
  DWORD result, sum = 0;
  for (int i = 0; i < 3; ++i) consumers[i] = CreateThread(NULL, 0, consume, &each, 0, NULL);
  for (int i = 0; i < 3 * each; ++i) {
    AcquireSRWLockExclusive(&place);
    while (goods == 4) SleepConditionVariableSRW(&emptied, &place, INFINITE, 0);
    ++goods;
    WakeAllConditionVariable(&filled);
    ReleaseSRWLockExclusive(&place);
  }
  for (int i = 0; i < 3; ++i) {
    WaitForSingleObject(consumers[i], INFINITE);
    GetExitCodeThread(consumers[i], &result);
    sum += result;
  }
  printf("goods %d, initialised %d for %lu, shared by %ld", taken_goods, initialised, sum, sharers);
  BOOL free_lock = TryAcquireSRWLockExclusive(&place), held = TryAcquireSRWLockShared(&place);
  printf(", free %d, held %d", free_lock, held);
  InitializeCriticalSectionEx(&section, 0, 0);
  EnterCriticalSection(&section);
  BOOL woken = SleepConditionVariableCS(&filled, &section, 10);
  printf(", timed out %d %lu\n", !woken, last());
  LeaveCriticalSection(&section);
}

static volatile LONG turns;

static DWORD WINAPI turn(LPVOID limit) {
  while (turns >= 0) {
    ++turns;
  }
  return (DWORD)(ULONG_PTR)limit;
}

static DWORD WINAPI post(LPVOID semaphore) {
  Sleep(20);
  ReleaseSemaphore(semaphore, 2, NULL);
  return 0;
}

static void waits(void) {
  HANDLE kept = CreateEventA(NULL, TRUE, TRUE, NULL),
         taken = CreateEventA(NULL, FALSE, FALSE, NULL);
  HANDLE counted = CreateSemaphoreA(NULL, 1, 3, NULL);
  HANDLE all[] = {kept, taken, counted};
  DWORD first = WaitForMultipleObjects(3, all, FALSE, 0);
  DWORD not_all = WaitForMultipleObjects(3, all, TRUE, 10);
  SetEvent(taken);
  DWORD at_once = WaitForMultipleObjects(3, all, TRUE, 0);
  DWORD emptied = WaitForMultipleObjects(2, all + 1, FALSE, 0);
  printf("any %lu, all %lu then %lu, taken %lu\n", first, not_all, at_once, emptied);
  ResetEvent(kept);
  HANDLE poster = CreateThread(NULL, 0, post, counted, 0, NULL);
  HANDLE mixed[] = {GetCurrentProcess(), kept, counted};
  DWORD posted = WaitForMultipleObjects(3, mixed, FALSE, INFINITE);
  LONG before = -1;
  BOOL released = ReleaseSemaphore(counted, 2, &before);
  printf("posted %lu, released %d after %ld", posted, released, before);
  BOOL over = ReleaseSemaphore(counted, 1, NULL);
  printf(", over %d %lu", over, last());
  HANDLE bad[] = {kept, poster, (HANDLE)0x7777};
  DWORD no_handle = WaitForMultipleObjects(3, bad, FALSE, 0);
  printf(", no handle %lx %lu", no_handle, last());
  HANDLE none = CreateSemaphoreA(NULL, 2, 1, NULL);
  printf(", no semaphore %d %lu\n", none != NULL, last());
  DWORD flags = 9;
  BOOL known = GetHandleInformation(counted, &flags),
       unknown = GetHandleInformation(bad[2], &flags);
  printf("information %d %lu, %d %lu\n", known, flags, unknown, last());
}

static void suspended_threads(void) {
  DWORD id, code = 0;
  HANDLE runner = CreateThread(NULL, 0, turn, (LPVOID)7, CREATE_SUSPENDED, &id), copy, self;
  DuplicateHandle(GetCurrentProcess(), runner, GetCurrentProcess(), &copy, 0, FALSE,
                  DUPLICATE_SAME_ACCESS);
  Sleep(10);
  LONG still = turns;
  DWORD once = SuspendThread(copy), twice = ResumeThread(runner), resumed = ResumeThread(runner);
  while (turns < 1000) Sleep(1);
  DWORD stopped = SuspendThread(runner);
  LONG then = turns;
  Sleep(20);
  CONTEXT registers = {.ContextFlags = CONTEXT_FULL};
  BOOL told = GetThreadContext(runner, &registers);
  char* program = (char*)GetModuleHandleW(NULL);
  printf("suspended %ld %lu %lu %lu %lu %d, in the program %d\n", still, once, twice, resumed,
         stopped, turns == then,
         told && (char*)registers.Rip > program && (char*)registers.Rip < program + 0x1000000);
  BOOL set = SetThreadContext(runner, &registers);
  GetExitCodeThread(runner, &code);
  ResumeThread(runner);
  turns = -1000000000;
  DWORD ended = WaitForSingleObject(copy, INFINITE), running = code;
  GetExitCodeThread(copy, &code);
  DWORD refused = SuspendThread(copy);
  printf("set %d, running %lu, ended %lu with %lu, suspended then %lx %lu\n", set, running, ended,
         code, refused, last());
  DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &self, 0, FALSE,
                  DUPLICATE_SAME_ACCESS);
  BOOL lower = SetThreadPriority(self, THREAD_PRIORITY_LOWEST);
  FILETIME created, end, kernel, user;
  printf("own handle: waits %lu, priority %d %d, times %d\n", WaitForSingleObject(self, 0), lower,
         GetThreadPriority(GetCurrentThread()),
         GetThreadTimes(self, &created, &end, &kernel, &user));
}

static LONG CALLBACK pass_named(EXCEPTION_POINTERS* exception) {
  return exception->ExceptionRecord->ExceptionCode == 0x406D1388 ? EXCEPTION_CONTINUE_EXECUTION
                                                                 : EXCEPTION_CONTINUE_SEARCH;
}

static void process(void) {
  void* handler = AddVectoredExceptionHandler(1, pass_named);
  RaiseException(0x406D1388, 0, 0, NULL);
  ULONG once = RemoveVectoredExceptionHandler(handler);
  printf("handler passed, removed %lu %lu\n", once, RemoveVectoredExceptionHandler(handler));
  DWORD_PTR usable, present;
  BOOL told = GetProcessAffinityMask(GetCurrentProcess(), &usable, &present);
  BOOL set = SetProcessAffinityMask(GetCurrentProcess(), usable);
  BOOL none = SetProcessAffinityMask(GetCurrentProcess(), 0);
  printf("processors %d %d %d, none %d %lu\n", told, set, (usable & ~present) == 0, none, last());
  SYSTEMTIME time = {2024, 2, 0, 29, 12, 30, 15, 250}, back;
  FILETIME packed;
  BOOL made = SystemTimeToFileTime(&time, &packed);
  FileTimeToSystemTime(&packed, &back);
  printf("time %d %08lx%08lx %d", made, packed.dwHighDateTime, packed.dwLowDateTime,
         back.wDayOfWeek);
  time.wMonth = 13;
  BOOL no_month = SystemTimeToFileTime(&time, &packed);
  printf(", no such month %d %lu\n", no_month, last());
  TIME_ZONE_INFORMATION zone;
  DWORD season = GetTimeZoneInformation(&zone);
  LONG bias = zone.Bias + (season == TIME_ZONE_ID_DAYLIGHT ? zone.DaylightBias : 0);
  struct timeval now;
  gettimeofday(&now, NULL);
  time_t seconds = now.tv_sec;
  struct tm utc = *gmtime(&seconds), here = *localtime(&seconds);
  utc.tm_isdst = here.tm_isdst;
  printf("zone %d %d\n", season <= TIME_ZONE_ID_DAYLIGHT,
         mktime(&utc) - mktime(&here) == bias * 60);
}

static void memory(void) {
  char* pages = VirtualAlloc(NULL, 0x30000, MEM_RESERVE, PAGE_NOACCESS);
  MEMORY_BASIC_INFORMATION told;
  DWORD before;
  VirtualAlloc(pages + 0x10000, 0x2000, MEM_COMMIT, PAGE_READWRITE);
  VirtualQuery(pages + 5, &told, sizeof told);
  printf("reserved: %d %llx %lx", told.AllocationBase == pages, told.RegionSize, told.State);
  VirtualQuery(pages + 0x10005, &told, sizeof told);
  printf(", committed: %d %llx %lx %lx\n", told.BaseAddress == pages + 0x10000, told.RegionSize,
         told.State, told.Protect);
  VirtualProtect(pages + 0x10000, 0x1000, PAGE_READONLY, &before);
  VirtualQuery(pages + 0x10000, &told, sizeof told);
  printf("protected: was %lx, now %lx of %llx\n", before, told.Protect, told.RegionSize);
  VirtualFree(pages, 0, MEM_RELEASE);
  VirtualQuery(pages, &told, sizeof told);
  printf("freed: %lx\n", told.State);

  // As allocators that look for errors do: each page becomes a mapping of the system's.
  enum { kGuards = 16000 };
  static char* guards[kGuards];
  int was_writable = 0, was_guarded = 0;
  HANDLE heap = HeapCreate(0, 0, 0);
  for (int i = 0; i < kGuards; ++i) {
    guards[i] = (char*)(((uintptr_t)HeapAlloc(heap, 0, 0x2000) + 0xfff) & ~(uintptr_t)0xfff);
    VirtualProtect(guards[i], 0x1000, PAGE_NOACCESS, &before);
    was_writable += before == PAGE_READWRITE;
  }
  for (int i = 0; i < kGuards; ++i) {
    VirtualProtect(guards[i], 0x1000, PAGE_READWRITE, &before);
    was_guarded += before == PAGE_NOACCESS;
  }
  printf("guarded: %d %d\n", was_writable, was_guarded);
  HeapDestroy(heap);
}

static void characters(void) {
  WCHAR wide[20];
  char bytes[20];
  int count = MultiByteToWideChar(CP_UTF8, 0, "gr\xc3\xb6\xf0\x9f\x98\x80", -1, wide, 20);
  printf("wide %d %x %x %x", count, wide[2], wide[3], wide[4]);
  int back = WideCharToMultiByte(CP_UTF8, 0, wide, -1, bytes, 20, NULL, NULL);
  printf(", back %d %02x, needed %d", back, (unsigned char)bytes[2],
         MultiByteToWideChar(CP_UTF8, 0, "abc", 3, NULL, 0));
  int small = MultiByteToWideChar(CP_UTF8, 0, "abc", 3, wide, 2);
  printf(", small %d %lu", small, last());
  int invalid = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, "\xff", 1, wide, 2);
  printf(", invalid %d %lu\n", invalid, last());
}

/* What the portability layers of GNU programs ask of the system before main. */
static BOOL CALLBACK count_locale(LPSTR number) { return strtoul(number, NULL, 16) != 0; }

static void portability(void) {
  typedef NTSTATUS(WINAPI * Random)(void*, BYTE*, ULONG, ULONG);
  typedef BOOLEAN(WINAPI * OldRandom)(void*, ULONG);
  CPINFO page;
  OSVERSIONINFOEXA version = {.dwOSVersionInfoSize = sizeof version};
  BOOL told = GetCPInfo(CP_UTF8, &page), unknown = GetCPInfo(5, &page);
  printf("page %d %u, unknown %d %lu", told, page.MaxCharSize, unknown, last());
  BOOL known = GetVersionExA((OSVERSIONINFOA*)&version);
  printf(", version %d %d %d %d\n", known,
         MAKEWORD(version.dwMajorVersion, version.dwMinorVersion) == LOWORD(GetVersion()),
         version.dwBuildNumber == HIWORD(GetVersion()), version.wProductType);
  char language[40], small[3];
  LCID here = GetThreadLocale();
  int length = GetLocaleInfoA(here, LOCALE_SENGLANGUAGE | LOCALE_NOUSEROVERRIDE, language, 40);
  int needed = GetLocaleInfoA(here, LOCALE_SISO639LANGNAME, NULL, 0);
  int no_room = GetLocaleInfoA(here, LOCALE_SENGCOUNTRY, small, 3);
  printf("locale %lx %d %s %d %d %lu %d\n", here, length, language, needed, no_room, last(),
         EnumSystemLocalesA(count_locale, LCID_SUPPORTED));
  BYTE random[16] = {0}, others[16] = {0};
  Random generate = (Random)GetProcAddress(LoadLibraryA("bcrypt"), "BCryptGenRandom");
  OldRandom fill = (OldRandom)GetProcAddress(LoadLibraryA("advapi32.dll"), "SystemFunction036");
  NTSTATUS refused = generate(NULL, random, 16, 0), made = generate(NULL, random, 16, 2);
  BOOLEAN filled = fill(others, 16);
  printf("random %lx %lx %d, differ %d", refused, made, filled, memcmp(random, others, 16) != 0);
  HCRYPTPROV context = 0;
  BOOL keys = CryptAcquireContextA(&context, "no such", NULL, PROV_RSA_FULL, 0);
  printf(", keys %d %lx", keys, last());
  BOOL acquired = CryptAcquireContextA(&context, NULL, NULL, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT);
  BOOL generated = CryptGenRandom(context, 16, random), released = CryptReleaseContext(context, 0);
  printf(", context %d %d %d, differ %d\n", acquired, generated, released,
         memcmp(random, others, 16) != 0);
  HANDLE from, to, file = CreateFileA("p.tmp", GENERIC_READ, 0, NULL, CREATE_ALWAYS, 0, NULL);
  DWORD copied, waiting, count;
  CreatePipe(&from, &to, NULL, 0);
  BOOL empty = PeekNamedPipe(from, NULL, 0, NULL, &waiting, NULL);
  printf("peek %d %lu", empty, waiting);
  WriteFile(to, "hello", 5, &count, NULL);
  BOOL peeked = PeekNamedPipe(from, language, 3, &copied, &waiting, NULL);
  printf(", %d %lu %.3s %lu", peeked, copied, language, waiting);
  ReadFile(from, language, 40, &count, NULL);
  CloseHandle(to);
  BOOL ended = PeekNamedPipe(from, NULL, 0, NULL, &waiting, NULL);
  printf(", left %lu, ended %d %lu", count, ended, last());
  BOOL of_file = PeekNamedPipe(file, NULL, 0, NULL, &waiting, NULL);
  printf(", file %d %lu\n", of_file, last());
  CloseHandle(file);
  CloseHandle(from);
  DeleteFileA("p.tmp");
}

/* Children whose program and folder are arguments of their own: this program, by its path. */
static void children(void) {
  char self[300], line[] = "other 'name' \"two words\"", kept[300] = "";
  DWORD count = 0, status = 0;
  HANDLE from, to;
  GetModuleFileNameA(NULL, self, sizeof self);
  CreateDirectoryA("folder", NULL);
  CreatePipe(&from, &to, NULL, 0);
  SetHandleInformation(to, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  STARTUPINFOA start = {.cb = sizeof start, .dwFlags = STARTF_USESTDHANDLES, .hStdOutput = to};
  PROCESS_INFORMATION child;
  BOOL lost = CreateProcessA(self, line, NULL, NULL, TRUE, 0, NULL, "nowhere", &start, &child);
  printf("child: lost %d %lu", lost, last());
  BOOL missing =
      CreateProcessA("missing.exe", line, NULL, NULL, TRUE, 0, NULL, NULL, &start, &child);
  printf(", missing %d %lu", missing, last());
  BOOL started = CreateProcessA(self, line, NULL, NULL, TRUE, CREATE_NO_WINDOW, NULL, "folder",
                                &start, &child);
  CloseHandle(to);
  WaitForSingleObject(child.hProcess, INFINITE);
  GetExitCodeProcess(child.hProcess, &status);
  ReadFile(from, kept, sizeof kept - 1, &count, NULL);
  printf(", started %d, ended %lu: %.*s\n", started, status, (int)strcspn(kept, "\r"), kept);
  CloseHandle(child.hProcess);
  CloseHandle(child.hThread);
  CloseHandle(from);
  HANDLE process = GetCurrentProcess();
  BOOL lowered = SetPriorityClass(process, BELOW_NORMAL_PRIORITY_CLASS);
  DWORD low = GetPriorityClass(process);
  BOOL unknown = SetPriorityClass(process, 3);
  printf("priority %d %lx, unknown %d %lu", lowered, low, unknown, last());
  CloseHandle(CreateFileA("old.tmp", GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, 0, NULL));
  HANDLE lock = CreateMutexA(NULL, TRUE, NULL);
  BOOL unlocked = ReleaseMutex(lock), again = ReleaseMutex(lock);
  printf(", mutex %d %d %lu, moved %d\n", unlocked, again, last(), MoveFileA("old.tmp", "new.tmp"));
  CloseHandle(lock);
  DeleteFileA("new.tmp");
}

static int child(int argc, char** argv) {
  char folder[300];
  GetCurrentDirectoryA(sizeof folder, folder);
  printf("%s %s %s in %s\n", argv[0], argv[1], argv[2], strrchr(folder, '\\') + 1);
  return argc;
}

int main(int argc, char** argv) {
  if (argc > 1) return child(argc, argv);
  last();
  files();
  parts_of_files();
  heaps();
  messages();
  temporary_folders();
  mutexes();
  queued_calls();
  machine();
  threads();
  light_locks();
  waits();
  suspended_threads();
  process();
  memory();
  characters();
  portability();
  children();
  char* strings = GetEnvironmentStrings();
  LARGE_INTEGER a, b, per_second;
  QueryPerformanceFrequency(&per_second);
  QueryPerformanceCounter(&a);
  Sleep(20);
  QueryPerformanceCounter(&b);
  FILETIME created, created_again, ended, kernel, user;
  printf("environment %d, clock %d, times %d\n", strings[0] != 0,
         (b.QuadPart - a.QuadPart) * 1000 / per_second.QuadPart >= 15,
         GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user) &&
             GetProcessTimes(GetCurrentProcess(), &created_again, &ended, &kernel, &user) &&
             memcmp(&created, &created_again, sizeof created) == 0);
  FreeEnvironmentStringsA(strings);
  HANDLE before = GetStdHandle(STD_OUTPUT_HANDLE);
  SetStdHandle(STD_OUTPUT_HANDLE, GetStdHandle(STD_ERROR_HANDLE));
  printf("standard handle replaced %d\n", GetStdHandle(STD_OUTPUT_HANDLE) != before);
  return 0;
}
