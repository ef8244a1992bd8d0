// The compressor for processors with AVX2. This source alone is compiled for
// them; nothing in it may be shared with the others.

#include "services/compression_parts.h"
#include "services/compression_search.h"

namespace tarn::compression {
namespace {

struct Avx2 {
  using Vector [[gnu::vector_size(32)]] = std::uint64_t;
  using Signs [[gnu::vector_size(32)]] = double;

  [[gnu::always_inline]] static Vector first_word(std::uint64_t mask) {
    constexpr std::uint64_t kAll = ~std::uint64_t{0};
    return Vector{mask, kAll, kAll, kAll};
  }
  [[gnu::always_inline]] static std::uint64_t words_in_use(Vector vector) {
    const auto empty = reinterpret_cast<Signs>(vector == Vector{});
    return static_cast<std::uint32_t>(__builtin_ia32_movmskpd256(empty)) ^ 0xFU;
  }
};

}  // namespace

std::uint8_t* encode_avx2(Index* index, const std::uint8_t* data, const std::uint8_t* end,
                          std::uint8_t* output) {
  return Encoder<Avx2>(*index).run(data, end, output);
}

}  // namespace tarn::compression
