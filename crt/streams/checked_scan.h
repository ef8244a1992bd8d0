// fscanf_s and fwscanf_s with a list of arguments.
#pragma once

#include <stdarg.h>
#include <stdio.h>

namespace crt {

int scan_file(FILE* file, const char* format, va_list arguments);
int scan_wide_file(FILE* file, const wchar_t* format, va_list arguments);

}  // namespace crt
