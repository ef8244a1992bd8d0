// The texts of the run-time errors, shared by the library and by compiled
// code. Constant data.
//
//     0 to  38  arithmetic and checks in compiled Fortran
//    39 to  48  windows and debugger commands
//    50 to 110  Fortran input and output, run-time formats, file specifiers
//   111 to 192  coprocessor, undefined variables, files, business editing,
//               debugger macros
//   193, 221 to 273  Pascal run time
//   194 to 217  pointers, heap, namelist input, further file specifiers
//   274 to 321  C and C++ run time: pointer and string checks, free and
//               delete, streams
//   324 to 343  C++ stream classes
//   345         the caller's own text
//   357 to 447  array and pointer checks, start-up, storage
#pragma once

#include "platform/abi.h"

namespace tarn {

inline constexpr std::int64_t kErrorCount = 449;
inline constexpr std::int64_t kErrorUndefined = 0;

// The text of `number` with its placeholders: %1 to %6 stand for the texts of
// the caller, %F for a place that only compiled code can name. A number
// without an entry gives the text of kErrorUndefined. Never null.
const char* error_text(std::int64_t number);

}  // namespace tarn
