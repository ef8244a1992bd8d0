// The host's heap against a model of it: blocks of all sizes, by two threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "platform/image_imports.h"
#include "platform/platform.h"

namespace {

using namespace tarn::platform;

constexpr int kSteps = 200'000;
constexpr std::uint32_t kZeroFill = 0x40;

struct Block {
  unsigned char* at;
  std::uint64_t size;
  unsigned char fill;

  bool is_whole() const {
    for (std::uint64_t i = 0; i < size; ++i) {
      if (at[i] != fill) return false;
    }
    return GlobalSize(at) >= size;
  }
};

using Blocks = std::vector<Block>;

std::uint64_t mixed_size(std::mt19937& random) {
  static constexpr std::uint64_t kMost[] = {64, 64, 64, 64, 300, 300, 1100, 1100, 40'000, 200'000};
  return random() % kMost[random() % (random() % 50 ? 8 : 10)];
}

Block take(std::mt19937& random) {
  Block block = {nullptr, mixed_size(random), static_cast<unsigned char>(random() | 1)};
  const std::uint32_t flags = random() % 2 ? kZeroFill : 0;
  block.at = static_cast<unsigned char*>(GlobalAlloc(flags, block.size));
  EXPECT_TRUE(!flags || (Block{block.at, block.size, 0}.is_whole()));
  memset(block.at, block.fill, block.size);
  return block;
}

void give(const Block& block) {
  EXPECT_TRUE(block.is_whole());
  EXPECT_TRUE(block.size < 2 || IsInsideHeapBlock(block.at + block.size - 1));
  EXPECT_FALSE(IsInsideHeapBlock(block.at));
  EXPECT_EQ(GlobalFree(block.at), nullptr);
}

void refuse(const Block& block) {
  EXPECT_FALSE(IsInsideHeapBlock(block.at + 1));
#ifndef __SANITIZE_ADDRESS__
  EXPECT_EQ(GlobalFree(block.at), block.at);
  EXPECT_EQ(GetLastError(), 6u);
#endif
}

// Takes and gives in no order; then gives those of less than `least` bytes.
void work(Blocks& blocks, std::uint32_t seed, std::uint64_t least) {
  std::mt19937 random(seed);
  for (int i = 0; i < kSteps; ++i) {
    if (blocks.size() < random() % 4000) {
      blocks.push_back(take(random));
    } else if (!blocks.empty()) {
      std::swap(blocks[random() % blocks.size()], blocks.back());
      give(blocks.back());
      blocks.pop_back();
    }
  }
  const auto is_small = [least](const Block& block) { return block.size < least; };
  const auto kept = std::partition(blocks.begin(), blocks.end(), std::not_fn(is_small));
  std::for_each(kept, blocks.end(), give);
  blocks.erase(kept, blocks.end());
}

TEST(HostHeap, BlocksOfAllSizesStayWhole) {
  Blocks one, other;
  for (const std::uint64_t least : {64, 1'000'000, 1100, 1'000'000, 64}) {
    std::thread thread(work, std::ref(other), 2 * least + 1, least);
    work(one, static_cast<std::uint32_t>(2 * least), least);
    thread.join();
    one.swap(other);
  }
  for (const Blocks* blocks : {&one, &other}) {
    for (const Block& block : *blocks) {
      give(block);
      refuse(block);
    }
  }
}

}  // namespace
