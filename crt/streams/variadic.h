// The body of a routine with "..." after `last`: `call`, to which `arguments` leads.
#pragma once

#include <stdarg.h>

#include "../crt.h"

#define ARGUMENTS(last, call) \
  va_list arguments;          \
  va_start(arguments, last);  \
  const int result = (call);  \
  va_end(arguments);          \
  return result

// A pair of formatting routines whose locale, which changes nothing, comes after the format.
// `parameters` and `values` are those before it, each in brackets and with a comma at its end.
#define LISTED(...) __VA_ARGS__
#define FORMAT_WITH_LOCALE(Char, parameters, values, list_name, name, plain)                  \
  CRT_API int list_name(LISTED parameters const Char* format, _locale_t, va_list arguments) { \
    return plain(LISTED values format, arguments);                                            \
  }                                                                                           \
  CRT_API int name(LISTED parameters const Char* format, _locale_t locale, ...) {             \
    ARGUMENTS(locale, plain(LISTED values format, arguments));                                \
  }
#define SCAN_WITH_LOCALE(Char, parameters, values, name, plain)                   \
  CRT_API int name(LISTED parameters const Char* format, _locale_t locale, ...) { \
    ARGUMENTS(locale, plain(LISTED values format, arguments));                    \
  }
