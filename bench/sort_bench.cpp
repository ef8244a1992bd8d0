// qsort against glibc's, with comparators that differ in their convention only; of
// equal elements, whose comparisons are promised to the last one, against these
// comparisons alone.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "bench/rows.h"
#include "services/sort.h"
#include "startup/initialise.h"

namespace {

constexpr std::size_t kElements = 1'000'000;

struct Record {
  std::uint64_t key;
  std::uint64_t data[7];
};

inline int order(double left, double right) { return (left > right) - (left < right); }
inline int order(const Record& left, const Record& right) {
  return (left.key > right.key) - (left.key < right.key);
}

template <class Element>
TARNAPI std::int32_t compare_ours(const void* left, const void* right) {
  return order(*static_cast<const Element*>(left), *static_cast<const Element*>(right));
}
template <class Element>
int compare_theirs(const void* left, const void* right) {
  return order(*static_cast<const Element*>(left), *static_cast<const Element*>(right));
}

template <class Element>
const std::vector<Element>& unsorted() {
  static const std::vector<Element> made = [] {
    std::mt19937_64 random(11);
    std::vector<Element> elements(kElements);
    for (Element& element : elements) {
      if constexpr (std::is_same_v<Element, double>) {
        element = std::uniform_real_distribution<double>(-1e6, 1e6)(random);
      } else {
        element.key = random();
      }
    }
    return elements;
  }();
  return made;
}

template <class Element, bool kOurs>
void sort_elements(benchmark::State& state) {
  std::vector<Element> elements(kElements);
  for (auto _ : state) {
    state.PauseTiming();
    std::copy(unsorted<Element>().begin(), unsorted<Element>().end(), elements.begin());
    state.ResumeTiming();
    if constexpr (kOurs) {
      tarn::qsort(elements.data(), kElements, sizeof(Element), compare_ours<Element>);
    } else {
      std::qsort(elements.data(), kElements, sizeof(Element), compare_theirs<Element>);
    }
    benchmark::ClobberMemory();
  }
}

constexpr std::size_t kEqual = 2'000;
constexpr std::size_t kLeastPartition = 7;  // fewer elements are sorted by insertion

void sort_equal(benchmark::State& state) {
  std::vector<double> elements(kEqual, 1.0);
  for (auto _ : state) {
    tarn::qsort(elements.data(), kEqual, sizeof(double), compare_ours<double>);
    benchmark::ClobberMemory();
  }
}

// The pivot is the greatest: each partition passes over all others.
void compare_equal(benchmark::State& state) {
  const std::vector<double> elements(kEqual, 1.0);
  const auto compare = bench::opaque(&compare_ours<double>);
  for (auto _ : state) {
    const double* const pivot = elements.data();
    for (std::size_t left = kEqual; left > 1; --left) {
      const double* const last = pivot + left - 1;
      for (const double* each = pivot + 1; each <= last; ++each) {
        if (compare(each, pivot) > 0) break;
      }
      if (left < kLeastPartition) break;
      benchmark::DoNotOptimize(compare(last, pivot));
    }
  }
}

constexpr bench::Row kRows[] = {
    {"qsort, 1,000,000 doubles", "qsort, glibc", sort_elements<double, true>,
     sort_elements<double, false>, 1.0},
    {"qsort, 1,000,000 64-byte records", "qsort, glibc", sort_elements<Record, true>,
     sort_elements<Record, false>, 1.0},
    {"qsort, 2,000 equal doubles", "its comparisons alone", sort_equal, compare_equal, 1.333},
};

}  // namespace

int main(int argc, char** argv) {
  bench::initialise(argc, argv);
  tarn::__initialise_cpplib();
  bench::run_rows(kRows, 3);
  return 0;
}
