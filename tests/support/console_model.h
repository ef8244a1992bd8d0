// The console compared with a small model of its own: random calls of the
// library, and after each the real screen, read back cell by cell.
#pragma once

#include <string>

namespace tarn::test {

// Types `count` keys that are not ESC, to be read by the pauses to come.
using TypeKeys = void (*)(int count);

// Runs `streams` streams of random calls on the screen that the library has
// found. Result: empty, or where the screen first differed from the model.
std::string compare_with_model(unsigned seed, int streams, TypeKeys type_keys);

}  // namespace tarn::test
