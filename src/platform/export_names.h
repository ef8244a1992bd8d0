// The names of a library's routines as one sorted list without pointers, made when it is
// compiled, so that a program's start has nothing to relocate. A switch over a name's number
// then returns the routine's address; its jump table has no pointers either.
//
//   constexpr const char* kNames[] = {...};
//   constexpr auto kSorted = sort_names<kNames>();
//   kSorted.find(name)   the number of the name in kNames, or kNoName
//   kSorted.text(i)      the i-th name of kNames
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn::platform {

inline constexpr std::size_t kNoName = ~std::size_t{0};

constexpr int compare_names(const char* a, const char* b) {
  while (*a != '\0' && *a == *b) ++a, ++b;
  return static_cast<unsigned char>(*a) - static_cast<unsigned char>(*b);
}

template <std::size_t kCount, std::size_t kBytes>
struct SortedNames {
  char bytes[kBytes];            // the names in the order of their numbers
  std::uint16_t begin[kCount];   // of each name, by number
  std::uint16_t sorted[kCount];  // numbers, by name

  constexpr const char* text(std::size_t number) const { return bytes + begin[number]; }

  constexpr std::size_t find(const char* name) const {
    for (std::size_t low = 0, high = kCount; low < high;) {
      const std::size_t middle = (low + high) / 2;
      const int order = compare_names(name, text(sorted[middle]));
      if (order == 0) return sorted[middle];
      (order < 0 ? high : low) = order < 0 ? middle : middle + 1;
    }
    return kNoName;
  }
};

template <std::size_t kCount>
constexpr std::size_t bytes_of_names(const char* const (&names)[kCount]) {
  std::size_t bytes = 0;
  for (const char* name : names) {
    while (*name++ != '\0') ++bytes;
    ++bytes;
  }
  return bytes;
}

// By merging: a sort that is fast enough for the compiler.
template <const auto& kNames>
consteval auto sort_names() {
  constexpr std::size_t kCount = sizeof kNames / sizeof kNames[0];
  constexpr std::size_t kBytes = bytes_of_names(kNames);
  static_assert(kBytes <= UINT16_MAX && kCount <= UINT16_MAX);
  SortedNames<kCount, kBytes> names{};
  std::size_t end = 0;
  for (std::size_t i = 0; i < kCount; ++i) {
    names.begin[i] = static_cast<std::uint16_t>(end);
    names.sorted[i] = static_cast<std::uint16_t>(i);
    for (const char* from = kNames[i]; *from != '\0'; ++from) names.bytes[end++] = *from;
    ++end;
  }
  std::uint16_t from[kCount]{};
  for (std::size_t run = 1; run < kCount; run *= 2) {
    for (std::size_t i = 0; i < kCount; ++i) from[i] = names.sorted[i];
    for (std::size_t start = 0; start < kCount; start += 2 * run) {
      const std::size_t middle = start + run < kCount ? start + run : kCount;
      const std::size_t stop = middle + run < kCount ? middle + run : kCount;
      std::size_t a = start, b = middle;
      for (std::size_t to = start; to < stop; ++to) {
        const bool second =
            a == middle || (b < stop && compare_names(kNames[from[b]], kNames[from[a]]) < 0);
        names.sorted[to] = from[second ? b++ : a++];
      }
    }
  }
  return names;
}

}  // namespace tarn::platform
