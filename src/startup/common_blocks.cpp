// What the start-up scripts of all images tell the library about themselves:
// common blocks, the size of program storage, and the profile block.

#include "platform/paths.h"
#include "platform/platform.h"
#include "startup/start_up.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::uint32_t kModulePathSize = 1024;

}  // namespace

extern "C" {

void __record_program_storage(std::int64_t bytes) { program_storage += bytes; }

void __record_profile_address(void* address) { profile_block = address; }

void append_common_spec(tarn_block_record* record) {
  // If the module cannot be found, or its path does not fit, the record is
  // listed all the same, with what there is of the path.
  char path[kModulePathSize];
  path[0] = '\0';
  platform::Module module = nullptr;
  if (platform::GetModuleHandleExW(platform::kModuleFromAddress, record->name, &module)) {
    platform::GetModuleFileNameA(module, path, kModulePathSize);
    path[kModulePathSize - 1] = '\0';
  }
  record->module = strdup(platform::base_name(path));
  record->next = common_block_list;
  common_block_list = record;
  ++common_block_count;
}

}  // extern "C"

}  // namespace tarn
