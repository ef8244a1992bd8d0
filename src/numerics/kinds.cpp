#include "numerics/kinds.h"

namespace tarn {
namespace {

// Up to `limit` the kinds are these, one for each numbering.
struct IntegerRow {
  std::int32_t limit;
  std::int32_t usual, with_long, by_bytes;
};
constexpr IntegerRow kIntegerKinds[] = {
    {2, 1, 1, 1}, {4, 2, 2, 2}, {9, 3, 3, 4}, {18, -1, 4, 8}, {INT32_MAX, -1, -1, -1},
};

// Up to these digits and this exponent range; 0 for no such kind.
struct RealRow {
  std::int32_t precision, range;
  std::int32_t usual, with_extended;
};
constexpr RealRow kRealKinds[] = {
    {6, 37, 1, 1},
    {15, 307, 2, 2},
    {18, 4931, 0, 4},
    {INT32_MAX, INT32_MAX, 0, 0},
};

// The first row whose `limit` reaches `value`; the last row always does.
template <typename Row>
const Row& row_for(const Row* row, std::int32_t Row::*limit, std::int32_t value) {
  while (row->*limit < value) ++row;
  return *row;
}

std::int32_t integer_kind(std::int32_t p, std::int32_t IntegerRow::*numbering) {
  return row_for(kIntegerKinds, &IntegerRow::limit, p).*numbering;
}

std::int32_t real_kind(std::int32_t p, std::int32_t r, std::int32_t RealRow::*numbering) {
  const std::int32_t by_precision = row_for(kRealKinds, &RealRow::precision, p).*numbering;
  const std::int32_t by_range = row_for(kRealKinds, &RealRow::range, r).*numbering;
  if (by_precision == 0) return by_range == 0 ? -3 : -1;
  if (by_range == 0) return -2;
  return by_precision > by_range ? by_precision : by_range;
}

}  // namespace

std::int32_t SELECTED_INT_KIND(const std::int32_t* p) {
  return integer_kind(*p, &IntegerRow::usual);
}

std::int32_t SELECTED_INT_KIND1(const std::int32_t* p) {
  return integer_kind(*p, &IntegerRow::with_long);
}

std::int32_t SELECTED_INT_KINDA(const std::int32_t* p) {
  return integer_kind(*p, &IntegerRow::by_bytes);
}

std::int32_t SELECTED_REAL_KIND(const std::int32_t* p, const std::int32_t* r) {
  return real_kind(*p, *r, &RealRow::usual);
}

std::int32_t CLR_SELECTED_REAL_KIND(const std::int32_t* p, const std::int32_t* r) {
  return real_kind(*p, *r, &RealRow::usual);
}

std::int32_t SELECTED_REAL_KIND2(const std::int32_t* p, const std::int32_t* r) {
  return real_kind(*p, *r, &RealRow::with_extended);
}

std::int32_t SELECTED_REAL_KINDA(const std::int32_t* p, const std::int32_t* r) {
  switch (const std::int32_t kind = SELECTED_REAL_KIND(p, r)) {
    case 1:
      return 4;
    case 2:
      return 8;
    case 3:
      return 10;
    default:
      return kind;
  }
}

}  // namespace tarn
