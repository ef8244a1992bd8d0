// Any bytes from a terminal as keys: every call makes progress or asks for more,
// reads nothing behind the bytes, and a record says what the reader relies on.

#include "platform/posix/terminal/key_decoder.h"

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarn::platform;
  for (const bool complete : {true, false}) {
    std::size_t at = 0;
    while (at < size) {
      InputRecord record{};
      std::size_t used = 0;
      const KeyResult result = take_key(data + at, size - at, complete, &used, &record);
      if (result == KeyResult::kMore) {
        fuzz::require(!complete && size - at < kLongestKey);
        break;
      }
      fuzz::require(used > 0 && used <= size - at);
      fuzz::require(result != KeyResult::kKey ||
                    (record.event_type == kKeyEvent && record.key_down));
      at += used;
    }
  }
  return 0;
}
