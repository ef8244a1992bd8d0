// What a terminal sends for its keys, as the records of a console: a pure
// function over the bytes at hand.
#pragma once

#include <cstddef>

#include "platform/platform.h"

namespace tarn::platform {

enum class KeyResult {
  kMore,  // the bytes may be the beginning of a longer sequence; none is used
  kSkip,  // `used` bytes mean no key: a reply, a report, an unknown sequence
  kKey,   // `used` bytes mean the key in the record
};

// Takes the first key of `count` bytes, `count` above 0. With `complete`
// nothing more comes in time, and what is there stands for itself: a lone ESC
// is that key, ESC with one byte after it is that byte with Alt.
//
// A character is its byte in code page 437, '?' if it has none there. Arrows
// and function keys have character 0 and their virtual key code. Enter is 13,
// also where the terminal's line mode has made it 10; the erase key is 8.
KeyResult take_key(const std::uint8_t* bytes, std::size_t count, bool complete, std::size_t* used,
                   InputRecord* record);

// The longest sequence that is waited for; a longer one is skipped in pieces.
inline constexpr std::size_t kLongestKey = 64;

}  // namespace tarn::platform
