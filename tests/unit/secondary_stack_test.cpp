#include "storage/secondary_stack.h"
#include "services/stack_statistics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "platform/platform.h"
#include "process/process_state.h"
#include "startup/start_up.h"
#include "streams/file_stream.h"
#include "tests/support/raised.h"

namespace {

namespace platform = tarn::platform;
using tarn::secondary_stack;
using tarn::test::raised_by;

constexpr std::uint64_t kPage = 4096;
constexpr std::uint64_t kSmall = 16 * kPage;

std::uint64_t number(void* address) { return reinterpret_cast<std::uint64_t>(address); }
std::uint64_t pointer() { return number(tarn::__return_pseudo_stack_ptr()); }
void reset(std::uint64_t address) {
  tarn::__set_pseudo_stack_ptr(reinterpret_cast<void*>(address));
}
std::uint64_t pseudo(std::int64_t size) { return number(tarn::__alloc_pseudo_stack(size)); }
std::uint64_t quasi(std::int64_t size) { return number(tarn::__alloc_quasi_stack(size)); }

// Each test has a fresh area, of which it uses a little.
class SecondaryStackTest : public testing::Test {
 protected:
  void SetUp() override {
    tarn::test::initialise();
    platform::VirtualFree(reinterpret_cast<void*>(secondary_stack.base), 0, platform::kMemRelease);
    tarn::__init_pseudo_stack();
    tarn::__set_stack_size(kSmall);
    reset(secondary_stack.top);
  }
};

TEST_F(SecondaryStackTest, IsSizedByMemoryLessTheProgramsStorage) {
  platform::MemoryStatus memory{};
  memory.length = sizeof memory;
  ASSERT_TRUE(platform::GlobalMemoryStatusEx(&memory));
  tarn::__init_pseudo_stack();
  EXPECT_EQ(secondary_stack.reservation, 0x200000000u);
  const std::uint64_t most = std::min(memory.total_physical / 2, secondary_stack.reservation);
  EXPECT_EQ(secondary_stack.size, (most - kPage) / kPage * kPage);
  const std::int64_t before = tarn::program_storage;
  tarn::__record_program_storage(100'000 - before);
  tarn::__init_pseudo_stack();
  EXPECT_EQ(secondary_stack.size, (most - 100'000) / kPage * kPage);
  tarn::__record_program_storage(INT64_MAX / 2);  // more than there is
  tarn::__init_pseudo_stack();
  EXPECT_EQ(secondary_stack.size, 0u);
  EXPECT_EQ(raised_by([] { pseudo(1); }).number, 444);
  tarn::__record_program_storage(before - tarn::program_storage);
}

TEST_F(SecondaryStackTest, SizesAreRoundedDownAndKeptWithinTheReservation) {
  const std::pair<std::int64_t, std::uint64_t> sizes[] = {
      {kSmall + 4095, kSmall}, {4095, 0}, {-1, 0}, {INT64_MAX, secondary_stack.reservation}};
  for (const auto& [bytes, size] : sizes) {
    tarn::__set_stack_size(bytes);
    EXPECT_EQ(secondary_stack.size, size) << bytes;
    EXPECT_EQ(secondary_stack.top, secondary_stack.base + size);
    EXPECT_EQ(pointer(), secondary_stack.top);
    EXPECT_EQ(tarn::runtime_cell(tarn::kCellPseudoStack), pointer());
  }
}

TEST_F(SecondaryStackTest, BothStacksFollowAModelUntilTheyMeet) {
  std::mt19937 random(61);
  const std::uint64_t base = secondary_stack.base, top = secondary_stack.top;
  std::uint64_t down = top, up = base, down_limit = top, up_limit = base,
                marks[3] = {top, top, top};
  int met = 0;
  for (int round = 0; round < 50'000; ++round) {
    const std::int64_t size = static_cast<std::int64_t>(random() % (round % 20 ? 600 : 20'000)) - 3;
    const std::uint64_t bytes = size <= 0 ? 0 : (static_cast<std::uint64_t>(size) + 15) / 16 * 16;
    const auto choice = random() % 100;
    if (choice < 40) {
      std::uint64_t got = 0;
      const std::int64_t raised = raised_by([&] { got = pseudo(size); }).number;
      const std::uint64_t low = std::min(down_limit, (down - bytes) / kPage * kPage);
      if (bytes && low < up_limit) {
        ++met;
        ASSERT_EQ(raised, 444);
      } else {
        down -= bytes;
        down_limit = low;
        ASSERT_EQ(raised, -1);
        ASSERT_EQ(got, down);
        if (bytes) *reinterpret_cast<volatile char*>(got) = 1;
      }
    } else if (choice < 70) {
      const std::uint64_t taken = bytes ? bytes : 16;
      std::uint64_t got = 0;
      const std::int64_t raised = raised_by([&] { got = quasi(size); }).number;
      const std::uint64_t high = std::max(up_limit, (up + taken + kPage - 1) / kPage * kPage);
      if (high > down_limit) {
        ++met;
        ASSERT_EQ(raised, 444);
      } else {
        ASSERT_EQ(raised, -1);
        ASSERT_EQ(got, up);
        up += taken;
        up_limit = high;
        reinterpret_cast<volatile char*>(up)[-1] = 1;
      }
    } else if (choice < 90) {
      std::uint64_t& mark = marks[random() % 3];
      if (mark >= down) {
        reset(mark);
        down = mark;
      }
      mark = down;
    } else if (choice < 93) {
      tarn::__free_quasi_stack();
      up = base;
    } else if (round % 2000 == 0) {
      tarn::__free_quasi_stack();
      reset(top);
      up = base;
      down = top;
    }
    ASSERT_EQ(pointer(), down);
    ASSERT_EQ(secondary_stack.pseudo_committed, down_limit);
    ASSERT_EQ(secondary_stack.quasi_committed, up_limit);
  }
  EXPECT_GT(met, 100);
}

TEST_F(SecondaryStackTest, AStackMadeTooSmallForWhatItHoldsRefusesWork) {
  quasi(4 * kPage);
  tarn::__set_stack_size(kPage);
  EXPECT_EQ(raised_by([] { pseudo(1); }).number, 444);
  EXPECT_EQ(raised_by([] { quasi(1); }).number, 444);
}

}  // namespace
