// Compression against the plain scan, and decompression against a pace and LZ4,
// on the texts of the usual licences.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

#include "bench/rows.h"
#include "process/processor.h"
#include "services/compression_parts.h"
#include "services/compression_search.h"
#include "startup/initialise.h"
#include "storage/heap.h"

#ifdef TARN_LZ4
#include <lz4.h>
#endif

namespace {

using bench::Row;
using namespace tarn::compression;

using Bytes = std::vector<std::uint8_t>;

constexpr const char* kTexts = "/usr/share/common-licenses";
constexpr double kPace = 150e6;  // bytes a second

// The window's room, then the texts.
const Bytes& text() {
  static const Bytes made = [] {
    Bytes bytes(tarn::kCompressionWindow, tarn::kCompressionFill);
    std::error_code none;
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(kTexts, none)) {
      if (!entry.is_symlink()) paths.push_back(entry.path());
    }
    std::sort(paths.begin(), paths.end());
    for (const auto& path : paths) {
      std::ifstream file(path, std::ios::binary);
      bytes.insert(bytes.end(), std::istreambuf_iterator<char>(file), {});
    }
    return bytes;
  }();
  return made;
}
std::size_t text_size() { return text().size() - tarn::kCompressionWindow; }

// The search as one would write it down, candidate by candidate.
Match plain_search(const std::uint8_t* position, const std::uint8_t* end) {
  using Pair [[gnu::aligned(1), gnu::may_alias]] = std::uint16_t;
  const std::uint8_t* const start = position - tarn::kCompressionWindow;
  Match best{0, 0};
  if (end - position < 2) return best;
  const std::uint16_t pair = *reinterpret_cast<const Pair*>(position);
  for (const std::uint8_t* candidate = start + 1; candidate <= position - 2; ++candidate) {
    if (*reinterpret_cast<const Pair*>(candidate) != pair) continue;
    std::int64_t most = position - (candidate + 2);
    if (most < 1) most = 1;
    std::int64_t length = 2;
    while (length - 2 < most && position + length < end && candidate[length] == position[length]) {
      ++length;
    }
    if (length <= best.length) continue;
    best = {candidate - start, length};
    if (length > tarn::kGoodMatch) break;
  }
  if (best.length > tarn::kLongestMatch) best.length = tarn::kLongestMatch;
  return best;
}

TARNAPI std::uint8_t* encode_by_plain_search(Index*, const std::uint8_t* data,
                                             const std::uint8_t* end, std::uint8_t* output) {
  BitWriter writer{output};
  bool literals = false;
  while (data < end) data = writer.put_token(data, plain_search(data, end), literals);
  return writer.finish(literals);
}

template <Encode kEncode>
void compress(benchmark::State& state) {
  Bytes block = text();
  for (auto _ : state) {
    std::int32_t length = 0;
    tarn::free(compress_by(kEncode, block.data(), static_cast<std::int32_t>(text_size()), &length));
    benchmark::DoNotOptimize(length);
  }
}

const Bytes& stream() {
  static const Bytes made = [] {
    Bytes block = text();
    std::int32_t length = 0;
    auto* const packed = static_cast<std::uint8_t*>(
        tarn::__tarn_compress2(block.data(), static_cast<std::int32_t>(text_size()), &length));
    Bytes result(packed, packed + length);
    tarn::free(packed);
    return result;
  }();
  return made;
}

void decompress(benchmark::State& state) {
  for (auto _ : state) {
    std::int32_t length = 0;
    tarn::free(tarn::__tarn_decompress(stream().data(), static_cast<std::int32_t>(stream().size()),
                                       &length));
    benchmark::DoNotOptimize(length);
  }
}

// By the processor's time of this thread: a busy machine slows it as well.
void pace(benchmark::State& state) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  const double turn = static_cast<double>(text_size()) / kPace;
  for (auto _ : state) {
    const double start = now();
    while (now() - start < turn) {
    }
  }
}

#ifdef TARN_LZ4
void decompress_lz4(benchmark::State& state) {
  std::vector<char> packed(
      static_cast<std::size_t>(LZ4_compressBound(static_cast<int>(text_size()))));
  const auto* const source =
      reinterpret_cast<const char*>(text().data()) + tarn::kCompressionWindow;
  const int size = LZ4_compress_default(source, packed.data(), static_cast<int>(text_size()),
                                        static_cast<int>(packed.size()));
  std::vector<char> target(text_size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        LZ4_decompress_safe(packed.data(), target.data(), size, static_cast<int>(target.size())));
    benchmark::ClobberMemory();
  }
}
#endif

}  // namespace

int main(int argc, char** argv) {
  bench::initialise(argc, argv);
  tarn::__initialise_cpplib();
  if (text_size() == 0) {
    std::fprintf(stderr, "Left out: compression (no %s)\n", kTexts);
    return 0;
  }
  std::vector<Row> rows = {
      {"compression of text, SSE2", "plain scan, -O2", compress<encode_sse2>,
       compress<encode_by_plain_search>, 1 / 10.0, text_size()},
  };
  if (tarn::has_avx2()) {
    rows.push_back({"compression of text, AVX2", "plain scan, -O2", compress<encode_avx2>,
                    compress<encode_by_plain_search>, 1 / 20.0, text_size()});
  }
  rows.push_back({"decompression of text", "150 MB a second", decompress, pace, 1.0, text_size()});
#ifdef TARN_LZ4
  rows.push_back({"decompression against LZ4", "LZ4_decompress_safe", decompress, decompress_lz4,
                  5.0, text_size()});
#endif
  bench::run_rows(rows, 7);
  return 0;
}
