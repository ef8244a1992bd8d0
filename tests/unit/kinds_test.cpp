#include "numerics/kinds.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

TEST(Kinds, IntegersByDecimalRange) {
  const struct {
    std::int32_t p, usual, with_long, by_bytes;
  } cases[] = {
      {INT32_MIN, 1, 1, 1}, {2, 1, 1, 1},
      {3, 2, 2, 2},         {4, 2, 2, 2},
      {5, 3, 3, 4},         {9, 3, 3, 4},
      {10, -1, 4, 8},       {18, -1, 4, 8},
      {19, -1, -1, -1},     {INT32_MAX, -1, -1, -1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(tarn::SELECTED_INT_KIND_at(&c.p), c.usual) << c.p;
    EXPECT_EQ(tarn::SELECTED_INT_KIND1_at(&c.p), c.with_long) << c.p;
    EXPECT_EQ(tarn::SELECTED_INT_KINDA_at(&c.p), c.by_bytes) << c.p;
  }
}

TEST(Kinds, RealsByPrecisionAndRange) {
  const struct {
    std::int32_t p, r, usual, with_extended, by_bytes;
  } cases[] = {
      {-1, INT32_MIN, 1, 1, 4}, {6, 37, 1, 1, 4},
      {7, 0, 2, 2, 8},          {6, 38, 2, 2, 8},
      {6, 300, 2, 2, 8},        {15, 307, 2, 2, 8},
      {16, 307, -1, 4, -1},     {18, 0, -1, 4, -1},
      {15, 308, -2, 4, -2},     {16, 400, -3, 4, -3},
      {18, 4931, -3, 4, -3},    {19, 4931, -3, -1, -3},
      {18, 4932, -3, -2, -3},   {19, 0, -1, -1, -1},
      {0, 4932, -2, -2, -2},    {INT32_MAX, INT32_MAX, -3, -3, -3},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(tarn::SELECTED_REAL_KIND_at(&c.p, &c.r), c.usual) << c.p << ", " << c.r;
    EXPECT_EQ(tarn::CLR_SELECTED_REAL_KIND_at(&c.p, &c.r), c.usual) << c.p << ", " << c.r;
    EXPECT_EQ(tarn::SELECTED_REAL_KIND2_at(&c.p, &c.r), c.with_extended) << c.p << ", " << c.r;
    EXPECT_EQ(tarn::SELECTED_REAL_KINDA_at(&c.p, &c.r), c.by_bytes) << c.p << ", " << c.r;
  }
}

}  // namespace
