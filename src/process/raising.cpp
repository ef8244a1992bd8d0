#include "process/raising.h"

namespace tarn {

void __RuntimeError(std::int32_t number) { FAIL(&number); }

}  // namespace tarn
