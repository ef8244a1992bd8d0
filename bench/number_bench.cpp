// Numbers as text and back, and dot products, against named peers.

#include <emmintrin.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "bench/rows.h"
#include "numerics/dot_products.h"
#include "startup/initialise.h"
#include "streams/conversion/number_parse.h"
#include "streams/format.h"
#include "streams/scan.h"

#ifdef TARN_OPENBLAS
extern "C" {
double cblas_ddot(int n, const double* x, int step_x, const double* y, int step_y);
float cblas_sdot(int n, const float* x, int step_x, const float* y, int step_y);
void openblas_set_num_threads(int count);
}
#endif

namespace {

using bench::Row;

constexpr int kValues = 1024;  // a power of two
constexpr int kLength = 1024;  // of the vectors

struct Data {
  std::vector<double> ordinary;  // -1e6 to 1e6
  std::vector<std::string> texts, lines;
  std::vector<double> a8, b8;
  std::vector<float> a4, b4;
};

const Data& data() {
  static const Data made = [] {
    Data d;
    std::mt19937_64 random(5);
    std::uniform_real_distribution<double> wide(-1e6, 1e6);
    std::uniform_real_distribution<double> narrow(0.1, 0.9);
    for (int i = 0; i < kValues; ++i) {
      d.ordinary.push_back(wide(random));
      char text[64];
      std::snprintf(text, sizeof text, "%.*g", 3 + i % 15, d.ordinary.back());
      d.texts.emplace_back(text);
      std::snprintf(text, sizeof text, "%d %.6g word%d", i * 37, d.ordinary.back(), i);
      d.lines.emplace_back(text);
    }
    for (int i = 0; i < kLength; ++i) {
      d.a8.push_back(narrow(random));
      d.b8.push_back(narrow(random));
      d.a4.push_back(static_cast<float>(d.a8.back()));
      d.b4.push_back(static_cast<float>(d.b8.back()));
    }
    return d;
  }();
  return made;
}

template <class Routine>
void over_values(benchmark::State& state, const std::vector<double>& values, Routine routine) {
  std::size_t i = 0;
  for (auto _ : state) {
    routine(values[i++ & (kValues - 1)]);
    benchmark::ClobberMemory();
  }
}

template <class Routine>
void over_texts(benchmark::State& state, const std::vector<std::string>& texts, Routine routine) {
  std::size_t i = 0;
  for (auto _ : state) {
    routine(texts[i++ & (kValues - 1)].c_str());
    benchmark::ClobberMemory();
  }
}

char text[512];

template <int kFormat>
void print_ours(benchmark::State& state) {
  static const char* const formats[] = {"%.6f", "%g", "%.15e"};
  over_values(state, data().ordinary, [](double x) { tarn::sprintf(text, formats[kFormat], x); });
}

template <int kFormat>
void print_peer(benchmark::State& state) {
  static const char* const formats[] = {"%.6f", "%g", "%.15e"};
  over_values(state, data().ordinary,
              [](double x) { std::snprintf(text, sizeof text, formats[kFormat], x); });
}

// The kernels have a contract of their own: see numerics/dot_products.h.
template <class Real>
Real dot(const void* kernel, const Real* a, const Real* b) {
  register const Real* first asm("rcx") = a;
  register const Real* second asm("rdx") = b;
  register std::int64_t count asm("r8") = kLength;
  register Real sum asm("xmm0");
  asm volatile(
      "lea -128(%%rsp), %%rsp\n\t"  // keeps clear of the red zone
      "call *%[kernel]\n\t"
      "lea 128(%%rsp), %%rsp"
      : "=x"(sum), "+r"(first), "+r"(second), "+r"(count)
      : [kernel] "r"(kernel)
      : "r9", "xmm8", "xmm9", "cc", "memory");
  return sum;
}

// Each call waits for the result of the one before, which moves its address by
// nothing.
template <class Real>
void dependent_dots(benchmark::State& state, const void* kernel, const std::vector<Real>& a,
                    const std::vector<Real>& b) {
  std::intptr_t nothing = 0;
  for (auto _ : state) {
    const auto* const moved = reinterpret_cast<const char*>(a.data()) + nothing;
    const Real sum = dot(kernel, reinterpret_cast<const Real*>(moved), b.data());
    asm volatile("movq %1, %0\n\tandq $0, %0" : "=r"(nothing) : "x"(sum) : "cc");
  }
}

void dot8_ours(benchmark::State& state) {
  dependent_dots(state, reinterpret_cast<const void*>(&tarn::__dotp8), data().a8, data().b8);
}

void dot4_ours(benchmark::State& state) {
  dependent_dots(state, reinterpret_cast<const void*>(&tarn::__dotp4), data().a4, data().b4);
}

// What the order of the sums costs at least: as many additions, each waiting
// for the one before.
#define EIGHT_TIMES(instruction)                                                          \
  instruction "\n\t" instruction "\n\t" instruction "\n\t" instruction "\n\t" instruction \
              "\n\t" instruction "\n\t" instruction "\n\t" instruction

void dot8_chain(benchmark::State& state) {
  __m128d sum = _mm_setzero_pd();
  for (auto _ : state) {
    for (int i = 0; i < kLength / 2; i += 8) {
      asm volatile(EIGHT_TIMES("addpd %1, %0") : "+x"(sum) : "x"(_mm_setzero_pd()));
    }
  }
}

void dot4_chain(benchmark::State& state) {
  __m128 sum = _mm_setzero_ps();
  for (auto _ : state) {
    for (int i = 0; i < kLength / 4; i += 8) {
      asm volatile(EIGHT_TIMES("addps %1, %0") : "+x"(sum) : "x"(_mm_setzero_ps()));
    }
  }
}

const Row kRows[] = {
    {"sprintf %.6f", "snprintf, glibc", print_ours<0>, print_peer<0>, 1 / 3.0},
    {"sprintf %g", "snprintf, glibc", print_ours<1>, print_peer<1>, 1 / 3.0},
    {"sprintf %.15e", "snprintf, glibc", print_ours<2>, print_peer<2>, 1 / 2.0},
    {"strtod", "strtod, glibc",
     [](benchmark::State& state) {
       over_texts(state, data().texts, [](const char* t) {
         char* end;
         benchmark::DoNotOptimize(tarn::strtod(t, &end));
       });
     },
     [](benchmark::State& state) {
       over_texts(state, data().texts, [](const char* t) {
         char* end;
         benchmark::DoNotOptimize(std::strtod(t, &end));
       });
     },
     1.0},
    {"sscanf %d %lf %s", "sscanf, glibc",
     [](benchmark::State& state) {
       over_texts(state, data().lines, [](const char* t) {
         int i;
         double d;
         benchmark::DoNotOptimize(tarn::sscanf(t, "%d %lf %s", &i, &d, text));
       });
     },
     [](benchmark::State& state) {
       over_texts(state, data().lines, [](const char* t) {
         int i;
         double d;
         benchmark::DoNotOptimize(std::sscanf(t, "%d %lf %s", &i, &d, text));
       });
     },
     1 / 1.5},
    {"__dotp8, 1,024 elements", "512 dependent addpd", dot8_ours, dot8_chain, 1.1},
    {"__dotp4, 1,024 elements", "256 dependent addps", dot4_ours, dot4_chain, 1.1},
#ifdef TARN_OPENBLAS
    {"__dotp8 against OpenBLAS", "cblas_ddot, one thread", dot8_ours,
     [](benchmark::State& state) {
       for (auto _ : state) {
         benchmark::DoNotOptimize(cblas_ddot(kLength, data().a8.data(), 1, data().b8.data(), 1));
       }
     },
     0},
    {"__dotp4 against OpenBLAS", "cblas_sdot, one thread", dot4_ours,
     [](benchmark::State& state) {
       for (auto _ : state) {
         benchmark::DoNotOptimize(cblas_sdot(kLength, data().a4.data(), 1, data().b4.data(), 1));
       }
     },
     0},
#endif
};

}  // namespace

int main(int argc, char** argv) {
  bench::initialise(argc, argv);
  tarn::__initialise_cpplib();
#ifdef TARN_OPENBLAS
  openblas_set_num_threads(1);
#endif
  bench::run_rows(kRows);
  return 0;
}
