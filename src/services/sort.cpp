#include "services/sort.h"

#include "process/process_state.h"
#include "storage/secondary_stack.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::uint64_t kLeastPartition = 7;  // fewer elements are sorted by insertion
constexpr std::uint64_t kListBytesAnElement = 8;

struct Range {
  std::uint8_t* first;
  std::uint64_t count;
};

template <class Unit>
[[gnu::always_inline]] inline void swap_units(std::uint8_t*& left, std::uint8_t*& right) {
  using Unaligned [[gnu::aligned(1), gnu::may_alias]] = Unit;
  auto& a = *reinterpret_cast<Unaligned*>(left);
  auto& b = *reinterpret_cast<Unaligned*>(right);
  const Unit kept = a;
  a = b;
  b = kept;
  left += sizeof(Unit);
  right += sizeof(Unit);
}

using Vector [[gnu::vector_size(16)]] = std::uint64_t;

[[gnu::always_inline]] inline void swap_bytes(std::uint8_t* left, std::uint8_t* right,
                                              std::uint64_t size) {
  for (; size >= 16; size -= 16) swap_units<Vector>(left, right);
  if (size & 8) swap_units<std::uint64_t>(left, right);
  if (size & 4) swap_units<std::uint32_t>(left, right);
  if (size & 2) swap_units<std::uint16_t>(left, right);
  if (size & 1) swap_units<std::uint8_t>(left, right);
}

// Size: std::uint64_t, or a constant of that value.
template <class Size>
struct Sorter {
  Size size;
  Comparator comparator;

  [[gnu::always_inline]] std::uint8_t* at(const Range& range, std::uint64_t index) const {
    return range.first + index * size;
  }

  // Neighbouring swaps.
  void insert(const Range& range) const {
    for (std::uint64_t i = 1; i < range.count; ++i) {
      for (std::uint8_t* place = at(range, i); place != range.first; place -= size) {
        if (comparator(place - size, place) < 1) break;
        swap_bytes(place - size, place, size);
      }
    }
  }

  // Result: the pivot, in its final place.
  std::uint8_t* partition(const Range& range) const {
    std::uint8_t* const pivot = range.first;
    swap_bytes(pivot, at(range, range.count / 2), size);
    std::uint8_t* const last = at(range, range.count - 1);
    std::uint8_t* i = pivot + size;
    std::uint8_t* j = last;
    while (i < j) {
      while (comparator(i, pivot) <= 0 && i < last) i += size;
      // A comparator may put even the pivot above itself.
      while (comparator(j, pivot) > 0 && j > pivot) j -= size;
      if (i < j) swap_bytes(i, j, size);
    }
    if (j != pivot) swap_bytes(pivot, j, size);
    return j;
  }

  void sort(Range range, Range* list) const {
    const Range* const bottom = list;
    for (;;) {
      while (range.count > 1) {
        if (range.count < kLeastPartition) {
          insert(range);
          break;
        }
        std::uint8_t* const pivot = partition(range);
        const std::uint64_t before = static_cast<std::uint64_t>(pivot - range.first) / size;
        const Range left{range.first, before};
        const Range right{pivot + size, range.count - before - 1};
        // The smaller part first: the list grows with the logarithm.
        const bool left_first = right.count >= left.count;
        *list++ = left_first ? right : left;
        range = left_first ? left : right;
      }
      if (list == bottom) return;
      range = *--list;
    }
  }
};

template <std::uint64_t kSize>
struct Constant {
  constexpr operator std::uint64_t() const { return kSize; }
};

}  // namespace

void qsort(void* base, std::uint64_t count, std::uint64_t size, Comparator comparator) {
  if (count < 2) return;
  void* const kept = __return_pseudo_stack_ptr();
  auto* const list = static_cast<Range*>(
      __alloc_pseudo_stack(static_cast<std::int64_t>(count * kListBytesAnElement)));
  const Range all{static_cast<std::uint8_t*>(base), count};
  if (size == 8) {
    Sorter<Constant<8>>{{}, comparator}.sort(all, list);
  } else {
    Sorter<std::uint64_t>{size, comparator}.sort(all, list);
  }
  __set_pseudo_stack_ptr(kept);
}

void* bsearch(const void* key, const void* base, std::uint64_t count, std::uint64_t size,
              Comparator comparator) {
  std::int32_t low = 0;
  std::int32_t high = static_cast<std::int32_t>(static_cast<std::uint32_t>(count) - 1);
  while (low <= high) {
    const std::int64_t middle = (std::int64_t{low} + high) / 2;
    const auto* const element =
        static_cast<const std::uint8_t*>(base) + static_cast<std::uint64_t>(middle) * size;
    const std::int32_t order = comparator(key, element);
    if (order == 0) return const_cast<std::uint8_t*>(element);
    if (order > 0) {
      low = static_cast<std::int32_t>(middle + 1);
    } else {
      high = static_cast<std::int32_t>(middle - 1);
    }
  }
  return nullptr;
}

void _swap(void* left, void* right, std::int32_t size) {
  auto* const a = static_cast<std::uint8_t*>(left);
  auto* const b = static_cast<std::uint8_t*>(right);
  for (std::int32_t i = 0; i < size; ++i) {
    const std::uint8_t kept = a[i];
    a[i] = b[i];
    b[i] = kept;
  }
}

std::int32_t compare(const void* left, const void* right) {
  return strcmpl((*static_cast<const tarn_block_record* const*>(left))->name,
                 (*static_cast<const tarn_block_record* const*>(right))->name);
}

}  // namespace tarn
