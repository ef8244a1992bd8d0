// The compressor for processors with AVX2. This source alone is compiled for
// them; nothing in it may be shared with the others.

#include "services/compression_parts.h"
#include "services/compression_search.h"

namespace tarn::compression {
namespace {

struct Avx2 {
  using Vector [[gnu::vector_size(32)]] = std::uint64_t;
  using Words [[gnu::vector_size(32)]] = std::int32_t;
  using Signs [[gnu::vector_size(32)]] = float;

  [[gnu::always_inline]] static Vector first_word(std::uint64_t mask) {
    constexpr std::uint64_t kAll = ~std::uint64_t{0};
    return Vector{mask, kAll, kAll, kAll};
  }
  [[gnu::always_inline]] static std::uint64_t words_in_use(Vector vector) {
    const auto empty = reinterpret_cast<Words>(vector) == Words{};
    return static_cast<std::uint32_t>(__builtin_ia32_movmskps256(reinterpret_cast<Signs>(empty))) ^
           0xFFU;
  }
};

}  // namespace

std::uint8_t* encode_avx2(Index* index, const std::uint8_t* data, const std::uint8_t* end,
                          std::uint8_t* output) {
  return Encoder<Avx2>(*index, output).run(data, end);
}

}  // namespace tarn::compression
