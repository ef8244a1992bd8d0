// Any bytes from a terminal as keys: every call makes progress or asks for more,
// reads nothing behind the bytes, and a record says what the reader relies on.

#include <cstdint>
#include <vector>

#include "platform/posix/terminal/key_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarn::platform;
  for (const bool complete : {true, false}) {
    std::size_t at = 0;
    while (at < size) {
      const std::vector<std::uint8_t> rest(data + at, data + size);  // in a block of its own
      InputRecord record{};
      std::size_t used = 0;
      const KeyResult result = take_key(rest.data(), rest.size(), complete, &used, &record);
      if (result == KeyResult::kMore) {
        if (complete || rest.size() >= kLongestKey) __builtin_trap();
        break;
      }
      if (used == 0 || used > rest.size()) __builtin_trap();
      if (result == KeyResult::kKey && (record.event_type != kKeyEvent || !record.key_down)) {
        __builtin_trap();
      }
      at += used;
    }
  }
  return 0;
}
