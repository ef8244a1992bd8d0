// Runs a fuzz target without a fuzzer, in builds by any compiler: over the files of its corpus,
// over what becomes of them by random damage, and over random bytes. The same inputs each time.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr int kRandomInputs = 1000, kDamages = 50;

void run(const Bytes& input) {
  // Ends where its memory does, so that the sanitizer sees a wild read.
  const auto exact = std::make_unique<std::uint8_t[]>(input.size());
  std::copy(input.begin(), input.end(), exact.get());
  LLVMFuzzerTestOneInput(exact.get(), input.size());
}

}  // namespace

int main(int count, char** files) {
  std::mt19937 random(1);
  for (int i = 1; i < count; ++i) {
    std::ifstream file(files[i], std::ios::binary);
    const Bytes whole(std::istreambuf_iterator<char>(file), {});
    std::fprintf(stderr, "%s, %zu bytes\n", files[i], whole.size());
    run(whole);
    for (int damage = 0; damage < kDamages && !whole.empty(); ++damage) {
      Bytes input = whole;
      if (damage % 4 == 0) input.resize(random() % input.size() + 1);
      for (auto changes = random() % 4; changes > 0; --changes) {
        input[random() % input.size()] = static_cast<std::uint8_t>(random());
      }
      run(input);
    }
  }
  for (int i = 0; i < kRandomInputs; ++i) {
    Bytes input(random() % (i % 8 ? 64 : 2000));
    for (std::uint8_t& byte : input) byte = static_cast<std::uint8_t>(random());
    run(input);
  }
}
