// A saved report, and a source file that it names: whatever they hold, nothing that is
// printed makes a terminal act.
#include "saved_report.h"

#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The first byte: the lines around, and how much of the input is the source.
  if (size < 1) return 0;
  const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::size_t split = input.size() * (data[0] & 3) / 4;
  const std::string source(input.substr(0, split));
  const std::string_view text = input.substr(split);
  report::refusal(text);
  std::vector<std::string> missing;
  const std::string shown = report::with_sources(
      text, data[0] >> 2,
      [&](std::string_view path, std::string* found) {
        *found = source;
        return path.size() % 2 == 0;
      },
      &missing);
  missing.push_back(shown);
  for (const std::string& each : missing) {
    for (std::size_t i = 0; i < each.size(); i++) {
      const auto byte = static_cast<unsigned char>(each[i]);
      fuzz::require((byte >= ' ' && byte != 0x7F) || byte == '\n');
      const bool two = byte == 0xC2 && i + 1 < each.size();
      fuzz::require(!two || static_cast<unsigned char>(each[i + 1]) >= 0xA0);
    }
  }
  return 0;
}
