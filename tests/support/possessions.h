// What the process has: for tests that leave nothing behind.
#pragma once

#include <cstdint>

namespace tarn::test {

struct Possessions {
  std::int64_t handles;     // on the host descriptors
  std::int64_t memory;      // resident, bytes
  std::int64_t free_place;  // the handle that a new object gets
};

Possessions take_stock();

}  // namespace tarn::test
