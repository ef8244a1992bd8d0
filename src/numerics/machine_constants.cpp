// D1MACH and I1MACH.

#include "numerics/special_functions.h"
#include "paneview/paneview.h"

namespace tarn {
namespace {

constexpr std::uint64_t kDoubleConstants[] = {
    0x0010000005017817,  // 2.2250739e-308
    0x7FEFFFFFF596AC44,  // 1.7976931e+308
    0x3C9FFFFFF4178DA3,  // 1.110223e-16
    0x3CAFFFFFF4178DA3,  // 2.220446e-16
    0x3FD34413509F79FF,  // log10(2)
};
constexpr int kDoubleCount = sizeof kDoubleConstants / sizeof kDoubleConstants[0];

constexpr std::int32_t kIntegerConstants[] = {
    5,  6,     0,          0,  // units: input, output, punch, error
    32, 4,                     // bits and characters in an integer
    2,  31,    2147483647,     // integer base, digits, largest
    2,                         // floating-point base
    24, -125,  127,            // single: digits, smallest and largest exponent
    53, -1021, 1023,           // double
};
constexpr int kIntegerCount = sizeof kIntegerConstants / sizeof kIntegerConstants[0];
static_assert(kIntegerCount == 16);

constexpr char kOutOfBounds[] = "1ERROR    1 IN I1MACH - I OUT OF BOUNDS";

// The output format as the sibling library takes it: one text descriptor.
struct [[gnu::packed]] TextBlock {
  char descriptor = 'T';
  std::uint16_t length = sizeof kOutOfBounds - 1;
  char text[sizeof kOutOfBounds - 1];
};

[[noreturn]] void stop_out_of_bounds() {
  TextBlock block;
  __builtin_memcpy(block.text, kOutOfBounds, sizeof block.text);
  paneview::WSF1$$(&kIntegerConstants[1], &block, sizeof block);
  paneview::WSF2$();
  paneview::STOP$("", 0);
}

}  // namespace

double D1MACH(const std::int32_t* i) {
  if (*i < 1 || *i > kDoubleCount) return 0.0;
  return __builtin_bit_cast(double, kDoubleConstants[*i - 1]);
}

std::int32_t I1MACH(const std::int32_t* i) {
  if (*i < 1 || *i > kIntegerCount) stop_out_of_bounds();
  return kIntegerConstants[*i - 1];
}

}  // namespace tarn
