#include "platform/unwind_records.h"

#include "platform/unwind_walk.h"

namespace tarn::platform {

bool find_unwind_directory(const MemoryReader& reader, std::uint64_t base,
                           pe::DataDirectory* directory) {
  pe::DosHeader dos;
  pe::NtHeaders headers;
  if (!reader(base, &dos, sizeof dos) || !reader(base + dos.pe_offset, &headers, sizeof headers)) {
    return false;
  }
  *directory = headers.optional.directories[pe::kExceptionDirectory];
  return headers.magic == pe::kPeMagic && headers.optional.magic == pe::kOptionalMagic64 &&
         headers.optional.directory_count > pe::kExceptionDirectory && directory->size != 0;
}

RecordSearch find_function_record(const MemoryReader& reader, std::uint64_t base,
                                  const pe::DataDirectory& directory, std::uint64_t address,
                                  FoundRecord* found) {
  return find_function_record_by(reader, base, directory, address, found);
}

bool unwind_frame(const MemoryReader& reader, std::uint64_t base, const FunctionRecord* record,
                  AMD_CONTEXT* context, FrameFacts* facts) {
  return unwind_frame_by(reader, base, record, context, facts);
}

}  // namespace tarn::platform
