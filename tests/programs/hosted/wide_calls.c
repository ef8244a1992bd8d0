/* The system's routines that take names in UTF-16 and those with an Ex at the end: the same
 * results and last errors on both targets. */
#include <stdio.h>
#include <string.h>
#include <wchar.h>
#include <windows.h>

#include <shellapi.h>

static WCHAR wide[6000];
static char bytes[6000];

static DWORD last(void) {
  DWORD code = GetLastError();
  SetLastError(0);
  return code;
}

/* The result of a call, and the last error if it is 0. */
static void show(const char* what, long long result) {
  printf("%s %lld", what, result);
  if (result == 0) printf(" error %lu", GetLastError());
  SetLastError(0);
}

static int ends_with(const WCHAR* text, const WCHAR* end) {
  size_t length = wcslen(text), tail = wcslen(end);
  return length >= tail && wcscmp(text + length - tail, end) == 0;
}

static void modules(void) {
  DWORD length = GetModuleFileNameW(NULL, wide, 300);
  printf("own name %d", length == wcslen(wide) && ends_with(wide, L"\\hosted_wide_calls.exe"));
  DWORD cut = GetModuleFileNameW(NULL, wide, 5);
  printf(", cut %lu %lu", cut, last());
  show(", no module", GetModuleFileNameW((HMODULE)0x77770000, wide, 300));
  show(", no library", LoadLibraryExW(L"gr\u00f6\u00dfe.dll", NULL, 0) != NULL);
  HMODULE system = LoadLibraryExW(L"kernel32.dll", NULL, 0);
  printf(", system %d\n", system && system == GetModuleHandleW(L"KERNEL32"));
}

static void variables(void) {
  show("set", SetEnvironmentVariableW(L"TARN_WIDE", L"gr\u00f6\u00dfe"));
  DWORD length = GetEnvironmentVariableW(L"TARN_WIDE", wide, 300);
  printf(", read %lu %d", length, wcscmp(wide, L"gr\u00f6\u00dfe") == 0);
  printf(", needed %lu", GetEnvironmentVariableW(L"TARN_WIDE", wide, 5));
  int found = 0;
  WCHAR* strings = GetEnvironmentStringsW();
  for (WCHAR* at = strings; *at; at += wcslen(at) + 1) {
    found += wcscmp(at, L"TARN_WIDE=gr\u00f6\u00dfe") == 0;
  }
  printf(", listed %d %d", found, FreeEnvironmentStringsW(strings));
  for (int i = 0; i < 5000; ++i) wide[i] = L'\u00e4';
  wide[5000] = 0;
  SetEnvironmentVariableW(L"TARN_WIDE", wide);
  printf(", long %lu\n", GetEnvironmentVariableW(L"TARN_WIDE", wide, 6000));
  show("removed", SetEnvironmentVariableW(L"TARN_WIDE", NULL));
  show(", again", SetEnvironmentVariableW(L"TARN_WIDE", NULL));
  show(", then", GetEnvironmentVariableW(L"TARN_WIDE", wide, 300));
  show(", without name", SetEnvironmentVariableW(L"", L"x"));
  show(", null name", SetEnvironmentVariableW(NULL, L"x"));
  show(", wrong name", SetEnvironmentVariableW(L"a=b", L"x"));
  MultiByteToWideChar(CP_UTF8, 0, GetCommandLineA(), -1, wide, 6000);
  STARTUPINFOW start;
  GetStartupInfoW(&start);
  printf(", line %d %d, start %lu\n", wcscmp(wide, GetCommandLineW()) == 0,
         GetCommandLineW() == GetCommandLineW(), start.cb);
}

static void folders(void) {
  show("folder", CreateDirectoryW(L"d\u00e4", NULL));
  show(", again", CreateDirectoryW(L"d\u00e4", NULL));
  show(", nowhere", CreateDirectoryW(L"none\\d", NULL));
  SetCurrentDirectoryW(L"d\u00e4");
  DWORD length = GetCurrentDirectoryW(300, wide);
  printf(", in it %d", length == wcslen(wide) && ends_with(wide, L"\\d\u00e4"));
  printf(", needed %d\n", GetCurrentDirectoryW(3, wide) == length + 1);
  SetCurrentDirectoryW(L"..");
  UINT number = GetTempFileNameW(L"d\u00e4", L"\u00e4\u00f6\u00fc\u00df", 0x1ABCD, wide);
  printf("temporary %x %d", number,
         wcscmp(wide,
                L"d\u00e4\\\u00e4\u00f6\u00fc"
                L"abcd.tmp") == 0);
  number = GetTempFileNameW(L"d\u00e4", L"x", 0, wide);
  printf(", made %d %d", number != 0, DeleteFileW(wide));
  last();
  show(", nowhere", GetTempFileNameW(L"none", L"x", 1, wide));
  printf(", gone %d\n", RemoveDirectoryW(L"d\u00e4"));
}

static void make(const WCHAR* name, const char* text) {
  DWORD count;
  HANDLE file = CreateFileW(name, GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, 0, NULL);
  WriteFile(file, text, (DWORD)strlen(text), &count, NULL);
  const FILETIME day = {0x3ce9c350, 0x1da6aa2};
  SetFileTime(file, NULL, NULL, &day);
  CloseHandle(file);
}

static void copies(void) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  make(L"\u00e4.tmp", "hello");
  make(L"z.tmp", "longer text");
  CreateDirectoryW(L"d", NULL);
  show("copied", CopyFileW(L"\u00e4.tmp", L"\u00f6.tmp", TRUE));
  show(", onto", CopyFileW(L"\u00e4.tmp", L"\u00f6.tmp", TRUE));
  show(", replaced", CopyFileW(L"\u00e4.tmp", L"z.tmp", FALSE));
  GetFileAttributesExW(L"z.tmp", GetFileExInfoStandard, &data);
  printf(", size %lu time %lx", data.nFileSizeLow, data.ftLastWriteTime.dwHighDateTime);
  show(", missing", CopyFileW(L"none.tmp", L"y.tmp", FALSE));
  show(", nowhere", CopyFileA("z.tmp", "none\\y.tmp", FALSE));
  show(", itself", CopyFileA("z.tmp", "Z.TMP", FALSE));
  show(", a folder", CopyFileA("d", "y.tmp", FALSE));
  show(", onto a folder", CopyFileA("z.tmp", "d", FALSE));
  show(" or new", CopyFileA("z.tmp", "d", TRUE));
  printf("\n");
  show("read-only", SetFileAttributesW(L"z.tmp", FILE_ATTRIBUTE_READONLY));
  show(", missing", SetFileAttributesW(L"none.tmp", FILE_ATTRIBUTE_READONLY));
  show(", copied", CopyFileW(L"z.tmp", L"y.tmp", FALSE));
  printf(", too %d", (GetFileAttributesW(L"y.tmp") & FILE_ATTRIBUTE_READONLY) != 0);
  HANDLE held = CreateFileW(L"\u00e4.tmp", GENERIC_READ, 0, NULL, OPEN_EXISTING, 0, NULL);
  show(", held", CopyFileW(L"\u00e4.tmp", L"x.tmp", FALSE));
  CloseHandle(held);
  show(", moved", MoveFileW(L"\u00e4.tmp", L"x.tmp"));
  show(", gone", MoveFileW(L"\u00e4.tmp", L"x.tmp"));
  show(", onto another", MoveFileW(L"\u00f6.tmp", L"x.tmp"));
  SetFileAttributesW(L"z.tmp", FILE_ATTRIBUTE_NORMAL);
  SetFileAttributesW(L"y.tmp", FILE_ATTRIBUTE_NORMAL);
  printf(", left %d%d%d%d%d\n", DeleteFileW(L"x.tmp"), DeleteFileW(L"\u00f6.tmp"),
         DeleteFileW(L"y.tmp"), DeleteFileW(L"z.tmp"), RemoveDirectoryW(L"d"));
}

static void objects(void) {
  HANDLE mutex = CreateMutexExA(NULL, NULL, CREATE_MUTEX_INITIAL_OWNER, MUTEX_ALL_ACCESS);
  HANDLE free_one = CreateMutexExW(NULL, NULL, 0, MUTEX_ALL_ACCESS);
  BOOL owned = ReleaseMutex(mutex), other = ReleaseMutex(free_one);
  printf("mutex %d, free %d %lu", owned, other, last());
  HANDLE set = CreateEventExA(NULL, NULL, CREATE_EVENT_INITIAL_SET | CREATE_EVENT_MANUAL_RESET,
                              EVENT_ALL_ACCESS);
  HANDLE unset = CreateEventExW(NULL, NULL, 0, EVENT_ALL_ACCESS);
  DWORD first = WaitForSingleObject(set, 0), again = WaitForSingleObject(set, 0);
  printf(", event %lu %lu, unset %lu", first, again, WaitForSingleObject(unset, 0));
  SetEvent(unset);
  first = WaitForSingleObject(unset, 0);
  printf(" %lu %lu", first, WaitForSingleObject(unset, 0));
  HANDLE semaphore = CreateSemaphoreExA(NULL, 1, 2, NULL, 0, SEMAPHORE_ALL_ACCESS);
  HANDLE wide_one = CreateSemaphoreW(NULL, 0, 1, NULL);
  LONG before = -1;
  ReleaseSemaphore(semaphore, 1, &before);
  printf(", semaphore %ld %lu", before, WaitForSingleObject(wide_one, 0));
  show(", none", CreateSemaphoreExW(NULL, 3, 2, NULL, 0, SEMAPHORE_ALL_ACCESS) != NULL);
  SYSTEM_INFO seen, native;
  GetSystemInfo(&seen);
  GetNativeSystemInfo(&native);
  SwitchToThread();
  printf(", system %d\n", memcmp(&seen, &native, sizeof seen) == 0);
  HANDLE all[] = {mutex, free_one, set, unset, semaphore, wide_one};
  for (int i = 0; i < 6; ++i) CloseHandle(all[i]);
}

static void no_console(void) {
  DWORD count = 7;
  HANDLE out = GetStdHandle(STD_OUTPUT_HANDLE), in = GetStdHandle(STD_INPUT_HANDLE);
  show("no console: write", WriteConsoleW(out, L"x", 1, &count, NULL));
  show(", read", ReadConsoleW(in, wide, 10, &count, NULL));
  show(" ", ReadConsoleA(in, bytes, 10, &count, NULL));
  BOOL titled = SetConsoleTitleW(L"x");
  printf(", title %d %d", titled, last() != 0);
  printf("\n");
}

static void arguments(void) {
  static const WCHAR* const lines[] = {L"\"a b\"c d", L"a\\ \"b\\\\\" c\\\"d\" e\" f",
                                       L"a \"b\"\"c d\" e\"\"\" \"\"", L" a"};
  for (int i = 0; i < 4; ++i) {
    int count;
    LPWSTR* all = CommandLineToArgvW(lines[i], &count);
    printf("%d", count);
    for (int at = 0; at < count; ++at) printf(" [%ls]", all[at]);
    printf(all[count] == NULL ? "\n" : "?\n");
    LocalFree(all);
  }
  show("without count", CommandLineToArgvW(L"a", NULL) != NULL);
  int count;
  WCHAR self[300];
  GetModuleFileNameW(NULL, self, 300);
  LPWSTR* all = CommandLineToArgvW(L"", &count);
  printf(", empty %d %d\n", count, wcscmp(all[0], self));
  LocalFree(all);
}

typedef BOOL(WINAPI* IsRelative)(LPCWSTR);

static void full_paths(void) {
  IsRelative is_relative = (IsRelative)GetProcAddress(LoadLibraryA("shlwapi"), "PathIsRelativeW");
  printf("relative %d %d %d %d\n", is_relative(L"c:a"), is_relative(L"\\a"), is_relative(L"/a"),
         is_relative(L""));
  static const WCHAR* const paths[] = {L"C:\\a\\..\\b.txt", L"q:x/y. .", L"d:",
                                       L"//host/share/a/../b", L"\\\\host\\share"};
  for (int i = 0; i < 5; ++i) {
    WCHAR* part = NULL;
    DWORD length = GetFullPathNameW(paths[i], 300, wide, &part);
    printf("[%ls] %d %ls%s", wide, length == wcslen(wide), part ? part : L"-", i < 4 ? ", " : "\n");
  }
}

static void replaced(void) {
  char text[10] = "";
  DWORD count;
  const WCHAR* const names[] = {L"one.tmp", L"tw\u00f6.tmp"};
  for (int i = 0; i < 2; ++i) {
    HANDLE file = CreateFileW(names[i], GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, 0, NULL);
    WriteFile(file, i == 0 ? "1" : "2", 1, &count, NULL);
    CloseHandle(file);
  }
  show("replaced", ReplaceFileW(names[0], names[1], L"k\u00e9pt.tmp", 0, NULL, NULL));
  for (int i = 0; i < 2; ++i) {
    HANDLE file = CreateFileW(i == 0 ? names[0] : L"k\u00e9pt.tmp", GENERIC_READ, 0, NULL,
                              OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE, NULL);
    ReadFile(file, text + i, 1, &count, NULL);
    CloseHandle(file);
  }
  printf(" %s", text);
  show(", gone", GetFileAttributesW(names[1]) != INVALID_FILE_ATTRIBUTES);
  show(", missing", ReplaceFileW(names[0], names[1], NULL, 0, NULL, NULL));
  printf("\n");
}

static void children(void) {
  WCHAR self[300], line[] = L"other gr\u00f6\u00dfe", block[] = L"TARN_CHILD=\u00e4\0";
  DWORD count = 0, status = 0;
  HANDLE from, to;
  GetModuleFileNameW(NULL, self, 300);
  CreateDirectoryW(L"f\u00f6lder", NULL);
  CreatePipe(&from, &to, NULL, 0);
  SetHandleInformation(to, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  STARTUPINFOW start = {.cb = sizeof start, .dwFlags = STARTF_USESTDHANDLES, .hStdOutput = to};
  PROCESS_INFORMATION child;
  show("child: missing",
       CreateProcessW(L"none.exe", line, NULL, NULL, TRUE, 0, NULL, NULL, &start, &child));
  BOOL started = CreateProcessW(self, line, NULL, NULL, TRUE, CREATE_UNICODE_ENVIRONMENT, block,
                                L"f\u00f6lder", &start, &child);
  CloseHandle(to);
  WaitForSingleObject(child.hProcess, INFINITE);
  GetExitCodeProcess(child.hProcess, &status);
  memset(bytes, 0, sizeof bytes);
  ReadFile(from, bytes, sizeof bytes - 1, &count, NULL);
  printf(", started %d, ended %lu: %.*s\n", started, status, (int)strcspn(bytes, "\r"), bytes);
  CloseHandle(child.hProcess);
  CloseHandle(child.hThread);
  CloseHandle(from);
}

static int child(char** argv) {
  char folder[300];
  GetCurrentDirectoryA(sizeof folder, folder);
  DWORD length = GetEnvironmentVariableW(L"TARN_CHILD", wide, 300);
  printf("%s %s in %s, %lu %x\n", argv[0], argv[1], strrchr(folder, '\\') + 1, length, wide[0]);
  return 5;
}

int main(int argc, char** argv) {
  if (argc > 1) return child(argv);
  last();
  modules();
  variables();
  folders();
  copies();
  objects();
  no_console();
  arguments();
  full_paths();
  replaced();
  children();
  return 0;
}
