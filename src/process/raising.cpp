#include "process/raising.h"

namespace tarn {

extern "C" void __RuntimeError(std::int32_t number) { FAIL_at(&number); }

std::int32_t check_exception(std::int32_t, std::int32_t result, std::int32_t) { return result; }

}  // namespace tarn
