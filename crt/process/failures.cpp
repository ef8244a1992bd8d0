// The ends that C programs choose for failures: each is the library's report, headed
// by what the program says.
#include <assert.h>
#include <stdio.h>
#include <stdlib.h>
#include <wchar.h>

#include "../crt.h"
#include "signals.h"

void (*crt::on_uncaught)(EXCEPTION_POINTERS* exception);

extern "C" {
// Every image has this file, for __chk_fail, and so image.cpp.
int tarn_library_entry(void* image, DWORD reason, void* process_ends);
__attribute__((used)) static auto* const entry = tarn_library_entry;

// Run-time error 345, whose text is the caller's, formatted by the library's printf.
[[noreturn]] void suite_text_error(const char* format, ...) __asm__("tarn_suite_text_error");

void abort(void) {
  crt::deliver_abort();
  suite_text_error("Abnormal end: abort was called");
}

void _assert(const char* expression, const char* file, unsigned line) {
  crt::deliver_abort();
  suite_text_error("Assertion failed: %s, file %s, line %u", expression, file, line);
}

// assert where UNICODE is defined. Longer texts are cut.
void _wassert(const wchar_t* expression, const wchar_t* file, unsigned line) {
  constexpr size_t kMost = 500, kBytes = 3;  // of UTF-8 for one of UTF-16
  char bytes[2][kMost * kBytes + 1] = {};
  const wchar_t* const wide[] = {expression, file};
  for (int i = 0; i < 2; ++i) {
    WideCharToMultiByte(CP_UTF8, 0, wide[i], static_cast<int>(wcsnlen(wide[i], kMost)), bytes[i],
                        sizeof bytes[i] - 1, nullptr, nullptr);
  }
  _assert(bytes[0], bytes[1], line);
}

// From the checked copies of the compiler's libssp, which -D_FORTIFY_SOURCE calls.
void __chk_fail(void) { suite_text_error("A copy is larger than its target"); }
void _purecall(void) { suite_text_error("Pure virtual function called"); }
void _amsg_exit(int number) { suite_text_error("Run-time error R60%02d", number); }

// The filter of winpthreads' threads, and in C++ programs that of every thread: a C++
// exception without a handler.
LONG WINAPI _gnu_exception_handler(EXCEPTION_POINTERS* exception) {
  constexpr DWORD kThrow = 0x20474343;
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  if (record.ExceptionCode != kThrow || record.NumberParameters == 0 || !crt::on_uncaught) {
    return EXCEPTION_CONTINUE_SEARCH;
  }
  crt::on_uncaught(exception);
  return EXCEPTION_CONTINUE_SEARCH;
}
}
