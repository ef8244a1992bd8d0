#include "failure/unwind_data.h"

#include "failure/page_reader.h"
#include "platform/unwind_records.h"

namespace tarn {
namespace {

bool read_pages(void* reader, std::uint64_t address, void* to, std::uint64_t count) {
  return static_cast<PageReader*>(reader)->read(address, to, count);
}

}  // namespace

UnwindStep unwind_by_image_data(std::uint64_t base, platform::AMD_CONTEXT* context) {
  static PageReader pages;  // the report has one thread
  static platform::AMD_CONTEXT caller;
  pages.reset();
  const platform::MemoryReader reader{&read_pages, &pages};
  pe::DataDirectory directory;
  platform::FoundRecord found;
  platform::FrameFacts facts;
  if (!platform::find_unwind_directory(reader, base, &directory)) return UnwindStep::kNoRecords;
  const platform::RecordSearch search =
      platform::find_function_record(reader, base, directory, context->Rip, &found);
  caller = *context;
  const bool known = search == platform::RecordSearch::kFound;
  if (search == platform::RecordSearch::kUnreadable ||
      !platform::unwind_frame(reader, base, known ? &found.record : nullptr, &caller, &facts)) {
    return UnwindStep::kLost;
  }
  *context = caller;
  return UnwindStep::kStepped;
}

}  // namespace tarn
