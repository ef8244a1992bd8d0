// How the library's number text differs from correctly rounded text: prints
// the tables of docs/number-text.md. Correct text is the C library's.

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "startup/initialise.h"
#include "streams/conversion/number_parse.h"
#include "streams/format.h"

namespace {

constexpr int kSamples = 1'000'000;
constexpr int kDigits[] = {6, 10, 12, 14, 15, 16, 17};

// Random values with magnitudes from 10^low to 10^high, evenly in the exponent.
struct Band {
  const char* name;
  double low, high;
};
const Band kBands[] = {
    {"1e-3 to 1e6", -3, 6}, {"1e-30 to 1e30", -30, 30}, {"1e-300 to 1e300", -300, 300}};

double sample(std::mt19937_64& random, const Band& band) {
  std::uniform_real_distribution<double> exponent(band.low, band.high);
  return std::pow(10.0, exponent(random));
}

// The digits of d.ddde+xx as one number.
std::int64_t digits_of(const char* text) {
  std::int64_t digits = 0;
  for (; *text != 'e'; ++text) {
    if (*text != '.') digits = digits * 10 + (*text - '0');
  }
  return digits;
}

// Difference in units of the last digit written; 1 where the two are on both
// sides of a power of ten, which no counted difference can be.
std::int64_t difference(const char* ours, const char* correct) {
  if (std::strcmp(std::strchr(ours, 'e'), std::strchr(correct, 'e')) != 0) return 1;
  return std::llabs(digits_of(ours) - digits_of(correct));
}

void print_output_table() {
  std::printf("| significant digits |");
  for (const Band& band : kBands) std::printf(" %s |", band.name);
  std::printf("\n|---|---|---|---|\n");
  for (const int digits : kDigits) {
    std::printf("| %d |", digits);
    for (const Band& band : kBands) {
      std::mt19937_64 random(1);
      int unlike = 0;
      std::int64_t worst = 0;
      for (int i = 0; i < kSamples; ++i) {
        const double value = sample(random, band);
        char ours[64], correct[64];
        tarn::sprintf(ours, "%.*e", digits - 1, value);
        std::snprintf(correct, sizeof correct, "%.*e", digits - 1, value);
        if (std::strcmp(ours, correct) == 0) continue;
        ++unlike;
        worst = std::max(worst, difference(ours, correct));
      }
      std::printf(" %.4f %%, %" PRId64 " |", unlike * 100.0 / kSamples, worst);
    }
    std::printf("\n");
  }
}

std::int64_t units_apart(double left, double right) {
  std::int64_t a, b;
  std::memcpy(&a, &left, sizeof a);
  std::memcpy(&b, &right, sizeof b);
  return std::llabs(a - b);
}

void print_input_table() {
  std::printf("| text | ");
  for (const Band& band : kBands) std::printf(" %s |", band.name);
  std::printf("\n|---|---|---|---|\n");
  const struct {
    const char* name;
    const char* format;
  } forms[] = {{"6 digits, `%.5e`", "%.5e"}, {"17 digits, `%.16e`", "%.16e"}};
  for (const auto& form : forms) {
    std::printf("| %s |", form.name);
    for (const Band& band : kBands) {
      std::mt19937_64 random(2);
      int unlike = 0;
      std::int64_t worst = 0;
      for (int i = 0; i < kSamples; ++i) {
        char text[64];
        std::snprintf(text, sizeof text, form.format, sample(random, band));
        const std::int64_t apart =
            units_apart(tarn::strtod(text, nullptr), std::strtod(text, nullptr));
        unlike += apart != 0;
        worst = std::max(worst, apart);
      }
      std::printf(" %.1f %%, %" PRId64 " |", unlike * 100.0 / kSamples, worst);
    }
    std::printf("\n");
  }
}

}  // namespace

int main() {
  tarn::__initialise_cpplib();
  std::printf("Output, %d values a cell: texts unlike, largest difference in the last digit\n\n",
              kSamples);
  print_output_table();
  std::printf("\nInput: results unlike, largest difference in units in the last place\n\n");
  print_input_table();
}
