// Formatting into a block, like snprintf; but a text that does not fit is cut, and the result -1.
#include <stdio.h>

#include "../crt.h"
#include "variadic.h"

extern "C" int iso_vsnprintf(char*, size_t, const char*, va_list) __asm__("vsnprintf");

CRT_API int _vsnprintf_c(char* to, size_t size, const char* format, va_list arguments) {
  const int length = iso_vsnprintf(to, size, format, arguments);
  return to && length >= 0 && static_cast<size_t>(length) >= size ? -1 : length;
}
CRT_API int _snprintf_c(char* to, size_t size, const char* format, ...) {
  ARGUMENTS(format, _vsnprintf_c(to, size, format, arguments));
}
FORMAT_WITH_LOCALE(char, (char* to, size_t size, ), (to, size, ), _vsnprintf_c_l, _snprintf_c_l,
                   _vsnprintf_c)
