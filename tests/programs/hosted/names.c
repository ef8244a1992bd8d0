/* What the cross compiler's headers and libraries lack of ISO C, and names of Windows' C
 * run-time that programs use. */
#include <complex.h>
#include <corecrt_startup.h>
#include <ctype.h>
#include <direct.h>
#include <errno.h>
#include <fcntl.h>
#include <io.h>
#include <locale.h>
#include <malloc.h>
#include <process.h>
#include <search.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/locking.h>
#include <sys/stat.h>
#include <time.h>
#include <uchar.h>
#include <unistd.h>
#include <wchar.h>

/* A program may have one of ISO C's names for itself, and use those beside it. */
void* memcpy(void* restrict to, const void* restrict from, size_t size) {
  volatile char* at = to;
  for (const char* next = from; size > 0; --size) *at++ = *next++;
  return to;
}

static void unicode(void) {
  setlocale(LC_ALL, "C.UTF-8");
  mbstate_t state = {0};
  char16_t half;
  char32_t code = 7;
  char bytes[8];
  const char text[] = "\xF0\x9F\x98\x80";
  int high = (int)mbrtoc16(&half, text, 4, &state), part = half;
  int low = (int)mbrtoc16(&half, "x", 1, &state);
  printf("16: %d %x, %d %x", high, part, low, half);
  int first = (int)c16rtomb(bytes, (char16_t)part, &state);
  int rest = (int)c16rtomb(bytes, half, &state);
  printf(", back %d %d %d\n", first, rest, memcmp(bytes, text, 4));
  int cut = (int)mbrtoc32(&code, text, 2, &state), end = (int)mbrtoc32(&code, text + 2, 2, &state);
  printf("32: %d %d %lx, %d, surrogate %d\n", cut, end, (long)code,
         (int)c32rtomb(bytes, code, NULL), (int)c32rtomb(bytes, 0xD800, NULL));
}

static void blocks(void) {
  char* block = aligned_alloc(4096, 100);
  int place = (int)((size_t)block % 4096);
  memset(block, 'a', 100);
  block = realloc(block, 5000);
  printf("aligned %d, moved %c, ", place, block[99]);
  free(block);
  free(aligned_alloc(64, 1));
  printf("none %d", aligned_alloc(3, 8) == NULL);
  block = _aligned_offset_malloc(50, 64, 5);
  place = (int)((size_t)(block + 5) % 64);
  memset(block, 'b', 50);
  block = _aligned_offset_recalloc(block, 2, 50, 256, 13);
  printf(", offset %d %d, %c %d", place, (int)((size_t)(block + 13) % 256), block[49], block[50]);
  _aligned_free(block);
  printf(", beyond %d\n", _aligned_offset_malloc(5, 64, 5) == NULL);
}

static int order(void* context, const void* left, const void* right) {
  ++*(int*)context;
  return *(const int*)left - *(const int*)right;
}
static int plain(const void* left, const void* right) {
  return *(const int*)left - *(const int*)right;
}

static void checked(void) {
  char text[8] = "ab", *place;
  wchar_t wide[6] = L"wx";
  size_t size = 7;
  int copied = strcpy_s(text, 3, "abc"), empty = text[0];
  int part = strncpy_s(text, 8, "abcdef", 3), more = strcat_s(text, 8, "12345");
  printf("copy %d %d, %d %d", copied, empty, part, more);
  strcpy_s(text, 8, "abcd");
  int cut = strncat_s(text, 8, "123456", _TRUNCATE);
  printf(", cut %d %s, upper %d %s\n", cut, text, _strupr_s(text, 8), text);
  char list[] = ",a,,b";
  const char* first = strtok_s(list, ",", &place);
  const char* second = strtok_s(NULL, ",", &place);
  printf("tokens %s %s %d\n", first, second, strtok_s(NULL, ",", &place) == NULL);
  int full = wcscat_s(wide, 6, L"yzab"), none = wide[0];
  int to_wide = mbstowcs_s(&size, wide, 6, "abcdefg", _TRUNCATE);
  printf("wide %d %d, %d %d %ls", full, none, to_wide, (int)size, wide);
  int to_bytes = wcstombs_s(&size, text, 3, L"abc", 2);
  printf(", %d %d %s", to_bytes, (int)size, text);
  to_bytes = wcstombs_s(&size, NULL, 0, L"abc", 0);
  printf(", %d %d", to_bytes, (int)size);
  to_bytes = wcstombs_s(&size, text, 3, L"abc", 5);
  printf(", %d %d\n", to_bytes, text[0]);
  int number = _itoa_s(-12, text, 8, 10), long_one = _itoa_s(123456, text, 4, 10);
  printf("number %d %d %d", number, long_one, text[0]);
  long_one = sprintf_s(text, 4, "%d", 12345);
  int kept = text[0], cut_format = _snprintf_s(text, 8, _TRUNCATE, "%s", "123456789");
  printf(", format %d %d, %d %s", long_one, kept, cut_format, text);
  int short_format = _snprintf_s(text, 8, 3, "%s", "abcdef");
  printf(", %d %s\n", short_format, text);
  int values[] = {5, 1, 4}, calls = 0, key = 4;
  unsigned count = 3;
  qsort_s(values, 3, sizeof(int), order, &calls);
  int* found = bsearch_s(&key, values, 3, sizeof(int), order, &calls);
  printf("sorted %d%d%d, found %d, calls %d", values[0], values[1], values[2],
         (int)(found - values), calls > 3);
  int room[4] = {5, 1, 4};
  key = 9;
  _lsearch(&key, room, &count, sizeof(int), plain);
  key = 8;
  printf(", last %d of %u, none %d\n", room[3], count,
         _lfind(&key, room, &count, sizeof(int), plain) == NULL);
  _putenv("TARN_NAMES=value");
  getenv_s(&size, text, 8, "TARN_NAMES");
  char* copy;
  int missing = getenv_s(&size, text, 8, "TARN_NONE");
  printf("variable %d %d %d", missing, (int)size, text[0]);
  missing = getenv_s(&size, text, 3, "TARN_NAMES");
  printf(", %d %d", missing, (int)size);
  _dupenv_s(&copy, &size, "TARN_NAMES");
  printf(", %s %d\n", copy, (int)size);
}

static void numbers(void) {
  static const double values[] = {0, 3.14159, 0.00123, 12345.678, 9.9996, 1e20, -2.5};
  for (unsigned i = 0; i < sizeof values / sizeof *values; ++i) {
    int point, sign, point2, sign2;
    char* digits = _strdup(_ecvt(values[i], 4, &point, &sign));
    char* places = _fcvt(values[i], 3, &point2, &sign2);
    char text[40];
    printf("%s %d %d, %s %d %d, %s\n", digits, point, sign, places, point2, sign2,
           _gcvt(values[i], 6, text));
    free(digits);
  }
  char prefix[] = "0x", *end;
  int taken = (int)strtoll(prefix, &end, 0) + (int)(end - prefix);
  printf("%x %x %lx %llx, 0x %d\n", _rotl(0x80000001u, 4), _rotr(1u, 1), _lrotl(1ul, 33),
         _rotr64(1, 4), taken);
}

/* Data, some of it by two names. */
static void data(void) {
  long seconds;
  int summer;
  tzset();
  _get_timezone(&seconds);
  _get_daylight(&summer);
  printf("zone %d %d %d", timezone == seconds && _timezone == seconds,
         daylight == summer && _daylight == summer, tzname[1] == _tzname[1]);
  printf(", errors %d %s", sys_nerr > EILSEQ, sys_errlist[ENOENT]);
  unsigned major = 0;
  int got = _get_winmajor(&major);
  printf(", system %u, %d %d\n", _osplatform, got,
         major > 4 && _winver == (major << 8 | _winminor));
}

static _onexit_table_t table;
static void digit(int value) { printf("%d", value); }
static int one(void) { return digit(1), 0; }
static int two(void) { return digit(2), _register_onexit_function(&table, one); }

/* More than the table has room for at first; one registers another when it is called. */
static void tables(void) {
  printf("tables %d ", _initialize_onexit_table(NULL));
  _initialize_onexit_table(&table);
  for (int i = 0; i < 40; ++i) _register_onexit_function(&table, i % 20 == 7 ? two : NULL);
  _register_onexit_function(&table, one);
  _initialize_onexit_table(&table);
  int first = _execute_onexit_table(&table), again = _execute_onexit_table(&table);
  printf(" %d %d\n", first, again);
}

/* Texts with a room, arguments by their place, and dates of 32 bits. */
static void formats(void) {
  char text[8], small[4] = "yy", character = '?', line[40];
  wchar_t wide[4], folder[8], extension[8], path[20];
  int number = 0;
  int all = sscanf_s("abc 12 de x", "%s %d %s %c", text, 8u, &number, small, 4u, &character, 1u);
  printf("scan %d %s %d %s %c", all, text, number, small, character);
  int cut = sscanf_s("[ab]12 long", "%*[[]%[^]]]%d %s", text, 8u, &number, small, 4u);
  printf(", cut %d %s %d %d", cut, text, number, small[0]);
  int one = swscanf_s(L"uvw xyzu", L"%s%s", wide, 4u, folder, 4u);
  printf(", wide %d %ls", one, wide);
  int part = _snscanf("12345", 3, "%d", &number);
  one = _snscanf_s("abcdef", 4, "%s", text, 8u);
  printf(", part %d %d, %d %s", part, number, one, text);
  part = _snwscanf_l(L"678", 2, L"%d", NULL, &number);
  printf(", %d %d, characters %d %d\n", part, number, (int)_mbstrnlen("a\xC3\xA4\xC3\xA4", 4),
         (int)_mbstrnlen("\xA4", 9));
  snprintf(line, sizeof line, "%2$s %1$d %2$5.1s|%3$*4$d %5$Lf %2$s", 7, "two", 3, 2, 1.5L);
  int longer = _snwprintf(wide, 3, L"%d", 1234), full = _snwprintf(wide, 3, L"%d", 123);
  printf("places %s, wide %d %d %.3ls\n", line, longer, full, wide);
  __time32_t day = 86400;
  struct tm* date = _gmtime32(&day);
  _wsplitpath(L"c:/a\\b.c.txt", NULL, folder, NULL, extension);
  _wmakepath(path, L"d", folder, L"n", extension);
  printf("date %d %d, path %ls\n", date->tm_mday, _mkgmtime32(date) == day, path);
  _locale_t locale = _create_locale(LC_ALL, "C");
  _snprintf_l(line, sizeof line, "%.1f %s", locale, 2.5, "l");
  int values = _sscanf_s_l("31 long", "%d %s", locale, &number, small, 4u);
  longer = _swprintf_s_l(path, 20, L"%d", locale, number);
  _free_locale(locale);
  printf("locale %s, %d %d %d, %d %ls", line, values, number, small[0], longer, path);
  values = _snprintf_c(line, 6, "%d", 12345);
  longer = _snprintf_c(line, 3, "%d", 12345);
  printf(", cut %d %s, whole %d\n", longer, line, values);
}

static void files(void) {
  char path[_MAX_PATH] = "", drive[3], name[20];
  FILE* file = fopen("names.tmp", "w+b");
  _putw(0x12345678, file);
  rewind(file);
  int word = _getw(file), end = _getw(file);
  printf("word %x %d %d", word, end, feof(file) != 0);
  fseek(file, 0, SEEK_SET);
  int locked = _locking(_fileno(file), _LK_NBLCK, 2);
  int other = _open("names.tmp", _O_RDWR | _O_BINARY);
  errno = 0;
  int again = _locking(other, _LK_NBLCK, 1), why = errno;
  int unlocked = _locking(_fileno(file), _LK_UNLCK, 2);
  printf(", lock %d, other's %d %d, unlock %d\n", locked, again, why, unlocked);
  _close(other);
  fflush(stdout);
  int kept = _dup(1), mode = _setmode(1, _O_TEXT);
  _dup2(_fileno(file), 1); /* binary, and so is stdout */
  puts("raw");
  fflush(stdout);
  _dup2(kept, 1);
  _setmode(1, mode);
  printf("raw %ld\n", _lseek(_fileno(file), 0, SEEK_CUR));
  fclose(file);
  _putenv("TARN_PATH=nowhere;.");
  _searchenv("names.tmp", "TARN_PATH", path);
  printf("found %d", strstr(path, "names.tmp") != NULL);
  _searchenv("none.tmp", "TARN_PATH", path);
  printf(" %d", path[0]);
  wchar_t wide[_MAX_PATH], small[4] = L"yy", form[] = L"nXXXXXX";
  _wsearchenv(L"names.tmp", L"TARN_PATH", wide);
  int fits = _wsearchenv_s(L"names.tmp", L"TARN_PATH", small, 4), kept_place = small[0];
  int made = _wmktemp(form) == form && form[0] == L'n' && !wcschr(form, L'X');
  printf(", wide %d %d %d, %d", wcsstr(wide, L"names.tmp") != NULL, fits, kept_place, made);
  int split = _splitpath_s("c:\\a\\b.txt", drive, 3, NULL, 0, name, 20, NULL, 0);
  printf(", parts %d %s %s, drive %d, missing %d\n", split, drive, name, _getdrive() > 0,
         fopen_s(&file, "none.tmp", "r"));
  struct _stat32 facts = {0}, wide_facts = {0};
  struct _stat32i64 open_facts = {0};
  struct _finddata32_t found = {0};
  struct _wfinddata32i64_t wide_found = {0};
  int number = _open("names.tmp", _O_RDONLY);
  int told = _stat32("names.tmp", &facts) | _wstat32(L"names.tmp", &wide_facts) |
             _fstat32i64(number, &open_facts);
  _close(number);
  printf("facts %d %ld %ld %d %d", told, facts.st_size, wide_facts.st_size, (int)open_facts.st_size,
         facts.st_mtime > 0 && facts.st_mtime == open_facts.st_mtime);
  intptr_t search = _findfirst32("names.t*", &found);
  printf(", found %s %lu %d", found.name, found.size, found.time_write == facts.st_mtime);
  told = _findnext32(search, &found);
  _findclose(search);
  search = _wfindfirst32i64(L"names.t*", &wide_found);
  _findclose(search);
  printf(" %d, %ls %d\n", told, wide_found.name, (int)wide_found.size);
  remove("names.tmp");
}

static void children(const char* self) {
  char *program, whole[_MAX_PATH];
  _get_pgmptr(&program);
  printf("program %d %d", strcmp(program, _fullpath(whole, self, _MAX_PATH)),
         (int)wcslen(_wpgmptr) - (int)strlen(_pgmptr));
  printf(", ascii %d %d\n", (isascii)(0x80), (iscsym)('_'));
  const char* const arguments[] = {self, "child", "two", NULL};
  const char* const environment[] = {"TARN_NAMES=theirs", NULL};
  fflush(stdout);
  int status = (int)_spawnl(_P_WAIT, self, self, "child", "one", NULL);
  printf("waited %d\n", status);
  fflush(stdout);
  intptr_t child = _spawnve(_P_NOWAIT, self, arguments, environment);
  int ended = _cwait(&status, child, 0) == child;
  errno = 0;
  printf("child %d %d, none %d", ended, status, (int)_spawnlp(_P_WAIT, "tarn_none", "x", NULL));
  printf(" %d\n", errno);
}

static void say(void) {
  puts("quick");
  fflush(stdout);
}
static void never(void) { puts("never"); }

int main(int count, char** arguments) {
  if (count > 2) {
    const char* value = getenv("TARN_NAMES");
    printf("%s %s\n", arguments[2], value ? value : "none");
    return 7;
  }
  struct timespec now;
  unicode();
  blocks();
  char* words[] = {"names", "-b", "-a", "x", NULL};
  int b = getopt(4, words, "a:b"), a = getopt(4, words, "a:b");
  printf("%c %c %s\n", b, a, optarg);
  printf("%d %g\n", timespec_get(&now, TIME_UTC) == TIME_UTC && now.tv_sec >= time(NULL) - 1,
         cimag(CMPLX(1, -0.0)));
  checked();
  numbers();
  data();
  tables();
  formats();
  files();
  children(arguments[0]);
  atexit(never);
  at_quick_exit(say);
  quick_exit(0);
}
