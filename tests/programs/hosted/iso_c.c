/* What ISO C and the POSIX-like names promise, by subject; each line says what was seen. */
#include <ctype.h>
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <fenv.h>
#include <io.h>
#include <locale.h>
#include <math.h>
#include <setjmp.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>
#include <wchar.h>
#include <wctype.h>

static void at_end(void) { puts("atexit after main"); }

static const char* bytes_of(const char* name) {
  static char text[200];
  FILE* file = fopen(name, "rb");
  int c, used = 0;
  while ((c = getc(file)) != EOF) {
    used += sprintf(text + used, c < ' ' ? "<%02x>" : "%c", c);
  }
  fclose(file);
  return text;
}

static void streams(void) {
  char line[80];
  FILE* file = fopen("s.tmp", "w+");
  fprintf(file, "one\ntwo %g\n", 1.5);
  long end = ftell(file);
  rewind(file);
  fgets(line, sizeof line, file);
  long second = ftell(file);
  int pushed = ungetc('#', file);
  int first = getc(file), next = getc(file);
  printf("text: end %ld, line 2 at %ld, pushed %c, then %c%c\n", end, second, pushed, first, next);
  fseek(file, second, SEEK_SET);
  fputs("TWO", file);
  fflush(file);
  fseek(file, 0, SEEK_CUR);
  printf("after writing: [%c], eof %d\n", getc(file), feof(file) != 0);
  fclose(file);
  printf("bytes: %s\n", bytes_of("s.tmp"));

  file = fopen("s.tmp", "ab");
  fputs("+", file);
  printf("append at %ld\n", ftell(file));
  fclose(file);
  file = fopen("s.tmp", "rb");
  fpos_t mark;
  fseek(file, -2, SEEK_END);
  fgetpos(file, &mark);
  int a = getc(file);
  fsetpos(file, &mark);
  int b = getc(file), c = getc(file), after = getc(file);
  printf("end: %02x %02x %c %d\n", a, b, c, after);
  int written = fputc('x', file), formatted = fprintf(file, "%d", 1);
  int passed_on = fprintf(file, "%a", 1.0);
  printf("write on a reader: %d %d %d, errno %d\n", written, formatted, passed_on, errno == EBADF);
  file = freopen("t.tmp", "w", file);
  setvbuf(file, NULL, _IONBF, 0);
  fputs("unbuffered", file);
  printf("seen at once: %s\n", bytes_of("t.tmp"));
  fclose(file);
  static const char* const refused[][2] = {{"none.tmp", "r"}, {"s.tmp", "wx"}, {"s.tmp", "q"}};
  for (int i = 0; i < 3; ++i) {
    int opened = fopen(refused[i][0], refused[i][1]) != NULL;
    printf("open %s %s: %d %s\n", refused[i][0], refused[i][1], opened, strerror(errno));
  }
  FILE* temporary = tmpfile();
  fprintf(temporary, "%d %s", 42, "x");
  rewind(temporary);
  int number;
  char word[8];
  int read = fscanf(temporary, "%d %7s", &number, word);
  printf("tmpfile: %d %d %s\n", read, number, word);
  fclose(temporary);
}

static void descriptors(void) {
  char buffer[16] = "";
  int file = open("d.tmp", O_RDWR | O_CREAT | O_TRUNC | O_BINARY, 0666);
  int written = write(file, "a\nbc", 4);
  long place = lseek(file, 1, SEEK_SET);
  printf("write %d, seek %ld, read %d %s", written, place, read(file, buffer, 3), buffer);
  struct stat facts;
  int told = fstat(file, &facts);
  printf(", fstat %d regular %d size %ld\n", told, S_ISREG(facts.st_mode), (long)facts.st_size);
  int copy = dup(file);
  close(file);
  place = lseek(copy, 0, SEEK_END);
  int closed = read(file, buffer, 1);
  printf("dup lives: %ld, closed: %d %s\n", place, closed, strerror(errno));
  ftruncate(copy, 2);
  printf("truncated: %ld, isatty %d\n", lseek(copy, 0, SEEK_END), isatty(copy));
  close(copy);
  int mask = umask(_S_IWRITE);
  close(open("m.tmp", O_WRONLY | O_CREAT, 0666));
  stat("m.tmp", &facts);
  printf("umask %o, then %o, mode %o\n", mask, umask(mask), facts.st_mode);
  chmod("m.tmp", 0666);
  remove("m.tmp");
  int onto = rename("d.tmp", "s.tmp");
  printf("rename onto a file: %d %s\n", onto, strerror(errno));
  int renamed = rename("d.tmp", "e.tmp"), gone = access("d.tmp", F_OK);
  printf("rename %d, gone %d, there %d\n", renamed, gone, access("e.tmp", R_OK));
  int denied = access("e.tmp", R_OK);
  chmod("e.tmp", 0444);
  struct stat readable;
  stat("e.tmp", &readable);
  chmod("e.tmp", 0666);
  printf("access %d, mode %o, removed %d\n", denied, readable.st_mode, remove("e.tmp"));
}

static void folders(void) {
  int made = mkdir("f"), again = mkdir("f"), why = errno;
  fclose(fopen("f/a.txt", "w"));
  int emptied = rmdir("f");
  printf("mkdir %d, again %d %s, not empty %d %s\n", made, again, strerror(why), emptied,
         strerror(errno));
  DIR* folder = opendir("f");
  for (struct dirent* entry; (entry = readdir(folder)) != NULL;) printf(" %s", entry->d_name);
  closedir(folder);
  struct stat facts;
  int told = stat("f/a.txt", &facts);
  printf("; stat %d %d", told, S_ISREG(facts.st_mode));
  told = stat("f", &facts);
  printf(", folder %d %d\n", told, S_ISDIR(facts.st_mode));
  unlink("f/a.txt");
  printf("rmdir %d, opendir %d\n", rmdir("f"), opendir("f") == NULL);
}

static void times(void) {
  char text[200];
  struct tm date = {.tm_year = 124, .tm_mon = 1, .tm_mday = 30, .tm_hour = 12};
  time_t seconds = _mkgmtime(&date);
  printf("%lld is %d-%02d-%02d, day %d, weekday %d\n", (long long)seconds, date.tm_year + 1900,
         date.tm_mon + 1, date.tm_mday, date.tm_yday, date.tm_wday);
  const time_t moments[] = {0, -1, 951782400, 4107542399, -62135596800};
  for (int i = 0; i < 5; ++i) {
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %a %j %U %V %G %W %I%p %e|%C|%y|%D|%F|%T|%%",
             gmtime(&moments[i]));
    printf("%s\n", text);
  }
  struct tm* local = localtime(&seconds);
  printf("back %d, asctime %s", mktime(local) == seconds, asctime(gmtime(&moments[2])));
  printf("too small: %d\n", (int)strftime(text, 4, "%Y", gmtime(&moments[0])));
  printf("clocks: %d %d\n", time(NULL) > 1700000000, clock() >= 0);
}

static void numbers(void) {
  char* end;
  errno = 0;
  printf("%ld %ld %lu %lld", strtol("-0x1fz", &end, 16), strtol("99999999999", NULL, 10),
         strtoul("-1", NULL, 0), strtoll("0777", NULL, 0));
  printf(" rest %s errno %d\n", end, errno == ERANGE);
  printf("%.17g %a %g %d\n", strtod("0.1", NULL), strtod("0x1.8p3", NULL), strtod("1e-320", NULL),
         strtod("1e999", NULL) == HUGE_VAL);
  printf("%.0f %.0f %5.1f|%-8d|%+d|%08.3f|%x|%o|%e|%Lg|%zu|%lld\n", 0.5, 1.5, 2.25, 7, 7, -3.14159,
         255, 8, 12345.678, 1.25L, (size_t)3, 1LL << 40);
  char small[5];
  int wanted = snprintf(small, sizeof small, "%s", "longer");
  int old_form = _snprintf(NULL, 0, "%s", "longer");
  printf("%d %d %s; %f %f\n", wanted, old_form, small, sqrt(2), fma(2, 3, 4));
  volatile double three = 3;
  printf("%f %f %f\n", hypot(three, 4), j0(three), jn(2, three));
  volatile double zero = 0;
  double infinite = 1 / zero;
  int raised = fetestexcept(FE_DIVBYZERO) != 0;
  printf("1/0 %g, 0/0 %d, raised %d\n", infinite, isnan(zero / zero) != 0, raised);
  const struct {
    double (*function)(double);
    double argument;
    int exception;
  } wrong[] = {{exp, 1000, FE_OVERFLOW}, {log, 0, FE_DIVBYZERO},      {log, -1, FE_INVALID},
               {sqrt, -1, FE_INVALID},   {cos, infinite, FE_INVALID}, {exp, infinite, 0}};
  for (size_t i = 0; i < sizeof wrong / sizeof *wrong; ++i) {
    feclearexcept(FE_ALL_EXCEPT);
    wrong[i].function(wrong[i].argument);
    printf("%d", fetestexcept(FE_ALL_EXCEPT & ~FE_INEXACT) == wrong[i].exception);
  }
  printf(" exceptions\n");
  double parts;
  int exponent;
  double fraction = modf(-3.75, &parts), mantissa = frexp(48, &exponent);
  printf("%g %g %g %d\n", fraction, parts, mantissa, exponent);
  printf("%g %g %g %g\n", fmod(7.5, 2), atan2(1, -1), pow(2, 0.5), tgamma(5));
}

static int by_number(const void* a, const void* b) { return *(const int*)a - *(const int*)b; }

static void strings(void) {
  int values[] = {5, 3, 9, 1}, key = 9;
  qsort(values, 4, sizeof *values, by_number);
  char text[] = "a,b;;c";
  int high = strcmp("\xff", "a") > 0;
  printf("%d%d%d%d %d, strcmp unsigned %d:", values[0], values[1], values[2], values[3],
         (int)((int*)bsearch(&key, values, 4, sizeof *values, by_number) - values), high);
  for (char* part = strtok(text, ",;"); part; part = strtok(NULL, ",;")) printf(" %s", part);
  printf("; %d %s %d %d\n", (int)strspn("aab", "a"), strstr("hello", "ll"),
         strcasecmp("ABC", "abd"), isalpha(200));
  memmove(text + 1, text, 3);
  printf("%s %d %s\n", text, memcmp("a\0b", "a\0c", 3) < 0, strpbrk("xyz", "zy"));
}

static void wide(void) {
  wchar_t text[20];
  mbstate_t state = {0};
  printf("C: %d", (int)mbstowcs(text, "h\xc3\xa9", 20));
  printf(", %s", setlocale(LC_ALL, "C.UTF-8"));
  printf(", UTF-8: %d", (int)mbstowcs(text, "h\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80", 20));
  printf(" %x %x %x", text[1], text[5], text[6]);
  char bytes[20];
  int back = (int)wcstombs(bytes, text, 20), bad = (int)mbrtowc(text, "\xff", 1, &state);
  printf(" back %d %s, bad %d %s\n", back, bytes, bad, strerror(errno));
  wprintf(L"%ls %d %lc|%5ls|%-5ls|\n", L"gr\u00f6\u00dfe", iswalpha(L'\u00df') != 0,
          (wint_t)towupper(L'\u00f6'), L"ab", L"cd");
  swprintf(text, 20, L"%d-%ls", 5, L"x");
  printf("%d %ls %ld\n", wcscmp(text, L"5-x"), text, wcstol(L"77q", NULL, 8));
}

static jmp_buf place;
static void on_signal(int number) {
  printf("signal %d\n", number);
  if (number == SIGSEGV || number == SIGFPE) longjmp(place, number);
}

static void signals(void) {
  signal(SIGTERM, on_signal);
  printf("raise %d\n", raise(SIGTERM));
  signal(SIGSEGV, on_signal);
  int jumped = setjmp(place);
  if (!jumped) *(volatile int*)8 = 1;
  signal(SIGFPE, on_signal);
  volatile int nothing = 0;
  if (jumped == SIGSEGV && !(jumped = setjmp(place))) nothing = 1 / nothing;
  printf("jumped %d, unknown %d\n", jumped, signal(999, on_signal) == SIG_ERR);
}

static void processes(void) {
  char line[40];
  putenv("HOSTED_NAME=value one");
  printf("getenv %s, %d", getenv("HOSTED_NAME"), getenv("HOSTED_NONE") == NULL);
  putenv("HOSTED_NAME=");
  printf(" %d; system %d %d\n", getenv("HOSTED_NAME") == NULL, system(NULL) != 0, system("exit 3"));
  FILE* pipe = popen("echo from the child", "r");
  getc(pipe);
  fflush(pipe);  // what a pipe has given cannot be read again, so it stays
  line[0] = 'f';
  fgets(line + 1, sizeof line - 1, pipe);
  line[strcspn(line, "\r\n")] = 0;
  printf("popen [%s] %d\n", line, pclose(pipe));
}

int main(int count, char** arguments) {
  atexit(at_end);
  for (int i = 1; i < count; ++i) printf("[%s]", arguments[i]);
  printf(" %d\n", arguments[count] == NULL);
  streams();
  descriptors();
  folders();
  times();
  numbers();
  strings();
  wide();
  signals();
  processes();
  fputs("to stderr\n", stderr);
  return 7;
}
