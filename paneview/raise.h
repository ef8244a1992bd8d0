// Raises a number of the library's error catalogue: the number in rax, then
// the trap. Done inline, since this library can't import the one that imports it.
#pragma once

#include <cstdint>

namespace paneview {

[[noreturn, gnu::always_inline]] inline void raise_error(std::uint64_t number) {
  asm volatile("int $9" : : "a"(number) : "memory");
  __builtin_trap();  // a handler that steps over the trap must not run on into other code
}

}  // namespace paneview
