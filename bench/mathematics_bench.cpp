// Elementary functions: the kernels against glibc, the functions of fixed steps against
// their bare x87 instructions.

#include <emmintrin.h>

#include <cmath>
#include <random>
#include <type_traits>
#include <vector>

#include "bench/rows.h"
#include "numerics/elementary.h"
#include "numerics/intrinsics.h"
#include "paneview/paneview.h"
#include "startup/initialise.h"

namespace {

using bench::Row;

constexpr int kValues = 1024;  // a power of two

template <class Real>
const std::vector<Real>& values() {  // 0.1 to 0.9
  static const std::vector<Real> made = [] {
    std::mt19937_64 random(5);
    std::uniform_real_distribution<double> narrow(0.1, 0.9);
    std::vector<Real> v(kValues + 1);
    for (Real& x : v) x = static_cast<Real>(narrow(random));
    return v;
  }();
  return made;
}

// With the SSE control register that the start gives a program: invalid operation,
// zero divide and overflow unmasked, subnormal numbers flushed and taken for zero.
struct Masks {
  explicit Masks(bool programs) : saved(_mm_getcsr()) {
    if (programs) _mm_setcsr((saved & ~0x680u) | 0x8040);
  }
  ~Masks() { _mm_setcsr(saved); }
  unsigned saved;
};

// A routine of the library's convention or of glibc's.
template <class Real, bool kMasks, auto kRoutine>
void time_routine(benchmark::State& state) {
  const Masks masks(kMasks);
  const Real* const v = values<Real>().data();
  const auto routine = bench::opaque(kRoutine);
  std::size_t i = 0;
  for (auto _ : state) {
    const Real* const x = &v[i++ & (kValues - 1)];
    if constexpr (std::is_invocable_v<decltype(kRoutine), const Real*>) {
      benchmark::DoNotOptimize(routine(x));
    } else if constexpr (std::is_invocable_v<decltype(kRoutine), Real>) {
      benchmark::DoNotOptimize(routine(*x));
    } else {
      benchmark::DoNotOptimize(routine(x[0], x[1]));
    }
    benchmark::ClobberMemory();
  }
}

// The instructions that a function of fixed steps consists of, called as it is.
#define BARE(name, parameters, instructions, ...)        \
  [[gnu::noinline]] double TARNAPI name parameters {     \
    double result;                                       \
    asm volatile(instructions "\n\tfstpl %0"             \
                 : "=m"(result)                          \
                 : __VA_ARGS__                           \
                 : "rax", "cc", "st", "st(1)", "st(2)"); \
    return result;                                       \
  }

// 2^t with a choice between the halves of t's fraction.
struct Half {
  long double times;
  float add, subtract;
};
constexpr Half kHalves[2] = {{1.0L, 0.0f, 0.0f}, {0.70710678118654752440L, 1.0f, 0.5f}};
#define POWER_OF_2                                                                 \
  "fld %%st\n\tfrndint\n\tfsubr %%st, %%st(1)\n\tfldz\n\tfcomip %%st(2), %%st\n\t" \
  "seta %%al\n\tmovzbl %%al, %%eax\n\tshl $5, %%eax\n\tadd %1, %%rax\n\tfxch\n\t"  \
  "fadds 16(%%rax)\n\tfsubs 20(%%rax)\n\tf2xm1\n\tfld1\n\tfaddp\n\tfscale\n\t"     \
  "fstp %%st(1)\n\tfldt (%%rax)\n\tfmulp"

BARE(bare_fsin, (const double* x), "fldl %1\n\tfsin", "m"(*x))
BARE(bare_fcos, (const double* x), "fldl %1\n\tfcos", "m"(*x))
BARE(bare_fptan, (const double* x), "fldl %1\n\tfptan\n\tfstp %%st", "m"(*x))
BARE(bare_fpatan, (const double* x), "fldl %1\n\tfld1\n\tfpatan", "m"(*x))
BARE(bare_log, (double x), "fldln2\n\tfldl %1\n\tfyl2x", "m"(x))
BARE(bare_log10, (double x), "fldlg2\n\tfldl %1\n\tfyl2x", "m"(x))
BARE(bare_exp, (double x), "fldl %2\n\tfldl2e\n\tfmulp\n\t" POWER_OF_2, "r"(kHalves), "m"(x))
BARE(bare_pow, (double x, double y), "fldl %3\n\tfldl %2\n\tfyl2x\n\t" POWER_OF_2, "r"(kHalves),
     "m"(x), "m"(y))

#define ROWS(type, suffix, kernel, glibc)                                                    \
  {#kernel, #glibc ", glibc", time_routine<type, false, &paneview::kernel>,                  \
   time_routine<type, false, static_cast<suffix>(&::glibc)>, 2.0},                           \
  {                                                                                          \
#kernel ", a program's masks", #glibc ", glibc", time_routine < type, true,              \
        &paneview::kernel>, time_routine < type, true, static_cast < suffix>(&::glibc)>, 2.0 \
  }
#define ONE(kernel, glibc) ROWS(double, double (*)(double), kernel, glibc)
#define TWO(kernel, glibc) ROWS(double, double (*)(double, double), kernel, glibc)
#define ONE_SINGLE(kernel, glibc) ROWS(float, float (*)(float), kernel, glibc)
#define TWO_SINGLE(kernel, glibc) ROWS(float, float (*)(float, float), kernel, glibc)
#define FIXED(name, routine, bare)                                              \
  {                                                                             \
    name, "its bare instructions", time_routine<double, false, &tarn::routine>, \
        time_routine<double, false, &bare>, 1.05                                \
  }

const Row kRows[] = {
    ONE(DEXP$$, exp),
    ONE(DALOG$$, log),
    ONE(DAL10$$, log10),
    ONE(DALG2$$, log2),
    ONE(DASIN$$, asin),
    ONE(DACOS$$, acos),
    ONE(DSINH$$, sinh),
    ONE(DCOSH$$, cosh),
    ONE(DTANH$$, tanh),
    ONE(DAINT$$, trunc),
    TWO(DATAN2V$, atan2),
    TWO(DMOD$$, fmod),
    TWO(XX$DD, pow),
    TWO(DSIGN$, copysign),
    ONE_SINGLE(EXP$$, expf),
    ONE_SINGLE(ALOG$$, logf),
    ONE_SINGLE(AL10$$, log10f),
    ONE_SINGLE(ALG2$$, log2f),
    ONE_SINGLE(ASIN$$, asinf),
    ONE_SINGLE(ACOS$$, acosf),
    ONE_SINGLE(SINH$$, sinhf),
    ONE_SINGLE(COSH$$, coshf),
    ONE_SINGLE(TANH$$, tanhf),
    ONE_SINGLE(AINT$$, truncf),
    TWO_SINGLE(ATAN2V$, atan2f),
    TWO_SINGLE(MOD$$, fmodf),
    FIXED("DSIN@", DSIN, bare_fsin),
    FIXED("DCOS@", DCOS, bare_fcos),
    FIXED("DTAN@", DTAN, bare_fptan),
    FIXED("DATAN@", DATAN, bare_fpatan),
    FIXED("exp", exp, bare_exp),
    FIXED("log", log, bare_log),
    FIXED("log10", log10, bare_log10),
    FIXED("pow", pow, bare_pow),
};

}  // namespace

int main(int argc, char** argv) {
  bench::initialise(argc, argv);
  tarn::__initialise_cpplib();
  bench::run_rows(kRows);
  return 0;
}
