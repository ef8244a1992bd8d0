// printf and scanf, also under mingw-w64's own names (aliases.txt). What scanf does is
// libmingwex's.
#include <string.h>

#include "format.h"
#include "variadic.h"

using namespace crt;

extern "C" {
int __mingw_vfscanf(FILE*, const char*, va_list);
int __mingw_vsscanf(const char*, const char*, va_list);
}

namespace {

int result_of(unsigned long long count) {
  return count > INT_MAX ? fail_with(EOVERFLOW) : static_cast<int>(count);
}

}  // namespace

CRT_API int vfprintf(FILE* file, const char* text, va_list arguments) {
  Stream& stream = stream_of(file);
  const Locked locked(stream.lock);
  char block[512];
  Output output(block, sizeof block, &stream);
  format(output, text, arguments);
  return output.finish() ? result_of(output.count()) : -1;
}
CRT_API int fprintf(FILE* file, const char* format, ...) {
  ARGUMENTS(format, vfprintf(file, format, arguments));
}
CRT_API int vprintf(const char* format, va_list arguments) {
  return vfprintf(stdout, format, arguments);
}
CRT_API int printf(const char* format, ...) {
  ARGUMENTS(format, vfprintf(stdout, format, arguments));
}
#undef vsnprintf
#undef snprintf
// The headers have these two in line; libraries want them as routines.
extern "C" int out_of_line_vsnprintf(char*, size_t, const char*, va_list) __asm__("vsnprintf");
extern "C" int out_of_line_snprintf(char*, size_t, const char*, ...) __asm__("snprintf");
CRT_API int out_of_line_vsnprintf(char* buffer, size_t size, const char* text, va_list arguments) {
  Output output(buffer, size == 0 ? 0 : size - 1, nullptr);
  format(output, text, arguments);
  if (size > 0) *output.next() = '\0';
  return result_of(output.count());
}
CRT_API int out_of_line_snprintf(char* buffer, size_t size, const char* format, ...) {
  ARGUMENTS(format, out_of_line_vsnprintf(buffer, size, format, arguments));
}
CRT_API int vsprintf(char* buffer, const char* format, va_list arguments) {
  return out_of_line_vsnprintf(buffer, INT_MAX, format, arguments);
}
CRT_API int sprintf(char* buffer, const char* format, ...) {
  ARGUMENTS(format, out_of_line_vsnprintf(buffer, INT_MAX, format, arguments));
}

// Microsoft's form: no NUL in a full buffer, and -1 for what is longer; the length if there
// is no buffer.
CRT_API int _vsnprintf(char* buffer, size_t size, const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = out_of_line_vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (!buffer && size == 0) return length;
  if (length < 0 || static_cast<size_t>(length) < size) {
    return out_of_line_vsnprintf(buffer, size, format, arguments);
  }
  if (size > 0) {
    // The last place would be the NUL's.
    char* const whole = static_cast<char*>(__builtin_malloc(static_cast<size_t>(length) + 1));
    if (!whole) return -1;
    out_of_line_vsnprintf(whole, static_cast<size_t>(length) + 1, format, arguments);
    memcpy(buffer, whole, size);
    __builtin_free(whole);
  }
  return static_cast<size_t>(length) == size ? length : -1;
}
CRT_API int _snprintf(char* buffer, size_t size, const char* format, ...) {
  ARGUMENTS(format, _vsnprintf(buffer, size, format, arguments));
}
CRT_API int _vscprintf(const char* format, va_list arguments) {
  return out_of_line_vsnprintf(nullptr, 0, format, arguments);
}
CRT_API int _scprintf(const char* format, ...) {
  ARGUMENTS(format, out_of_line_vsnprintf(nullptr, 0, format, arguments));
}

CRT_API int fscanf(FILE* file, const char* format, ...) {
  ARGUMENTS(format, __mingw_vfscanf(file, format, arguments));
}
CRT_API int scanf(const char* format, ...) {
  ARGUMENTS(format, __mingw_vfscanf(stdin, format, arguments));
}
CRT_API int sscanf(const char* string, const char* format, ...) {
  ARGUMENTS(format, __mingw_vsscanf(string, format, arguments));
}

CRT_API void perror(const char* prefix) {
  const char* const text = strerror(errno);
  if (prefix && *prefix) {
    fputs(prefix, stderr);
    fputs(": ", stderr);
  }
  fputs(text, stderr);
  fputc('\n', stderr);
}
