// Any bytes at the end of readable memory: every step is of a whole instruction
// or of one byte, and stays in the memory and in the text.
#include <cstdlib>
#include <cstring>

#include "failure/decoder/decoder.h"
#include "tests/support/guarded_pages.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const tarn::test::GuardedPages pages(tarn::test::GuardedPages::kPage);
  if (size > pages.size()) return 0;
  std::memcpy(pages.end() - size, data, size);
  std::uint64_t address = reinterpret_cast<std::uint64_t>(pages.end() - size);
  const std::uint64_t end = address + size;
  while (address < end) {
    char text[tarn::kInstructionTextSize];
    const std::uint64_t before = address;
    tarn::decode_instruction(text, address);
    if (address <= before || address > end || address - before > 15) std::abort();
    if (std::memchr(text, 0, sizeof text) == nullptr) std::abort();
    if (std::strncmp(text, "db ", 3) == 0 && address != before + 1) std::abort();
  }
  return 0;
}
