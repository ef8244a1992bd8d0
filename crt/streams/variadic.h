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
