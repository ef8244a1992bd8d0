#include "services/sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "process/process_state.h"
#include "storage/secondary_stack.h"
#include "tests/support/raised.h"

namespace {

using Values = std::vector<std::int32_t>;
// The indices of the elements of a comparison, one after the other.
using Calls = std::vector<std::uint32_t>;
using Order = std::function<int(std::int32_t, std::int32_t)>;

// ---- The sort again, on values, by its rules ---------------------------------------

struct Model {
  Values& a;
  const Order& order;
  Calls calls{};

  int compare(int left, int right) {
    calls.push_back(static_cast<std::uint32_t>(left));
    calls.push_back(static_cast<std::uint32_t>(right));
    return order(a[static_cast<std::size_t>(left)], a[static_cast<std::size_t>(right)]);
  }
  void swap(int left, int right) {
    std::swap(a[static_cast<std::size_t>(left)], a[static_cast<std::size_t>(right)]);
  }

  void run() {
    std::vector<std::pair<int, int>> work;
    int first = 0, n = static_cast<int>(a.size());
    for (;;) {
      while (n > 1) {
        if (n < 7) {
          for (int k = first + 1; k < first + n; ++k) {
            for (int m = k; m > first && compare(m - 1, m) >= 1; --m) swap(m - 1, m);
          }
          n = 0;
          continue;
        }
        swap(first, first + n / 2);
        int i = first + 1, j = first + n - 1;
        while (i < j) {
          while (compare(i, first) <= 0 && i < first + n - 1) ++i;
          while (compare(j, first) > 0) --j;
          if (i < j) swap(i, j);
        }
        if (j != first) swap(first, j);
        const int left = j - first, right = n - left - 1;
        if (right >= left) {
          work.emplace_back(j + 1, right);
          n = left;
        } else {
          work.emplace_back(first, left);
          first = j + 1;
          n = right;
        }
      }
      if (work.empty()) return;
      first = work.back().first;
      n = work.back().second;
      work.pop_back();
    }
  }
};

// ---- The library's, watched ----------------------------------------------------------

struct Watch {
  const std::uint8_t* base;
  std::size_t size;
  const Order* order;
  Calls calls;
};
Watch watch;

std::int32_t value_at(const void* element) {
  std::int32_t value = 0;
  std::memcpy(&value, element, std::min(sizeof value, watch.size));
  return value;
}

TARNAPI std::int32_t watched(const void* left, const void* right) {
  const auto index = [](const void* element) {
    return static_cast<std::uint32_t>(
        static_cast<std::size_t>(static_cast<const std::uint8_t*>(element) - watch.base) /
        watch.size);
  };
  watch.calls.push_back(index(left));
  watch.calls.push_back(index(right));
  return (*watch.order)(value_at(left), value_at(right));
}

// Elements whose other bytes follow from the value.
std::vector<std::uint8_t> elements(const Values& values, std::size_t size) {
  std::vector<std::uint8_t> result(values.size() * size);
  for (std::size_t i = 0; i < values.size(); ++i) {
    for (std::size_t k = 0; k < size; ++k) {
      result[i * size + k] =
          static_cast<std::uint8_t>(k < 4 ? static_cast<std::uint32_t>(values[i]) >> (8 * k)
                                          : static_cast<std::uint32_t>(values[i]) * 7 + k);
    }
  }
  return result;
}

void expect_as_model(const Values& values, std::size_t size, const Order& order,
                     const Order& same_order_anew, const std::string& name) {
  std::vector<std::uint8_t> array = elements(values, size);
  watch = {array.data(), size, &order, {}};
  void* const stack = tarn::__return_pseudo_stack_ptr();
  tarn::qsort(array.data(), values.size(), size, watched);
  EXPECT_EQ(tarn::__return_pseudo_stack_ptr(), stack) << name;
  Values sorted = values;
  Model model{sorted, same_order_anew};
  model.run();
  EXPECT_TRUE(watch.calls == model.calls) << name;
  EXPECT_TRUE(array == elements(sorted, size)) << name;
}

int rising(std::int32_t left, std::int32_t right) { return (left > right) - (left < right); }

TEST(Sort, ComparesInTheStatedOrder) {
  tarn::test::initialise();
  std::mt19937 random_number(3);
  constexpr std::size_t kSizes[] = {8, 4, 1, 2, 3, 12, 16, 24, 40, 64, 100};
  int turn = 0;
  for (std::size_t count = 0; count <= 5000; count = count < 40 ? count + 1 : count * 7 / 4) {
    if (count > 3500) count = 5000;
    const auto last = static_cast<std::int32_t>(count) - 1;
    struct {
      const char* name;
      std::size_t most;  // elements; many equal ones take the square of the time
      std::function<std::int32_t(std::int32_t)> value;
    } const shapes[] = {
        {"random", 5000,
         [&](std::int32_t) { return static_cast<std::int32_t>(random_number() >> 1); }},
        {"few values", 700,
         [&](std::int32_t) { return static_cast<std::int32_t>(random_number() % 4); }},
        {"rising", 5000, [](std::int32_t i) { return i; }},
        {"falling", 5000, [&](std::int32_t i) { return last - i; }},
        {"equal", 700, [](std::int32_t) { return 5; }},
        {"pipes", 5000, [&](std::int32_t i) { return std::min(i, last - i); }},
        {"saw", 5000, [](std::int32_t i) { return i % 17; }},
        {"last is least", 5000, [&](std::int32_t i) { return i == last ? -1 : i; }},
    };
    for (const auto& shape : shapes) {
      if (count > shape.most) continue;
      const std::size_t size = kSizes[static_cast<std::size_t>(turn++) % std::size(kSizes)];
      Values values;
      for (std::int32_t i = 0; i <= last; ++i) {
        // What a small element can hold.
        const std::int32_t value = shape.value(i);
        values.push_back(size < 4 ? (value & 0x7F) : value);
      }
      expect_as_model(
          values, size, rising, rising,
          shape.name + std::string(" ") + std::to_string(count) + " of " + std::to_string(size));
    }
  }
}

// Decides each comparison as late as it can, so that the pivot is always bad.
Order adversary(std::size_t count) {
  struct State {
    Values rank;
    std::int32_t solid = 0, candidate = 0;
  };
  auto state = std::make_shared<State>();
  const auto gas = static_cast<std::int32_t>(count);
  state->rank.assign(count, gas);
  return [state, gas](std::int32_t x, std::int32_t y) {
    auto& rank = state->rank;
    const auto at = [&](std::int32_t i) -> std::int32_t& {
      return rank[static_cast<std::size_t>(i)];
    };
    if (at(x) == gas && at(y) == gas) at(x == state->candidate ? x : y) = state->solid++;
    if (at(x) == gas) {
      state->candidate = x;
    } else if (at(y) == gas) {
      state->candidate = y;
    }
    return at(x) - at(y);
  };
}

TEST(Sort, AgainstAnAdversaryAndComparatorsThatAreNoOrder) {
  tarn::test::initialise();
  for (const std::size_t count : {7, 100, 2000}) {
    Values values(count);
    std::iota(values.begin(), values.end(), 0);
    expect_as_model(values, 8, adversary(count), adversary(count), "adversary");
  }
  // Never equal, not even to itself: what is outside stays untouched.
  const Order less = [](std::int32_t left, std::int32_t right) { return left < right ? -1 : 1; };
  const Order above = [](std::int32_t, std::int32_t) { return 1; };
  const Order below = [](std::int32_t, std::int32_t) { return -1; };
  for (const Order* order : {&less, &above, &below}) {
    for (const std::size_t count : {6, 7, 50}) {
      std::vector<std::uint8_t> array = elements(Values(count + 2, 9), 8);
      watch = {array.data() + 8, 8, order, {}};
      tarn::qsort(array.data() + 8, count, 8, watched);
      const auto most = *std::max_element(watch.calls.begin(), watch.calls.end());
      EXPECT_LT(most, count);
    }
  }
}

TEST(Sort, BinarySearchHalvesWithTheKeyFirst) {
  tarn::test::initialise();
  for (std::int32_t count = 0; count < 40; ++count) {
    Values array;
    for (std::int32_t i = 0; i < count; ++i) array.push_back(i / 3 * 2);
    for (std::int32_t key = -1; key <= count; ++key) {
      const Order order = rising;
      watch = {reinterpret_cast<const std::uint8_t*>(array.data()), 4, &order, {}};
      // The key is found by its place outside the array.
      const auto comparator = [](const void* left, const void* right) TARNAPI -> std::int32_t {
        watch.calls.push_back(
            static_cast<std::uint32_t>((static_cast<const std::uint8_t*>(right) - watch.base) / 4));
        return rising(value_at(left), value_at(right));
      };
      const void* const found =
          tarn::bsearch(&key, array.data(), static_cast<std::uint64_t>(count), 4, comparator);
      Calls calls;
      const std::int32_t* wanted = nullptr;
      for (std::int32_t low = 0, high = count - 1; low <= high && !wanted;) {
        const std::int32_t middle = (low + high) / 2;
        const std::int32_t value = array[static_cast<std::size_t>(middle)];
        calls.push_back(static_cast<std::uint32_t>(middle));
        if (key > value) low = middle + 1;
        if (key < value) high = middle - 1;
        if (key == value) wanted = &array[static_cast<std::size_t>(middle)];
      }
      EXPECT_EQ(found, wanted) << count << " " << key;
      EXPECT_EQ(watch.calls, calls) << count << " " << key;
    }
  }
}

TEST(Sort, SwapAndTheComparatorOfBlocks) {
  char text[] = "0123456789";
  tarn::_swap(text, text + 5, 3);
  EXPECT_STREQ(text, "5673401289");
  tarn::_swap(text, text + 5, 0);
  tarn::_swap(text, text + 5, -4);
  EXPECT_STREQ(text, "5673401289");

  tarn::BlockRecord upper{}, lower{}, other{};
  upper.name = "ALPHA";
  lower.name = "alpha";
  other.name = "Beta";
  tarn::BlockRecord* list[] = {&other, &lower, &upper};
  EXPECT_EQ(tarn::compare(&list[1], &list[2]), 0);
  EXPECT_GT(tarn::compare(&list[0], &list[2]), 0);
  tarn::qsort(list, 3, sizeof *list, tarn::compare);
  EXPECT_EQ(list[2], &other);
}

}  // namespace
