#include "paneview/paneview.h"
#include "platform/windows_ui.h"

namespace paneview {

namespace platform = tarn::platform;

// Nothing to prepare: no kernel has a variant for AVX.
void __init_paneview64(std::int32_t) {}

void __yield_program_control(std::int32_t) {
  platform::HandleWindowMessages();
  platform::Sleep(0);
}

void* __create_interprocess_shared_memory(const char* name, std::uint64_t size) {
  return platform::OpenRunSharedMemory(name, size);
}

}  // namespace paneview
