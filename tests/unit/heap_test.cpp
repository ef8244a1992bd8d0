#include "storage/heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "tests/support/raised.h"

namespace {

constexpr std::uint64_t kImpossible = std::uint64_t{1} << 62;

struct Block {
  unsigned char* address;
  std::uint64_t size;
  unsigned char fill;
};

bool intact(const Block& block, std::uint64_t size) {
  for (std::uint64_t i = 0; i < size; ++i) {
    if (block.address[i] != block.fill) return false;
  }
  return true;
}

TEST(Heap, BlocksOfTheWholeFamilyAreInterchangeableAndKeepTheirContents) {
  std::mt19937 random(51);
  std::vector<Block> blocks;
  for (int round = 0; round < 20'000; ++round) {
    const std::uint64_t size = random() % (round % 50 ? 300 : 100'000);
    const auto fill = static_cast<unsigned char>(random());
    Block block{nullptr, size, fill};
    switch (blocks.size() < 3 ? random() % 7 : random() % 12) {
      case 0:
        block.address = static_cast<unsigned char*>(tarn::malloc(size));
        break;
      case 1:
        block.address = static_cast<unsigned char*>(tarn::operator_new(size));
        break;
      case 2:
        block.address = static_cast<unsigned char*>(tarn::LockStorage(size));
        break;
      case 3:
        block.address = static_cast<unsigned char*>(tarn::LockStorageChar(size));
        break;
      case 4:
        block.address = static_cast<unsigned char*>(tarn::vmalloc(static_cast<std::int32_t>(size)));
        break;
      case 5:
        block = {static_cast<unsigned char*>(tarn::calloc(size / 10, 10)), size / 10 * 10, 0};
        ASSERT_TRUE(intact(block, block.size));
        break;
      case 6:
        block.address = static_cast<unsigned char*>(tarn::realloc(nullptr, size));
        break;
      case 7: {
        Block& old = blocks[random() % blocks.size()];
        if (size == 0) continue;
        auto* const moved = static_cast<unsigned char*>(tarn::realloc(old.address, size));
        ASSERT_NE(moved, nullptr);
        old = {moved, std::min(old.size, size), old.fill};
        ASSERT_TRUE(intact(old, old.size));
        std::memset(moved, old.fill, size);
        old.size = size;
        continue;
      }
      default: {
        std::swap(blocks[random() % blocks.size()], blocks.back());
        const Block old = blocks.back();
        blocks.pop_back();
        ASSERT_TRUE(intact(old, old.size));
        const auto way = random() % 4;
        if (way == 0) tarn::free(old.address);
        if (way == 1) tarn::operator_delete(old.address);
        if (way == 2) tarn::UnlockStorage(old.address);
        if (way == 3) {
          EXPECT_EQ(tarn::realloc(old.address, 0), nullptr);
        }
        continue;
      }
    }
    ASSERT_NE(block.address, nullptr);
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block.address) % 16, 0u);
    if (block.size) std::memset(block.address, block.fill, block.size);
    blocks.push_back(block);
  }
  for (const Block& block : blocks) tarn::free(block.address);
}

int handler_calls;
TARNAPI void count_call() { ++handler_calls; }

TEST(Heap, TheNewHandlerIsCalledOnceWhenStorageIsShort) {
  EXPECT_EQ(tarn::set_new_handler(&count_call), nullptr);
  tarn::operator_delete(tarn::operator_new(0));
  EXPECT_EQ(handler_calls, 0);
  EXPECT_EQ(tarn::operator_new(kImpossible), nullptr);
  EXPECT_EQ(handler_calls, 1);
  EXPECT_EQ(tarn::set_new_handler(nullptr), &count_call);
}

}  // namespace
