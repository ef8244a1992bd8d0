#include "storage/heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <random>
#include <thread>
#include <vector>

#include "strings/c_string.h"
#include "tests/support/raised.h"

namespace {

using tarn::test::raised_by;

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

TEST(Heap, WhatIsNoBlockIsRefused) {
  static int fixed[40];
  for (const std::uint64_t size : {40u, 3000u, 32'768u, 32'769u, 4'000'000u}) {
    auto* const block = static_cast<char*>(tarn::malloc(size));
    EXPECT_EQ(raised_by([&] { tarn::free(block + 16); }).number, 375) << size;
    EXPECT_EQ(raised_by([&] { tarn::operator_delete(block + size - 1); }).number, 375) << size;
    tarn::free(block);
    EXPECT_EQ(raised_by([&] { tarn::free(block); }).number, 377) << size;
    EXPECT_EQ(raised_by([&] { tarn::operator_delete(block); }).number, 376) << size;
  }
  EXPECT_EQ(raised_by([] { tarn::UnlockStorage(fixed + 4); }).number, 377);
  EXPECT_EQ(raised_by([] { tarn::realloc(fixed, 9); }).number, 377);
  EXPECT_EQ(tarn::realloc(fixed, 0), fixed);
}

TEST(Heap, ReallocAlwaysMovesAndKeepsTheOldBlockWhenItFails) {
  auto* const block = static_cast<char*>(tarn::malloc(100));
  std::strcpy(block, "kept");
  EXPECT_EQ(tarn::realloc(block, kImpossible), nullptr);
  EXPECT_STREQ(block, "kept");
  auto* const smaller = static_cast<char*>(tarn::realloc(block, 10));
  EXPECT_NE(smaller, block);
  EXPECT_STREQ(smaller, "kept");
  tarn::free(smaller);
  tarn::free(nullptr);
  tarn::operator_delete(nullptr);
}

TEST(Heap, ExhaustionIsNullOrNumber199) {
  EXPECT_EQ(tarn::malloc(kImpossible), nullptr);
  EXPECT_EQ(tarn::calloc(1, kImpossible), nullptr);
  EXPECT_EQ(tarn::operator_new(kImpossible), nullptr);
  EXPECT_EQ(tarn::LockStorage(kImpossible), nullptr);
  EXPECT_EQ(raised_by([] { tarn::vmalloc(-1); }).number, 199);
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

TEST(Allocate, GivesZeroedBlocksAndTellsFailuresByStatusOrNumber) {
  std::int32_t status = 77;
  for (const std::int64_t size : {std::int64_t{-9}, std::int64_t{0}, std::int64_t{5000}}) {
    auto* const block = static_cast<unsigned char*>(tarn::ALLOCATE(size, &status, 0));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(status, 77);
    EXPECT_TRUE(
        intact({block, 0, 0}, static_cast<std::uint64_t>(std::max<std::int64_t>(size, 0) + 4)));
    std::memset(block, 0xFF, 4);
    tarn::UnlockStorage(block);
  }
  EXPECT_EQ(tarn::ALLOCATE(8, &status, 1), nullptr);
  EXPECT_EQ(status, 2);
  EXPECT_EQ(tarn::ALLOCATE(static_cast<std::int64_t>(kImpossible), &status, 0), nullptr);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(raised_by([] { tarn::ALLOCATE(8, nullptr, 1); }).number, 432);
  EXPECT_EQ(raised_by([] { tarn::ALLOCATE(INT64_MAX, nullptr, 0); }).number, 408);
}

struct ArrayInfo {
  std::uint64_t end;
  std::int64_t count, element_size;
};

// What compiled code does: the results are in rax, rcx and rdx.
ArrayInfo take(void* address) {
  ArrayInfo info{};
  info.count = reinterpret_cast<std::int64_t>(address);
  asm volatile(
      "mov %%rsp, %%r15; sub $256, %%rsp; and $-16, %%rsp; sub $32, %%rsp; call *%[routine]\n"
      "mov %%r15, %%rsp"
      : "=a"(info.end), "+c"(info.count), "=d"(info.element_size)
      : [routine] "r"(&tarn::__get_destruct_array_info)
      : "r8", "r9", "r10", "r11", "r15", "memory", "cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4",
        "xmm5");
  return info;
}

TEST(ArrayList, KeepsOneRecordAnAddressWhateverIsTakenFirst) {
  std::mt19937 random(52);
  std::map<std::uint64_t, std::pair<std::int32_t, std::int32_t>> model;
  for (int round = 0; round < 20'000; ++round) {
    const std::uint64_t key = 0x1000 + random() % 20 * 0x10;
    void* const address = reinterpret_cast<void*>(key);
    if (random() % 2) {
      const auto element = static_cast<std::int32_t>(1 + random() % 50);
      const auto total = static_cast<std::int32_t>(random() % 5000);
      tarn::__add_array_destruct_info(element, total, address);
      model[key] = {element, total / element};
    } else if (const auto known = model.find(key); known != model.end()) {
      const auto [element, count] = known->second;
      const ArrayInfo info = take(address);
      ASSERT_EQ(info.end, key + static_cast<std::uint64_t>(element) * static_cast<unsigned>(count));
      ASSERT_EQ(info.count, count);
      ASSERT_EQ(info.element_size, element);
      model.erase(known);
    } else if (round % 40 == 1) {
      ASSERT_EQ(raised_by([&] { take(address); }).number, 311);
    }
  }
}

TEST(ArrayList, ArithmeticHas32BitsAndAnElementOfNoSizeIsRefused) {
  int object = 0;
  tarn::__add_array_destruct_info(-1, INT32_MIN, &object);
  const ArrayInfo info = take(&object);
  EXPECT_EQ(info.count, INT32_MIN);
  EXPECT_EQ(info.element_size, -1);
  EXPECT_EQ(info.end, reinterpret_cast<std::uint64_t>(&object) + 0xFFFFFFFF80000000);
  EXPECT_EQ(raised_by([&] { tarn::__add_array_destruct_info(0, 8, &object); }).number, 311);
  EXPECT_EQ(raised_by([&] { take(&object); }).number, 311);
}

}  // namespace
