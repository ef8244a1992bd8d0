/* What cannot be done sets errno, and what is large is done. TARN_SOAK=N opens N files one
 * after the other and makes a line of 100 N bytes. */
#include <direct.h>
#include <errno.h>
#include <fcntl.h>
#include <io.h>
#include <limits.h>
#include <locale.h>
#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/utime.h>
#include <unistd.h>
#include <wchar.h>
#include <windows.h>

#define SHOW(call)                                                          \
  do {                                                                      \
    errno = 0;                                                              \
    const long long result = (call);                                        \
    printf("%-38s %lld %s\n", #call, result, errno ? strerror(errno) : ""); \
  } while (0)

static char bytes[64];
size_t _aligned_msize(void*, size_t, size_t); /* which the headers lack */

static void refused(void) {
  SHOW(fopen("none/x", "w") != NULL);
  SHOW(fopen(".", "r") != NULL);
  fclose(fopen("a.tmp", "w"));
  FILE* file = fopen("a.tmp", "rw"); /* the unknown letter says nothing */
  SHOW(fseek(file, -1, SEEK_SET));
  SHOW(ftruncate(fileno(file), 3));
  SHOW(putc('x', file));
  SHOW(close(fileno(file)));
  SHOW(fclose(file));
  SHOW(rmdir("a.tmp"));
  SHOW(_wfopen(L"a.tmp", NULL) != NULL);
  SHOW(_open_osfhandle(-1, O_RDONLY));
  struct __utimbuf64 late = {.modtime = LLONG_MAX};
  SHOW(_utime64("a.tmp", &late));
  SHOW(_getcwd(NULL, -1) != NULL);
  SHOW(_msize(_wgetcwd(NULL, 3000)) >= 6000);
  SHOW(_msize(_wgetdcwd(_getdrive(), NULL, 3000)) >= 6000);
  SHOW(_getdcwd(17, bytes, -1) != NULL);
  SHOW(_putenv(NULL));
  _putenv("TARN_HARD=\x80\x80");
  SHOW(_wgetenv(L"TARN_HARD") != NULL);
  SHOW(snprintf(bytes, 10, "%100000000d", 5));
  SHOW(snprintf(bytes, 10, "%99999999999d", 5));
  errno = ETIMEDOUT;
  perror("perror");
}

static void full(void) {
  FILE* file = fopen("Z:/dev/full", "w");
  SHOW(fputs("text", file));
  SHOW(fflush(file));
  setvbuf(file, NULL, _IONBF, 0);
  SHOW(fprintf(file, "%d", 1));
  SHOW(fwprintf(file, L"%d", 1));
  SHOW(write(fileno(file), "x", 1));
  fclose(file);
}

static void broken(void) {
  int ends[2];
  SHOW(_pipe(ends, 512, O_BINARY));
  SHOW(write(ends[1], "abc", 3));
  SHOW(read(ends[0], bytes, 64));
  SHOW(lseek(ends[0], 0, SEEK_SET));
  close(ends[0]);
  FILE* file = fdopen(ends[1], "w");
  SHOW(fputs("text", file));
  SHOW(fclose(file));
  fclose(stdin);
  SHOW(getchar());
}

/* What was read ahead is kept by a buffer of another size, or keeps it out. */
static void buffers(void) {
  int ends[2];
  SHOW(_pipe(NULL, 512, O_BINARY));
  _pipe(ends, 512, O_BINARY);
  write(ends[1], "abc", 3);
  FILE* file = fdopen(ends[0], "r");
  SHOW(getc(file) - 'a' + setvbuf(file, NULL, _IOFBF, 99));
  SHOW(getc(file) - 'b');
  fclose(file);
  close(ends[1]);
  file = fopen("a.tmp", "w+");
  fputs("abc", file);
  rewind(file);
  SHOW(getc(file) - 'a' + setvbuf(file, NULL, _IOFBF, 99));
  ungetc('d', file);
  SHOW(setvbuf(file, NULL, _IONBF, 0) != 0);
  SHOW(getc(file) - 'd' + getc(file) - 'b');
  SHOW(fread_s(NULL, 9, 1, 1, file));
  fclose(file);
  SHOW(_aligned_msize(NULL, 16, 0) == SIZE_MAX);
}

/* Wide strings longer than any path. */
static void long_texts(void) {
  enum { kSize = 7000 };
  static wchar_t text[kSize];
  swprintf(text, kSize, L"%*lsexit 3", 6000, L"");
  SHOW(_wsystem(text));
  SHOW(_pclose(_wpopen(text, L"r")));
  swprintf(text, kSize, L"TARN_HARD=%06000d", 1);
  SHOW(_wputenv(text));
  SHOW(strlen(getenv("TARN_HARD")));
}

/* A carriage return waits for what comes after it. */
static void lines(void) {
  int ends[2];
  _pipe(ends, 512, O_TEXT);
  _setmode(ends[1], O_BINARY);
  write(ends[1], "a\r\nb\rc", 6);
  printf("lines:");
  for (int i = 0; i < 4; ++i) {
    const int size = read(ends[0], bytes, 2);
    printf(" %d %x", size, bytes[size - 1]);
  }
  puts("");
  close(ends[0]);
  close(ends[1]);
}

/* A string may end with the memory that there is, whatever the size that a routine is told. */
static void last_bytes(void) {
  enum { kPage = 4096 };
  DWORD before;
  char* const end = (char*)VirtualAlloc(NULL, 2 * kPage, MEM_COMMIT, PAGE_READWRITE) + kPage;
  VirtualProtect(end, kPage, PAGE_NOACCESS, &before);
  strcpy(end - 20, "nineteen characters");
  SHOW(strnlen(end - 20, 100));
  SHOW((char*)memchr(end - 3, 's', 100000) - end);
  SHOW(memchr(end - 3, 'n', 2) != NULL);
  printf("%ls\n", _wsetlocale(LC_ALL, L"C.UTF-8"));
  SHOW(mbstowcs(NULL, end - 2, 0));
}

/* The end and an error stay until they are cleared; a later call does not fail for them. */
static void indicators(void) {
  FILE *writer = fopen("g.tmp", "w"), *reader = fopen("g.tmp", "r");
  setvbuf(reader, NULL, _IOFBF, 1);
  fputs("a\nb", writer);
  fflush(writer);
  const int a = getc(reader), line_end = getc(reader), b = getc(reader), end = getc(reader);
  fputs("c", writer);
  fclose(writer);
  printf("grown: %d %d %d %d, %d,", a, line_end, b, end, getc(reader));
  clearerr(reader);
  putc('x', reader);
  printf(" %s after error %d\n", fgets(bytes, 9, reader), ferror(reader) != 0);
  fclose(reader);
}

static void large(long turns) {
  const long long past = (1LL << 32) + 5;
  FILE* file = fopen("g.tmp", "wb");
  SHOW(_fseeki64(file, past, SEEK_SET));
  fputs("one\r\ntwo", file);
  SHOW(ftell(file));
  fclose(file);
  file = fopen("g.tmp", "r+");
  SHOW(_filelength(fileno(file)));
  struct _stat32 facts;
  SHOW(_fstat32(fileno(file), &facts));
  _fseeki64(file, past, SEEK_SET);
  fgets(bytes, 9, file);
  printf("%d %lld", (int)strlen(bytes), _ftelli64(file) - past);
  fputs("TWO\n", file);
  printf(" %lld, %lld\n", _ftelli64(file) - past, _filelengthi64(fileno(file)) - past);
  fclose(file);

  static FILE* files[500];
  int wrong = 0;
  for (int i = 0; i < 500; ++i) {
    sprintf(bytes, "%d.tmp", i);
    files[i] = fopen(bytes, "w+");
    fprintf(files[i], "%d", i);
  }
  for (int i = 0; i < 500; ++i) {
    int read = -1;
    rewind(files[i]);
    if (fscanf(files[i], "%d", &read) != 1 || read != i) ++wrong;
    fclose(files[i]);
  }
  const int before = open("1.tmp", O_RDONLY);
  for (long i = 0; i < turns; ++i) {
    FILE* again = fopen("2.tmp", "r");
    if (!again || fclose(again) != 0) ++wrong;
  }
  printf("wrong %d, the next is %d\n", wrong, open("1.tmp", O_RDONLY) - before);

  const size_t size = turns * 100;
  char *line = malloc(size + 2), *read = malloc(size + 2);
  memset(line, 'l', size);
  strcpy(line + size, "\n");
  file = fopen("g.tmp", "w+");
  fprintf(file, "%s%*d\n", line, (int)size, 5);
  rewind(file);
  printf("line %d", fgets(read, (int)size + 2, file) && strcmp(read, line) == 0);
  printf(" %d", fgets(read, (int)size + 2, file) && strlen(read) == size + 1);
  rewind(file);
  printf(" %d\n", fscanf(file, "%s", read) == 1 && strlen(read) == size);
  fclose(file);
}

int main(void) {
  const char* const turns = getenv("TARN_SOAK");
  refused();
  full();
  buffers();
  long_texts();
  broken();
  lines();
  last_bytes();
  indicators();
  large(turns ? atol(turns) : 2000);
  return 0;
}
