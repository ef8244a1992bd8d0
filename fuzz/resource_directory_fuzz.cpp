// Resource sections of any bytes.
#include <cstdint>

#include "platform/platform.h"
#include "process/process_state.h"
#include "services/resource_directory.h"
#include "streams/file_stream.h"

namespace {

constexpr std::size_t kLargestSection = 16 * 1024;

// What is printed goes nowhere.
void silence() {
  tarn::runtime_cell(tarn::kCellStdout) = reinterpret_cast<tarn::Slot>(tarn::fopen("NUL", "wb"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool silenced = (silence(), true);
  if (!silenced || size > kLargestSection) return 0;
  tarn::display_resource_tree({data, static_cast<std::uint32_t>(size), 0x1000}, "Root");
  return 0;
}
