// The tables of an image as the traceback reads them: routines, lines, unwind
// data. The input is the image; its first bytes choose the address.
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "failure/image_tables.h"
#include "failure/unwind_data.h"
#include "platform/platform.h"
#include "tests/support/guarded_pages.h"

namespace {

constexpr std::uint64_t kImageSize = 64 * 1024;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::uint16_t offset = 0;
  if (size < sizeof offset || size > kImageSize) return 0;
  std::memcpy(&offset, data, sizeof offset);
  static const tarn::test::GuardedPages memory(kImageSize);
  std::uint8_t* const image = memory.data();
  std::memset(image, 0, kImageSize);
  std::memcpy(image, data, size);
  const auto base = reinterpret_cast<std::uint64_t>(image);
  static tarn::RoutinePlace routine;
  // A frame has 255 levels at most; enough for the last to be the routine itself.
  for (std::uint32_t level = 0; level < 4; ++level) {
    for (const bool in_detail : {false, true}) {
      tarn::find_routine(base, base + offset, {(offset & 1) != 0, level, in_detail}, &routine);
      static char path[64];
      if (routine.file != 0) tarn::read_file_path(routine.file, path, sizeof path);
    }
  }
  static std::uint64_t stack[512];
  static tarn::platform::AMD_CONTEXT context;
  context = {};
  context.Rip = base + offset;
  context.Rsp = reinterpret_cast<std::uint64_t>(stack);
  tarn::unwind_by_image_data(base, &context);
  return 0;
}
