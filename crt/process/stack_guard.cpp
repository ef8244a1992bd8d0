// What code that was compiled with -fstack-protector asks for: the word that it puts after
// its arrays, which differs from run to run, and the end of a program that has overwritten
// it.
#include <stdint.h>

#define _CRT_RAND_S
#include <stdlib.h>

#include "../crt.h"

extern "C" {
[[noreturn]] void suite_text_error(const char* format, ...) __asm__("tarn_suite_text_error");

// Its lowest byte, the first to be overwritten, is one that no string can hold.
uintptr_t __stack_chk_guard = 0x5A3C96E178B4D200;

__attribute__((constructor)) static void choose_guard() {
  unsigned high, low;
  if (rand_s(&high) == 0 && rand_s(&low) == 0) {
    __stack_chk_guard = static_cast<uintptr_t>(high) << 32 | (low & ~0xFFu);
  }
}

[[noreturn]] void __stack_chk_fail(void) {
  suite_text_error("The stack is overwritten beyond an array");
}
}
