#include "process/raising.h"

namespace tarn {

extern "C" void __RuntimeError(std::int32_t number) { FAIL_at(&number); }

}  // namespace tarn
