// printf and scanf with a locale.
#include <conio.h>
#include <stdio.h>
#include <wchar.h>

#include "variadic.h"

extern "C" {
int __mingw_vfscanf(FILE*, const char*, va_list);
int __mingw_vsscanf(const char*, const char*, va_list);
int __mingw_vfwscanf(FILE*, const wchar_t*, va_list);
int __mingw_vswscanf(const wchar_t*, const wchar_t*, va_list);
int iso_vswprintf(wchar_t*, size_t, const wchar_t*, va_list) __asm__("vswprintf");
}

FORMAT_WITH_LOCALE(char, (), (), _vprintf_l, _printf_l, vprintf)
FORMAT_WITH_LOCALE(char, (FILE * file, ), (file, ), _vfprintf_l, _fprintf_l, vfprintf)
FORMAT_WITH_LOCALE(char, (), (), _vcprintf_l, _cprintf_l, _vcprintf)
FORMAT_WITH_LOCALE(char, (), (), _vscprintf_l, _scprintf_l, _vscprintf)
FORMAT_WITH_LOCALE(char, (char* to, ), (to, ), _vsprintf_l, _sprintf_l, vsprintf)
FORMAT_WITH_LOCALE(char, (char* to, size_t size, ), (to, size, ), _vsnprintf_l, _snprintf_l,
                   _vsnprintf)
FORMAT_WITH_LOCALE(char, (char* to, size_t size, ), (to, size, ), _vsprintf_s_l, _sprintf_s_l,
                   vsprintf_s)
FORMAT_WITH_LOCALE(char, (char* to, size_t size, size_t count, ), (to, size, count, ),
                   _vsnprintf_s_l, _snprintf_s_l, _vsnprintf_s)

FORMAT_WITH_LOCALE(wchar_t, (), (), _vwprintf_l, _wprintf_l, vwprintf)
FORMAT_WITH_LOCALE(wchar_t, (FILE * file, ), (file, ), _vfwprintf_l, _fwprintf_l, vfwprintf)
FORMAT_WITH_LOCALE(wchar_t, (), (), _vcwprintf_l, _cwprintf_l, _vcwprintf)
FORMAT_WITH_LOCALE(wchar_t, (), (), _vscwprintf_l, _scwprintf_l, _vscwprintf)
FORMAT_WITH_LOCALE(wchar_t, (wchar_t * to, ), (to, ), __vswprintf_l, __swprintf_l, _vswprintf)
FORMAT_WITH_LOCALE(wchar_t, (wchar_t * to, size_t size, ), (to, size, ), _vswprintf_c_l,
                   _swprintf_c_l, iso_vswprintf)
FORMAT_WITH_LOCALE(wchar_t, (wchar_t * to, size_t size, ), (to, size, ), _vsnwprintf_l,
                   _snwprintf_l, _vsnwprintf)
FORMAT_WITH_LOCALE(wchar_t, (wchar_t * to, size_t size, ), (to, size, ), _vswprintf_s_l,
                   _swprintf_s_l, vswprintf_s)
FORMAT_WITH_LOCALE(wchar_t, (wchar_t * to, size_t size, size_t count, ), (to, size, count, ),
                   _vsnwprintf_s_l, _snwprintf_s_l, _vsnwprintf_s)

SCAN_WITH_LOCALE(char, (), (stdin, ), _scanf_l, __mingw_vfscanf)
SCAN_WITH_LOCALE(char, (FILE * file, ), (file, ), _fscanf_l, __mingw_vfscanf)
SCAN_WITH_LOCALE(char, (const char* string, ), (string, ), _sscanf_l, __mingw_vsscanf)
SCAN_WITH_LOCALE(wchar_t, (), (stdin, ), _wscanf_l, __mingw_vfwscanf)
SCAN_WITH_LOCALE(wchar_t, (FILE * file, ), (file, ), _fwscanf_l, __mingw_vfwscanf)
SCAN_WITH_LOCALE(wchar_t, (const wchar_t* string, ), (string, ), _swscanf_l, __mingw_vswscanf)
