// The console compared with a small model of its own: calls of the library, and after each the real
// screen, read back cell by cell.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tarn::test {

// Types `count` keys that are not ESC, to be read by the pauses to come.
using TypeKeys = void (*)(int count);

// Runs calls that the bytes choose on the screen that the library has found.
// Result: empty, or where the screen first differed from the model.
std::string compare_with_model(const std::uint8_t* bytes, std::size_t size, TypeKeys type_keys);

// The same with `streams` strings of random bytes.
std::string compare_random_streams(unsigned seed, int streams, TypeKeys type_keys);

}  // namespace tarn::test
