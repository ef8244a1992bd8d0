/* Routines of a program in place of the C run-time's, which some of the run-time's others are
 * made of: these must not come back to the program's. */
#include <errno.h>
#include <fcntl.h>
#include <io.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

#define OWN(result, name, ...)                   \
  result own_##name(__VA_ARGS__) __asm__(#name); \
  result own_##name(__VA_ARGS__)

unsigned char SystemFunction036(void*, unsigned long);

OWN(int, rand, void) { return 5; }
OWN(FILE*, fopen, const char* path, const char* mode) { return _wfopen(L"own.c", L"r"); }
OWN(FILE*, freopen, const char* path, const char* mode, FILE* file) {
  return _wfreopen(L"own.tmp", L"w+", file);
}
OWN(size_t, fread, void* to, size_t size, size_t count, FILE* file) {
  return fread_s(to, size * count, size, count, file);
}
OWN(int, vfprintf, FILE* file, const char* format, va_list arguments) {
  return __mingw_vfprintf(file, format, arguments);
}
OWN(int, vsnprintf, char* to, size_t size, const char* format, va_list arguments) {
  return _vsnprintf(to, size, format, arguments);
}
OWN(int, _open, const char* path, int flags, ...) { return _wopen(L"own.tmp", flags); }
OWN(int, remove, const char* path) { return _wremove(L"own.tmp"); }
OWN(char*, getenv, const char* name) {
  static char value[9];
  size_t size;
  return getenv_s(&size, value, sizeof value, name) == 0 && size > 0 ? value : NULL;
}
OWN(char*, strerror, int error) {
  errno = error;
  return _strerror("own");
}

static int print(FILE* file, const char* format, ...) {
  char text[9];
  va_list arguments;
  va_start(arguments, format);
  const int length = own_vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  va_start(arguments, format);
  const int printed = own_vfprintf(file, format, arguments);
  va_end(arguments);
  return length * 10 + printed;
}

int main(void) {
  char text[9] = "";
  int any;
  srand(1);
  FILE* file = own_freopen("", "w", own_fopen("", "r"));
  const int printed = print(file, "%d", 123);
  rewind(file);
  const int read = (int)own_fread(text, 1, 3, file);
  fclose(file);
  const int number = own__open("", O_RDONLY), other = open("own.tmp", O_RDONLY);
  close(number);
  close(other);
  _putenv("OWN=value");
  printf("%d %s %d, %d %d, %s, %s", printed, text, read, other - number, own_remove(""),
         own_getenv("OWN"), own_strerror(ENOENT));
  return own_rand() * SystemFunction036(&any, sizeof any);
}
