#include "streams/conversion/float_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "numerics/elementary.h"
#include "tests/support/raised.h"

namespace {

using tarn::test::raised_by;

// The steps once more, written down one by one and without any regard to
// speed, against which the library's are checked.
namespace plain {

// Powers of ten from decimal text, which the compiler rounds to the nearest.
std::vector<double> powers() {
  std::vector<double> table;
  for (int i = 0; i < 308; ++i) table.push_back(std::stod("1e" + std::to_string(i)));
  for (const std::size_t i : {126u, 210u}) {
    table[i] = std::nextafter(table[i], std::numeric_limits<double>::infinity());
  }
  return table;
}

const std::vector<double> kTable = powers();

struct Digits {
  std::string text;
  int exponent;
  int sign;
};

Digits cvt(double value, int count) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  const int field = static_cast<int>(bits >> 52 & 0x7FF);
  int d = static_cast<int>((field - 1023) * 0.30102999566398114);
  int sign = 1;
  if (!(value >= 0.0)) {
    sign = -1;
    value = 0.0 - value;
  }
  if (d < 0) {
    value = value * kTable[static_cast<std::size_t>(-d)];
  } else {
    value = value / kTable[static_cast<std::size_t>(d)];
  }
  while (value >= 1.0) {
    value = value / 10.0;
    d = d + 1;
  }
  if (value < 0.1) {
    value = value * 10.0;
    d = d - 1;
  }
  int r = count < 0 ? -count : count;
  if (d < 0 && count < 0) r = r + d;
  if (r < 0) r = 0;
  if (r < 16) {
    value = value + 0.5 / kTable[static_cast<std::size_t>(r)];
    if (value >= 1.0) {
      value = value / 10.0;
      d = d + 1;
      if (count >= 0) count = count + 1;
    }
  }
  if (count < 0) count = (d > 0 ? d : 0) - count;
  Digits digits{"", d, sign};
  for (int i = 0; i < count; ++i) {
    value = value * 10.0;
    const int digit = static_cast<int>(value);
    digits.text += static_cast<char>(48 + digit);
    value = value - digit;
  }
  return digits;
}

std::string ecvt(double value, int precision, bool alt, bool upper) {
  std::string text;
  int exponent = 0;
  if (value == 0.0) {
    text = "0";
    if (precision > 0 || alt) text += ".";
    text += std::string(static_cast<std::size_t>(precision), '0');
  } else {
    const Digits digits = cvt(value, precision + 1);
    if (digits.sign < 0) text += "-";
    text += digits.text[0];
    if (precision > 0 || alt) text += ".";
    text += digits.text.substr(1, static_cast<std::size_t>(precision));
    exponent = digits.exponent - 1;
  }
  text += upper ? "E" : "e";
  text += exponent < 0 ? "-" : "+";
  if (std::abs(exponent) < 10) text += "0";
  return text + std::to_string(std::abs(exponent));
}

std::string fcvt(double value, int precision, bool alt) {
  std::string text;
  if (value == 0.0) {
    text = "0";
    if (precision > 0 || alt) text += ".";
    return text + std::string(static_cast<std::size_t>(precision), '0');
  }
  const int l = static_cast<int>(std::floor(tarn::log10(std::fabs(value))));
  Digits digits = cvt(value, l < 0 ? -precision : l + precision + 1);
  digits.text += "0";  // the digit of a value that log10 takes for the next lower power
  int e = digits.exponent - 1;
  std::size_t at = 0;
  if (digits.sign < 0) text += "-";
  if (e < 0) {
    text += "0";
  } else {
    for (; e >= 0; --e) text += digits.text.at(at++);
  }
  if (precision > 0 || alt) text += ".";
  for (; e < -1 && precision > 0; ++e, --precision) text += "0";
  for (int i = 0; i < precision; ++i) text += digits.text.at(at++);
  return text;
}

std::string gcvt(double value, int precision, bool upper) {
  const double a = std::fabs(value);
  int m = 0;
  if (a != 0) {
    m = a < 1e-300 ? -300 : a > 1e300 ? 300 : static_cast<int>(std::floor(tarn::log10(a)));
  }
  return m >= -4 && precision > m ? fcvt(value, precision, false)
                                  : ecvt(value, precision, false, upper);
}

}  // namespace plain

// The text that `write` leaves in a buffer of `size` bytes, behind whose NUL
// nothing may be touched.
template <class Write>
std::string written(int size, Write write) {
  std::string text(static_cast<std::size_t>(size), '#');
  write(text.data());
  const std::size_t end = text.find('\0');
  EXPECT_EQ(text.find_first_not_of('#', end + 1), std::string::npos);
  return text.substr(0, end);
}

std::string fixed(double value, int precision, bool alt = false) {
  return written(precision + 340,
                 [&](char* text) { tarn::__fcvt(value, text, precision, alt, 1, 2); });
}

std::string exponent_form(double value, int precision, bool alt = false, bool upper = false) {
  return written(precision + 40,
                 [&](char* text) { tarn::__ecvt(value, text, precision, alt, upper); });
}

std::string general(double value, int precision, bool upper = false) {
  return written(precision + 340,
                 [&](char* text) { tarn::__gcvt(value, text, precision, upper, 7); });
}

TEST(FloatText, KnownTexts) {
  EXPECT_EQ(fixed(0.05, 1), "0.1");
  EXPECT_EQ(fixed(0.001, 2), "0.00");
  EXPECT_EQ(fixed(9.9999, 2), "10.00");
  EXPECT_EQ(fixed(999.9995, 3), "1000.000");
  EXPECT_EQ(fixed(2.675, 2), "2.67");
  EXPECT_EQ(fixed(0.5, 0), "1");
  EXPECT_EQ(fixed(2.5, 0), "3");
  EXPECT_EQ(fixed(0.4, 0), "0");
  EXPECT_EQ(fixed(1.0, 0, true), "1.");
  EXPECT_EQ(fixed(-0.0, 0), "0");
  EXPECT_EQ(fixed(1e21, 0), "1000000000000000000000");
  EXPECT_EQ(exponent_form(1234.5678, 3), "1.235e+03");
  EXPECT_EQ(exponent_form(9.9999, 2), "1.00e+01");
  EXPECT_EQ(exponent_form(1e100, 3), "1.000e+100");
  EXPECT_EQ(exponent_form(1e-100, 3), "1.000e-100");
  EXPECT_EQ(exponent_form(5.0, 0), "5e+00");
  EXPECT_EQ(exponent_form(-0.0, 2), "0.00e+00");
  EXPECT_EQ(exponent_form(-1.0, 1, false, true), "-1.0E+00");
  EXPECT_EQ(general(1234.5678, 6), "1234.567800");
  EXPECT_EQ(general(1234567.0, 6), "1.234567e+06");
  EXPECT_EQ(general(0.00001, 6), "1.000000e-05");
  EXPECT_EQ(general(0.0, 3), "0.000");
  EXPECT_EQ(general(0.001, -1), "0");
  EXPECT_EQ(general(0.001, -3), "1e-03");
  EXPECT_EQ(fixed(1.5, -2), "2");
}

TEST(FloatText, AMillionValuesOfAllMagnitudesAgreeWithTheStepsWrittenOut) {
  std::mt19937_64 random(2);
  for (int round = 0; round < 1'000'000; ++round) {
    std::uint64_t bits = random();
    double value;
    if (round % 4 == 0) {  // the magnitudes of everyday numbers, with short decimals
      value = static_cast<double>(static_cast<std::int64_t>(bits) >> (random() % 40 + 20)) /
              std::pow(10.0, static_cast<double>(random() % 12));
    } else {
      if (round % 32 == 1) bits = bits << 12 >> (12 + random() % 50);  // subnormal
      std::memcpy(&value, &bits, sizeof value);
    }
    if (!std::isfinite(value)) continue;
    const int precision = static_cast<int>(random() % 4 ? random() % 20 : random() % 60);
    const bool flag = random() % 2;
    ASSERT_EQ(exponent_form(value, precision, flag, !flag),
              plain::ecvt(value, precision, flag, !flag))
        << bits << " " << precision;
    if (round % 4 == 0 || round % 16 == 1) {  // far magnitudes make long texts
      ASSERT_EQ(fixed(value, precision, flag), plain::fcvt(value, precision, flag))
          << bits << " " << precision;
      ASSERT_EQ(general(value, precision + 1, flag), plain::gcvt(value, precision + 1, flag))
          << bits << " " << precision;
    }
  }
}

TEST(FloatText, PowersOfTenAndTheirNeighboursAgreeToo) {
  for (int power = -307; power <= 308; ++power) {
    const double ten = std::stod("1e" + std::to_string(power));
    for (const double value : {std::nextafter(ten, 0.0), ten, std::nextafter(ten, 2 * ten)}) {
      for (const int precision : {0, 1, 6, 14, 15, 16, 17, 20, 40}) {
        EXPECT_EQ(fixed(value, precision), plain::fcvt(value, precision, false)) << power;
        EXPECT_EQ(exponent_form(value, precision), plain::ecvt(value, precision, false, false));
        EXPECT_EQ(general(value, precision), plain::gcvt(value, precision, false)) << power;
      }
    }
  }
}

TEST(FloatText, TheDigitListHoldsWhatWasAskedFor) {
  for (const double value : {0.00123, 1.0, -123.456, 9.9999999, 1e300}) {
    for (const int count : {0, 1, 5, 17, 40, -1, -3, -20}) {
      std::vector<std::uint16_t> list(400, 0xFFFF);
      std::int16_t exponent = 0, sign = 0;
      tarn::__cvt(value, list.data(), &exponent, &sign, count);
      const plain::Digits wanted = plain::cvt(value, count);
      EXPECT_EQ(exponent, wanted.exponent);
      EXPECT_EQ(sign, wanted.sign);
      std::string digits;
      for (std::size_t i = 0; list[i] != 0xFFFF; ++i) digits += static_cast<char>(list[i]);
      EXPECT_EQ(digits, wanted.text) << value << " " << count;
    }
  }
}

TEST(FloatText, LongPrecisionsEndInZerosAndValuesWithoutDigitsAreRaised) {
  EXPECT_EQ(fixed(1.0 / 3, 9000).substr(0, 18), "0.3333333333333333");
  EXPECT_EQ(fixed(1.0 / 3, 9000).substr(100), std::string(9002 - 100, '0'));
  EXPECT_EQ(exponent_form(1.0 / 3, 9000).size(), 9006u);
  for (const double value :
       {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(raised_by([&] { fixed(value, 3); }).number, 297);
    EXPECT_EQ(raised_by([&] { exponent_form(value, 3); }).number, 297);
    EXPECT_EQ(raised_by([&] { general(-value, 3); }).number, 297);
  }
}

TEST(FloatText, ValidityTests) {
  using Limits = std::numeric_limits<double>;
  for (const double value : {0.0, -0.0, 1.0, Limits::max(), Limits::min(), -Limits::min()}) {
    EXPECT_EQ(tarn::invalid_double(value), 0) << value;
  }
  for (const double value : {Limits::denorm_min(), -Limits::min() / 2, Limits::infinity(),
                             -Limits::infinity(), Limits::quiet_NaN()}) {
    EXPECT_EQ(tarn::invalid_double(value), 1) << value;
  }
  using Floats = std::numeric_limits<float>;
  for (const float value : {0.0f, -0.0f, Floats::max(), Floats::min()}) {
    EXPECT_EQ(tarn::invalid_float(value), 0) << value;
  }
  for (const float value : {Floats::denorm_min(), Floats::infinity(), Floats::quiet_NaN()}) {
    EXPECT_EQ(tarn::invalid_float(value), 1) << value;
  }
  const struct {
    tarn::ExtendedValue value;
    std::int32_t wanted;
  } cases[] = {
      {{0, 0}, 0},      {{0, 0x8000}, 0},
      {{0, 1}, 1},      {{1, 0}, 1},
      {{1, 0x8000}, 1}, {{std::uint64_t{1} << 63, 0x3FFF}, 0},
      {{0, 0x7FFF}, 1}, {{std::uint64_t{1} << 63, 0xFFFF}, 1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(tarn::invalid_long_double(&c.value), c.wanted) << c.value.sign_and_exponent;
  }
}

}  // namespace
