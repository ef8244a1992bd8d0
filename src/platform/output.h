// How the library and its sibling write a program's output, and when a program
// ends because nobody reads that output any more.
//
// A write into a pipe without a reader fails, and the caller sees that as it
// sees any failure. A program that checks results needs no more. Many filters
// check none and would write for ever (`yes | head -1`), where their users
// expect them to end. So the process ends silently, with the status that a
// shell shows for a filter, when kUnheededWrites writes in a row have failed in
// this way and the program has not asked for the state of a stream in between.
#pragma once

#include "platform/platform.h"

namespace tarn::platform {

inline constexpr std::uint32_t kUnheededWrites = 100;
inline constexpr std::uint32_t kFilterStatus = 141;  // 128 plus the number of SIGPIPE

inline std::uint32_t unheeded_writes;  // each of the two libraries counts its own

// The program asked whether its writes failed.
inline void heed_writes() { __atomic_store_n(&unheeded_writes, 0, __ATOMIC_RELAXED); }

// WriteFile for a program's output. True if all of it was written.
inline bool write_output(Handle file, const void* bytes, std::uint32_t size,
                         std::uint32_t* written) {
  *written = 0;
  if (WriteFile(file, bytes, size, written, nullptr)) {
    if (__atomic_load_n(&unheeded_writes, __ATOMIC_RELAXED) != 0) heed_writes();
    return *written >= size;
  }
  const std::uint32_t code = GetLastError();
  const bool no_reader =
      code == kErrorBrokenPipe || code == kErrorNoData || code == kErrorPipeNotConnected;
  if (no_reader && __atomic_add_fetch(&unheeded_writes, 1, __ATOMIC_RELAXED) >= kUnheededWrites) {
    ExitProcess(kFilterStatus);
  }
  return false;
}

// Whether a terminal acts on `c`, which comes after `before`: a control character, of one
// byte or in UTF-8 of two. Tabs and line ends too.
inline bool is_terminal_control(char before, char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < ' ' || byte == 0x7F || (before == '\xC2' && byte >= 0x80 && byte < 0xA0);
}

}  // namespace tarn::platform
