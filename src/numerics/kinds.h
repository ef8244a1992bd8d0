// Fortran's SELECTED_INT_KIND and SELECTED_REAL_KIND at run time: arguments
// (32-bit integers) by reference, the kind or a negative reason as the result.
// Each entry has its own numbering of kinds. Any values are accepted; no state,
// no errors, any thread.
#pragma once

#include "platform/abi.h"

namespace tarn {

// The integer kind that holds 10^p in decimal range, or -1. The numbers are
// for 1, 2, 4 and 8 bytes.
TARNAPI std::int32_t SELECTED_INT_KIND_at(const std::int32_t* p);   // 1, 2, 3: no 8 bytes
TARNAPI std::int32_t SELECTED_INT_KIND1_at(const std::int32_t* p);  // 1, 2, 3, 4
TARNAPI std::int32_t SELECTED_INT_KINDA_at(const std::int32_t* p);  // 1, 2, 4, 8

// The real kind of at least p decimal digits and decimal exponent range r:
//   -1 no kind has the digits, -2 none has the range, -3 neither.
TARNAPI std::int32_t SELECTED_REAL_KIND_at(const std::int32_t* p, const std::int32_t* r);  // 1, 2
TARNAPI std::int32_t CLR_SELECTED_REAL_KIND_at(const std::int32_t* p,
                                               const std::int32_t* r);  // 1, 2
TARNAPI std::int32_t SELECTED_REAL_KIND2_at(const std::int32_t* p,
                                            const std::int32_t* r);  // 1, 2, 4
// By bytes: 4, 8. The number 10 is reserved for a kind 3, which is never returned.
TARNAPI std::int32_t SELECTED_REAL_KINDA_at(const std::int32_t* p, const std::int32_t* r);

}  // namespace tarn
