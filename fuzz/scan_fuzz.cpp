// Formats and strings of any bytes through the scanner. The text is in a block
// of exactly its size, so that a read after it is found.

#include "streams/scan.h"

#include "fuzz/fuzz.h"

namespace {

constexpr long kDirectives = 8;
constexpr std::size_t kFieldRoom = 4400;  // the widest field

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::string format = input.c_str();
  if (std::count(format.begin(), format.end(), '%') > kDirectives) return 0;
  const std::string rest = input.substr(std::min(format.size() + 1, size));
  const std::vector<char> text = fuzz::text_of(rest);

  std::vector<char> fields[kDirectives];
  for (auto& field : fields) field.resize(kFieldRoom);
  const std::int32_t count = tarn::sscanf(
      text.data(), format.c_str(), fields[0].data(), fields[1].data(), fields[2].data(),
      fields[3].data(), fields[4].data(), fields[5].data(), fields[6].data(), fields[7].data());
  fuzz::require(count >= -1 && count <= kDirectives);
  return 0;
}
