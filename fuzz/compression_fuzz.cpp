// Any data through the compressor and back. All ways to search write the same
// stream; the data are in a block of exactly their size.

#include "fuzz/fuzz.h"
#include "process/processor.h"
#include "services/compression_parts.h"
#include "storage/heap.h"

namespace {

using namespace tarn::compression;
constexpr std::size_t kWindow = tarn::kCompressionWindow;

// The first byte says how often the others come, so that a short input reaches
// after the window and after the index.
std::vector<std::uint8_t> repeated(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> result;
  const std::size_t times = data[0] < 128 ? 1 : data[0];
  for (std::size_t i = 0; i < times && result.size() < 40'000; ++i) {
    result.insert(result.end(), data + 1, data + size);
    result.push_back(static_cast<std::uint8_t>(i));
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::vector<std::uint8_t> plain = repeated(data, size);
  const auto count = static_cast<std::int32_t>(plain.size());
  std::vector<std::uint8_t> first;
  for (const Encode encode : {encode_sse2, encode_avx2}) {
    if (encode == encode_avx2 && !tarn::has_avx2()) continue;
    std::vector<std::uint8_t> block(kWindow + plain.size());
    std::copy(plain.begin(), plain.end(), block.begin() + kWindow);
    std::int32_t length = 0;
    auto* const result =
        static_cast<std::uint8_t*>(compress_by(encode, block.data(), count, &length));
    fuzz::require(result != nullptr);
    const std::vector<std::uint8_t> stream(result, result + length);
    tarn::free(result);
    if (first.empty()) first = stream;
    fuzz::require(first == stream);
  }
  std::vector<std::uint8_t> back(kWindow + plain.size(), tarn::kCompressionFill);
  Expansion expansion{first.data() + 1,      first.data() + first.size(), 0, false,
                      back.data() + kWindow, back.data() + back.size()};
  fuzz::require(expand(expansion) && expansion.output == back.data() + back.size());
  fuzz::require(std::equal(plain.begin(), plain.end(), back.begin() + kWindow));
  return 0;
}
