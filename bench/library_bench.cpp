// Storage, strings and integers as text against named peers.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bench/rows.h"
#include "startup/initialise.h"
#include "storage/heap.h"
#include "storage/secondary_stack.h"
#include "streams/format.h"
#include "strings/c_string.h"

namespace {

using bench::opaque;
using bench::Row;

constexpr int kTextLength = 4096;

std::string long_text() { return std::string(kTextLength, 'x'); }

void sprintf_ours(benchmark::State& state) {
  char text[256];
  int i = 0;
  for (auto _ : state) {
    ++i;
    benchmark::DoNotOptimize(
        tarn::sprintf(text, "%d %s %5d|%x %u %lld %-10s|", i, "alpha", i * 7, i, i, i * 99LL, "b"));
    benchmark::ClobberMemory();
  }
}

void sprintf_peer(benchmark::State& state) {
  char text[256];
  int i = 0;
  for (auto _ : state) {
    ++i;
    benchmark::DoNotOptimize(std::snprintf(text, sizeof text, "%d %s %5d|%x %u %lld %-10s|", i,
                                           "alpha", i * 7, i, i, i * 99LL, "b"));
    benchmark::ClobberMemory();
  }
}

// Sizes of blocks, ready made: working them out would cost as much as the fast
// rows do.
constexpr int kSizes = 256;
const std::uint64_t* sizes() {
  static std::uint64_t made[kSizes];
  std::uint64_t size = 8;
  for (std::uint64_t& each : made) {
    each = size;
    size = size * 5 % 1021 + 8;
  }
  return made;
}

void heap_ours(benchmark::State& state) {
  const std::uint64_t* const size = sizes();
  unsigned i = 0;
  for (auto _ : state) {
    void* const block = tarn::malloc(size[i++ % kSizes]);
    benchmark::DoNotOptimize(block);
    tarn::free(block);
  }
}

void heap_peer(benchmark::State& state) {
  const std::uint64_t* const size = sizes();
  unsigned i = 0;
  const auto allocate = opaque(&std::malloc);
  const auto release = opaque(&std::free);
  for (auto _ : state) {
    void* const block = allocate(size[i++ % kSizes]);
    benchmark::DoNotOptimize(block);
    release(block);
  }
}

void pseudo_stack_ours(benchmark::State& state) {
  const std::uint64_t* const size = sizes();
  unsigned i = 0;
  for (auto _ : state) {
    void* const mark = tarn::__return_pseudo_stack_ptr();
    benchmark::DoNotOptimize(
        tarn::__alloc_pseudo_stack(static_cast<std::int64_t>(size[i++ % kSizes])));
    tarn::__set_pseudo_stack_ptr(mark);
  }
}

template <class Routine>
void over_text(benchmark::State& state, Routine routine) {
  const std::string left = long_text();
  const std::string right = long_text();
  std::string target(kTextLength + 1, '\0');
  for (auto _ : state) {
    routine(target.data(), left.c_str(), right.c_str());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * kTextLength);
}

// A byte a cycle: what a loop of one byte and one cycle would take, timed on
// a chain of dependent additions.
void one_cycle_a_byte(benchmark::State& state) {
  for (auto _ : state) {
    std::uint64_t chain = 0;
    for (int i = 0; i < kTextLength; i += 16) {
      asm volatile(
          "add $1, %0; add $1, %0; add $1, %0; add $1, %0; add $1, %0; add $1, %0; add $1, %0; add "
          "$1, %0;"
          "add $1, %0; add $1, %0; add $1, %0; add $1, %0; add $1, %0; add $1, %0; add $1, %0; add "
          "$1, %0"
          : "+r"(chain));
    }
    benchmark::DoNotOptimize(chain);
  }
}

const Row kRows[] = {
    {"sprintf, integers and texts", "snprintf, glibc", sprintf_ours, sprintf_peer, 1 / 1.5},
    {"malloc and free", "malloc and free, glibc", heap_ours, heap_peer, 1.0},
    {"pseudo stack, allocate and reset", "malloc and free, glibc", pseudo_stack_ours, heap_peer,
     1 / 5.0},
    {"strlen, 4,096 bytes", "a cycle a byte",
     [](benchmark::State& state) {
       over_text(state, [](char*, const char* text, const char*) {
         benchmark::DoNotOptimize(tarn::strlen(text));
       });
     },
     one_cycle_a_byte, 1 / 0.9},
    {"strcpy, 4,096 bytes", "a cycle a byte",
     [](benchmark::State& state) {
       over_text(state, [](char* to, const char* text, const char*) { tarn::strcpy(to, text); });
     },
     one_cycle_a_byte, 1 / 0.9},
    {"strcmp, 4,096 bytes", "a cycle a byte",
     [](benchmark::State& state) {
       over_text(state, [](char*, const char* left, const char* right) {
         benchmark::DoNotOptimize(tarn::strcmp(left, right));
       });
     },
     one_cycle_a_byte, 1 / 0.9},
};

}  // namespace

int main(int argc, char** argv) {
  bench::initialise(argc, argv);
  tarn::__initialise_cpplib();
  bench::run_rows(kRows);
  return 0;
}
