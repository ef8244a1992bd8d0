#include "streams/conversion/number_parse.h"

#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "process/process_state.h"
#include "tests/support/raised.h"

namespace {

constexpr std::int32_t kUntouched = 4711;
constexpr std::int32_t kRange = -1001;

struct Parsed {
  std::int64_t value;
  std::int64_t read;  // characters up to the end pointer
  std::int32_t error;
  bool operator==(const Parsed&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Parsed& parsed) {
  return out << parsed.value << ", " << parsed.read << " read, errno " << parsed.error;
}

template <class Result>
Parsed parse(Result(TARNAPI* parser)(const char*, char**, std::int32_t), const char* text,
             std::int32_t radix) {
  tarn::set_errno(kUntouched);
  char* end = nullptr;
  const Result value = parser(text, &end, radix);
  return {static_cast<std::int64_t>(value), end - text, tarn::get_errno()};
}

TEST(NumberParse, UnsignedIntegers) {
  const struct {
    const char* text;
    std::int32_t radix;
    Parsed wanted;
  } cases[] = {
      {"ff", 16, {255, 2, kUntouched}},
      {"0xff", 16, {255, 4, kUntouched}},
      {"0XfFg", 0, {255, 4, kUntouched}},
      {"077", 0, {63, 3, kUntouched}},
      {"09", 0, {0, 1, kUntouched}},
      {" \t\n12x", 0, {12, 5, kUntouched}},
      {"z", 36, {35, 1, kUntouched}},
      {"Z", 36, {35, 1, kUntouched}},
      {"102", 2, {2, 2, kUntouched}},
      {"-1", 10, {0xFFFFFFFF, 2, kUntouched}},
      {"+7", 10, {7, 2, kUntouched}},
      {"1", 1, {0xFFFFFFFF, 0, kRange}},
      {"1", 37, {0xFFFFFFFF, 0, kRange}},
      {"1", -10, {0xFFFFFFFF, 0, kRange}},
      {"4294967295", 10, {0xFFFFFFFF, 10, kUntouched}},
      {"4294967296", 10, {0, 10, kUntouched}},
      {"4294967299", 10, {3, 10, kUntouched}},
      {"4294967300", 10, {0xFFFFFFFF, 0, kRange}},
      {"99999999999999999999", 10, {0xFFFFFFFF, 0, kRange}},
      {"", 10, {0, 0, kUntouched}},
      {"0x", 16, {0, 0, kUntouched}},
      {"0xg", 0, {0, 0, kUntouched}},
      {"- 5", 10, {0, 0, kUntouched}},
      {"\xE9"
       "1",
       10,
       {0, 0, kUntouched}},
      {"_", 36, {0, 0, kUntouched}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(parse(&tarn::strtoul, c.text, c.radix), c.wanted) << c.text << " " << c.radix;
  }
  EXPECT_EQ(parse(&tarn::strtoul64, "18446744073709551615", 10), (Parsed{-1, 20, kUntouched}));
  EXPECT_EQ(parse(&tarn::strtoul64, "184467440737095516150", 10), (Parsed{-1, 0, kRange}));
}

TEST(NumberParse, SignedIntegers) {
  const struct {
    const char* text;
    std::int32_t radix;
    Parsed wanted;
  } cases[] = {
      {"  -12abc", 10, {-12, 5, kUntouched}},
      {"abc", 10, {0, 0, kUntouched}},
      {"2147483647", 10, {2147483647, 10, kUntouched}},
      {"2147483648", 10, {2147483647, 0, kRange}},
      {"-2147483648", 10, {-2147483648LL, 0, kRange}},
      {"-99999999999999", 10, {-2147483648LL, 0, kRange}},
      {"-4294967297", 10, {-1, 11, kUntouched}},
      {"- 5", 10, {-5, 3, kUntouched}},  // the sign, and then as the unsigned parser
      {"-+5", 10, {-5, 3, kUntouched}},
      {"--5", 10, {-2147483648LL, 0, kRange}},
      {"-0x10", 0, {-16, 5, kUntouched}},
      {"5", 99, {2147483647, 0, kRange}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(parse(&tarn::strtol, c.text, c.radix), c.wanted) << c.text << " " << c.radix;
  }
  EXPECT_EQ(parse(&tarn::strtol64, "-9223372036854775807", 10),
            (Parsed{-9223372036854775807LL, 20, kUntouched}));
  EXPECT_EQ(parse(&tarn::strtol64, "9223372036854775808", 10),
            (Parsed{9223372036854775807LL, 0, kRange}));
  EXPECT_EQ(tarn::strtol("12", nullptr, 10), 12);
  EXPECT_EQ(tarn::atoi(""), 0);
  EXPECT_EQ(tarn::atol(" -77x"), -77);
}

struct ParsedReal {
  double value;
  std::int64_t read;
  std::int32_t error;
};

ParsedReal parse_real(const std::string& text) {
  tarn::set_errno(kUntouched);
  char* end = nullptr;
  const double value = tarn::strtod(text.c_str(), &end);
  return {value, end - text.c_str(), tarn::get_errno()};
}

TEST(NumberParse, Reals) {
  const struct {
    const char* text;
    double value;
    std::int64_t read;
    bool range_error;
  } cases[] = {
      {"1.5", 1.5, 3, false},        {".5", 0.5, 2, false},       {".", 0.0, 1, false},
      {"1e", 1.0, 2, false},         {"1e+", 1.0, 3, false},      {"1.e2", 100.0, 4, false},
      {"-0", 0.0, 2, false},         {"x", 0.0, 0, false},        {"-x", 0.0, 0, false},
      {" +2.5E-1z", 0.25, 8, false}, {"inf", 0.0, 0, false},      {"0x10", 0.0, 1, false},
      {"1e309", 1e308, 0, true},     {"-1e309", -1e308, 0, true}, {"1e-400", 1e308, 0, true},
      {"-1e-400", -1e308, 0, true},  {"1e308", 1e308, 5, false},  {"9e308", 1e308, 0, true},
      {"1e99999", 1e308, 0, true},   {"0e5", 0.0, 3, false},      {"000123e1", 1230.0, 8, false},
  };
  for (const auto& c : cases) {
    const ParsedReal got = parse_real(c.text);
    EXPECT_DOUBLE_EQ(got.value, c.value) << c.text;
    EXPECT_FALSE(got.value == 0 && std::signbit(got.value)) << c.text;
    EXPECT_EQ(got.read, c.read) << c.text;
    EXPECT_EQ(got.error, c.range_error ? kRange : kUntouched) << c.text;
  }
  for (const char* text : {"1.7976931348623157e308", "2.2250738585072014e-308"}) {
    const ParsedReal got = parse_real(text);
    EXPECT_EQ(got.error, kUntouched) << text;
    EXPECT_NEAR(got.value / std::stod(text), 1.0, 1e-13) << text;
  }
  EXPECT_EQ(parse_real("-1.7976931348623157e308").value, -std::numeric_limits<double>::max());
  EXPECT_EQ(tarn::atof("2.5e1xyz"), 25.0);
}

// Programs trap overflows and invalid operations. No text may end them.
TEST(NumberParse, NoTextTraps) {
  const unsigned int control = _mm_getcsr();
  _mm_setcsr(0x1F80 & ~_MM_MASK_OVERFLOW & ~_MM_MASK_INVALID & ~_MM_MASK_DIV_ZERO);
  const std::string nines(400, '9'), zeros(400, '0');
  const std::string texts[] = {nines, "0." + zeros + "1", nines + "." + zeros, nines + "e-200"};
  double values[3], extremes[4];
  float single = 0;
  const auto fault = tarn::test::fault_by([&] {
    values[0] = tarn::strtod("1e300", nullptr);
    values[1] = tarn::strtod("1.7976931348623157e308", nullptr);
    values[2] = tarn::strtod("2.3e-308", nullptr);
    for (int i = 0; i < 4; ++i) extremes[i] = tarn::atof(texts[i].c_str());
    single = tarn::single_of(1e60);
  });
  const unsigned int after = _mm_getcsr();
  _mm_setcsr(control);
  EXPECT_FALSE(fault.faulted) << std::hex << fault.code;
  EXPECT_NEAR(values[0] / 1e300, 1.0, 1e-14);
  EXPECT_NEAR(values[1] / 1.7e308, 1.0575, 1e-4);
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(extremes[0], infinity);
  EXPECT_EQ(extremes[1], 0.0);
  EXPECT_TRUE(std::isnan(extremes[2]));  // both the digits and their divisor overflow
  EXPECT_EQ(extremes[3], infinity);
  EXPECT_EQ(single, std::numeric_limits<float>::infinity());
  EXPECT_EQ(after & _MM_MASK_MASK,
            0x1F80u & ~_MM_MASK_OVERFLOW & ~_MM_MASK_INVALID & ~_MM_MASK_DIV_ZERO);
}

TEST(NumberParse, RandomIntegersComeBackAndRealsAreClose) {
  std::mt19937_64 random(3);
  for (int round = 0; round < 100'000; ++round) {
    const auto value = static_cast<std::int64_t>(random()) >> random() % 64;
    const std::string text = std::to_string(value);
    ASSERT_EQ(tarn::strtol64(text.c_str(), nullptr, 10), value);
    char real[64];
    std::snprintf(
        real, sizeof real, "%.*e", static_cast<int>(random() % 17),
        std::ldexp(static_cast<double>(value | 1), static_cast<int>(random() % 1800) - 900));
    const ParsedReal got = parse_real(real);
    ASSERT_EQ(got.error, kUntouched) << real;
    ASSERT_NEAR(got.value / std::stod(real), 1.0, 1e-13) << real;
  }
}

}  // namespace
