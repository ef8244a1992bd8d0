// What the processor can do. No state but the answers; any thread.
#pragma once

#include "include/tarn/runtime.h"
#include "platform/abi.h"

namespace tarn {

// Its result, found when the library is loaded; __test_avx compares it.
extern "C" std::int32_t tarn_avx_supported;

// Whether both support AVX2.
bool has_avx2();

}  // namespace tarn
