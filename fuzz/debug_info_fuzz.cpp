// Hostile debug data. The input is the sections one after another, each with its
// length in two bytes before it.

#include "tools/finish_image/debug_info.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  finisher::DebugSections sections;
  std::size_t at = 0;
  for (auto* const section :
       {&sections.info, &sections.abbreviations, &sections.line, &sections.line_texts,
        &sections.texts, &sections.addresses, &sections.ranges, &sections.range_lists}) {
    if (size - at < 2) break;
    const std::size_t wanted = data[at] | std::size_t{data[at + 1]} << 8;
    at += 2;
    *section = {data + at, wanted < size - at ? wanted : size - at};
    at += section->size();
  }
  try {
    finisher::read_debug_entries(sections, finisher::read_line_table(sections));
  } catch (const finisher::ImageError&) {
  }
  return 0;
}
