#include "process/process_end.h"

#include "platform/platform.h"

namespace tarn {

void exit(std::int32_t code) { platform::ExitProcess(static_cast<std::uint32_t>(code)); }

}  // namespace tarn
