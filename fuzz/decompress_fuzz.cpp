// Streams of any bytes through the reader. Where the space runs out the reader gets more, and its
// data are those that it returns with enough space.

#include "fuzz/fuzz.h"
#include "services/compression_parts.h"

namespace {

using tarn::compression::Expansion;
constexpr std::size_t kWindow = tarn::kCompressionWindow;

// The data, the room made larger by `step` bytes each time.
std::vector<std::uint8_t> expanded(const std::uint8_t* data, std::size_t size, std::size_t step) {
  std::vector<std::uint8_t> buffer(kWindow, tarn::kCompressionFill);
  Expansion expansion{data + 1, data + size, 0, false, nullptr, nullptr};
  std::size_t used = kWindow;
  do {
    std::vector<std::uint8_t> larger(buffer.size() + step);
    std::copy(buffer.begin(), buffer.end(), larger.begin());
    buffer.swap(larger);
    expansion.output = buffer.data() + used;
    expansion.output_end = buffer.data() + buffer.size();
    const bool ended = tarn::compression::expand(expansion);
    used = static_cast<std::size_t>(expansion.output - buffer.data());
    if (ended) break;
  } while (true);
  buffer.resize(used);
  return buffer;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // 43 bytes from 19 bits are the most that there can be.
  const std::size_t most = size * 8 / 19 * 43 + 64;
  const auto at_once = expanded(data, size, most);
  fuzz::require(at_once.size() <= kWindow + most);
  fuzz::require(expanded(data, size, 1 + most / 16) == at_once);
  return 0;
}
