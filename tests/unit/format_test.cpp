#include "streams/format.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "failure/exception_table.h"
#include "streams/conversion/float_text.h"
#include "tests/support/raised.h"

namespace {

using tarn::Slot;
using tarn::test::raised_by;

template <class... Arguments>
std::string text(const char* format, Arguments... arguments) {
  std::vector<char> buffer(20'000, '\x7F');
  const std::int32_t length = tarn::sprintf(buffer.data(), format, arguments...);
  EXPECT_EQ(buffer[static_cast<std::size_t>(length)], '\0') << format;
  EXPECT_EQ(buffer[static_cast<std::size_t>(length) + 1], '\x7F') << format;
  return std::string(buffer.data(), static_cast<std::size_t>(length));
}

template <class T>
struct Case {
  const char* format;
  T value;
  const char* wanted;
};

TEST(Format, Integers) {
  const Case<int> cases[] = {
      {"%5d", 42, "   42"},
      {"%-5d|", 42, "42   |"},
      {"%05d", 42, "00042"},
      {"%05d", -42, "-0042"},
      {"%+d", 0, "+0"},
      {"% d", 0, "0"},
      {"% d", 5, " 5"},
      {"% d", -5, "-5"},
      {"%.3d", 5, "005"},
      {"%.3d", -5, "-005"},
      {"%+.3d", 5, "+005"},
      {"%.0d", 0, ""},
      {"%5.0d", 0, "     "},
      {"%+.0d", 0, "+"},
      {"%+5.0d", 0, "    +"},
      {"%+-5.0d|", 0, "+    |"},
      {"% .0d", 0, ""},
      {"%+05d", 42, "+0042"},
      {"% 05d", 42, " 0042"},
      {"%+ d", 7, "+7"},
      {"%-05d|", 7, "7    |"},
      {"%08.3d", 5, "     005"},
      {"%d", INT_MIN, "-2147483648"},
      {"%hd", 65535, "-1"},
      {"%hu", 65535, "65535"},
      {"%hu", -1, "65535"},
      {"%hx", 0x12345, "12345"},
      {"%ho", 0x8000, "37777700000"},
      {"%x", 255, "ff"},
      {"%X", 255, "FF"},
      {"%#x", 0, "0"},
      {"%#x", 255, "0xff"},
      {"%#X", 255, "0XFF"},
      {"%#o", 8, "010"},
      {"%#.4x", 255, "0xff"},
      {"%#06x", 255, "0x00ff"},
      {"%#.6x", 255, "0x00ff"},
      {"%#8x", 255, "    0xff"},
      {"%#-8x|", 255, "0xff    |"},
      {"%#10.6X", 255, "    0X00FF"},
      {"%#-10.6x|", 255, "0x00ff    |"},
      {"%5.0x|", 0, "     |"},
      {"%u", -1, "4294967295"},
      {"%o", -1, "37777777777"},
      {"%i", 12, "12"},
      {"%p", 0xAB, "AB"},
      {"%#06p", 0xAB, "0X00AB"},
      {"%06.2p", 0xAB, "0000AB"},
      {"%c", 65, "A"},
      {"%3c", 65, "  A"},
      {"%03c", 65, "00A"},
      {"%c", 0, ""},
      {"%-3c|", 0, "   |"},
      {"%+u", 5, "5"},
      {"%hhd", 5, "d"},
      {"%zu", 5, "u"},
      {"%%%d%%", 5, "%5%"},
      {"%5%%d", 5, "%5"},
      {"a%kb", 5, "ab"},
      {"a%", 5, "a"},
      {"a%5.3l", 5, "a"},
      {"%4294967297d", 5, "5"},
  };
  for (const auto& c : cases) EXPECT_EQ(text(c.format, c.value), c.wanted) << c.format;
}

TEST(Format, WideIntegersAndStars) {
  EXPECT_EQ(text("%lld", -5LL), "-5");
  EXPECT_EQ(text("%05lld", -5LL), "-0005");
  EXPECT_EQ(text("%Ld", LLONG_MIN), "-9223372036854775808");
  EXPECT_EQ(text("%ld", 0x7FFFFFFF80000000LL), "-2147483648");
  EXPECT_EQ(text("%p", 0x12345678ABCDULL), "5678ABCD");
  EXPECT_EQ(text("%llp|%llo", ULLONG_MAX, ULLONG_MAX), "FFFFFFFFFFFFFFFF|1777777777777777777777");
  EXPECT_EQ(text("%*d|%0*d|%.*d|%.*d", -4, 7, -3, 8, 3, 9, -1, 0), "7   |8  |009|");
  EXPECT_EQ(text("%*d", INT_MIN, 7), "7");
}

TEST(Format, Strings) {
  const std::string long_text(5000, 'x');
  EXPECT_EQ(text("%s", long_text.c_str()), long_text);
  EXPECT_EQ(text("%.4500s|", long_text.c_str()), std::string(4500, 'x') + "|");
  EXPECT_EQ(text("%-5002s|", long_text.c_str()), long_text + "  |");
  const Case<const char*> cases[] = {
      {"%.2s", "abc", "ab"},     {"%05s", "ab", "000ab"},    {"%05s", "-a", "000-a"},
      {"%-5s|", "ab", "ab   |"}, {"%-05s|", "ab", "ab   |"}, {"%5.1s|", "abc", "    a|"},
      {"%.0s|", "abc", "|"},     {"%5s", "", "     "},       {"%.5000s", "abc", "abc"},
  };
  for (const auto& c : cases) EXPECT_EQ(text(c.format, c.value), c.wanted) << c.format;
  const char unterminated[] = {'a', 'b'};
  EXPECT_EQ(text("%.2s", unterminated), "ab");
}

TEST(Format, FloatingPoint) {
  const Case<double> cases[] = {
      {"%e", 1.0, "1.000000e+00"},
      {"%E", 1.0, "1.000000E+00"},
      {"%f", -0.0, "0.000000"},
      {"%g", 100000.0, "100000"},
      {"%g", 1000000.0, "1e+06"},
      {"%g", 1234.5678, "1234.5678"},
      {"%g", 1234567.0, "1.234567e+06"},
      {"%g", 0.0001, "0.0001"},
      {"%g", 0.00001, "1e-05"},
      {"%G", 0.00001, "1E-05"},
      {"%g", 0.0, "0"},
      {"%#g", 1.0, "1.000000"},
      {"%+06.1f", 1.0, "+001.0"},
      {"% f", 1.0, " 1.000000"},
      {"%08.2f", -1.5, "-0001.50"},
      {"%-9.2f|", -1.5, "-1.50    |"},
      {"%9.2f", -1.5, "    -1.50"},
      {"%.0f", 2.5, "3"},
      {"%.0f", 0.5, "1"},
      {"%#.0f", 3.0, "3."},
      {"%.0e", 5.0, "5e+00"},
      {"%#.0e", 5.0, "5.e+00"},
      {"%.0g", 5.5, "5.5"},
      {"%Lf", 2.0, "2.000000"},
      {"%.1e", 1e-300, "1.0e-300"},
  };
  for (const auto& c : cases) EXPECT_EQ(text(c.format, c.value), c.wanted) << c.format;
}

// The engine lays a number out in one go. Here it is put together of the parts.
TEST(Format, FloatingPointIsTheNumberTextInAField) {
  std::mt19937_64 random(6);
  for (int round = 0; round < 100'000; ++round) {
    const bool left = random() % 4 == 0, plus = random() % 4 == 0, space = random() % 4 == 0,
               alt = random() % 4 == 0, zero = random() % 4 == 0;
    const int width = static_cast<int>(random() % 30), precision = static_cast<int>(random() % 25);
    const char conversion = "feEgG"[random() % 5];
    const double value = static_cast<double>(static_cast<std::int64_t>(random())) *
                         std::pow(10.0, static_cast<double>(random() % 60) - 40);
    std::string directive = "%";
    if (left) directive += '-';
    if (plus) directive += '+';
    if (space) directive += ' ';
    if (alt) directive += '#';
    if (zero) directive += '0';
    directive += "*.*";
    directive += conversion;

    char body[500], field[500];
    const bool upper = conversion == 'E' || conversion == 'G';
    if (conversion == 'f') {
      tarn::__fcvt(value, body, precision, alt, 0, 0);
    } else if (conversion == 'e' || conversion == 'E') {
      tarn::__ecvt(value, body, precision, alt, upper);
    } else {
      tarn::__gcvt(value, body, precision == 0 ? 1 : precision, upper, 0);
    }
    std::string number = body;
    if ((conversion == 'g' || conversion == 'G') && !alt) {
      const std::size_t end = std::min(number.find_first_of("eE"), number.size());
      std::size_t kept = number.find_last_not_of('0', end - 1) + 1;
      if (number[kept - 1] == '.') --kept;
      number.erase(kept, end - kept);
    }
    if (number[0] != '-' && (plus || space)) number.insert(0, plus ? "+" : " ");
    *tarn::_form(number.c_str(), field, width, left, zero && !left,
                 number[0] == '-' || plus || space, -1) = '\0';
    ASSERT_EQ(text(directive.c_str(), width, precision, value), field) << directive;
  }
}

TEST(Format, PrecisionsBeyondEveryBufferAreFilledWithZeros) {
  EXPECT_EQ(text("%.5000f|", 0.5), "0.5" + std::string(4999, '0') + "|");
  EXPECT_EQ(text("%.5000e|", -0.5), "-5." + std::string(5000, '0') + "e-01|");
  EXPECT_EQ(text("%#.5000g|", 8.0), "8." + std::string(5000, '0') + "|");
  EXPECT_EQ(text("%.5000g|", 8.0), "8|");
  EXPECT_EQ(text("%.5000f", 1e308).size(), 309u + 1 + 5000);
  EXPECT_EQ(text("%5000d", 1), std::string(4999, ' ') + "1");
  EXPECT_EQ(text("%.4294967295g", 0.25), "0.3");  // wraps to -1, which counts as 1
  EXPECT_EQ(text("%.5000d", -1), "-" + std::string(4999, '0') + "1");
}

TEST(Format, InvalidValuesAndTooManyArgumentsAreRaised) {
  const double values[] = {std::numeric_limits<double>::quiet_NaN(),
                           std::numeric_limits<double>::infinity(),
                           -std::numeric_limits<double>::infinity(), 1e-310};
  for (const double value : values) {
    char buffer[100] = "";
    for (const char* format : {"a%f", "a%E", "a%g"}) {
      EXPECT_EQ(raised_by([&] { tarn::sprintf(buffer, format, value); }).number, 297) << format;
    }
    EXPECT_EQ(raised_by([&] { tarn::sprintf(buffer, "%Lf", value); }).number, 298);
  }
  const std::vector<Slot> slots(25'001, 1);
  std::vector<char> buffer(60'000);
  std::string many;
  for (int i = 0; i < 25'000; ++i) many += "%d";
  EXPECT_EQ(tarn::vsprintf(buffer.data(), many.c_str(), slots.data()), 25'000);
  many += "%c";
  EXPECT_EQ(raised_by([&] { tarn::vsprintf(buffer.data(), many.c_str(), slots.data()); }).number,
            291);
  many.clear();
  for (int i = 0; i < 12'500; ++i) many += "%lld";
  EXPECT_EQ(tarn::vsprintf(buffer.data(), many.c_str(), slots.data()), 12'500);
  many += "%d";
  EXPECT_EQ(raised_by([&] { tarn::vsprintf(buffer.data(), many.c_str(), slots.data()); }).number,
            291);
  // A trap routine that goes on behind the raise gets the failure from the engine.
  tarn::test::initialise();
  const std::int32_t access = 0;
  const tarn::TrapRoutine before = tarn::TRAP_EXCEPTION_at(
      &access,
      [](tarn::platform::AMD_CONTEXT* context, tarn::platform::ExceptionRecord*, std::int32_t)
          TARNAPI -> std::int32_t {
            context->Rip += 2;
            return tarn::kTrapResume;
          });
  EXPECT_EQ(tarn::vsprintf(buffer.data(), many.c_str(), slots.data()), -1);
  many.replace(many.size() - 2, 2, "%s");
  EXPECT_EQ(tarn::vsprintf(buffer.data(), many.c_str(), slots.data()), -1);
  tarn::TRAP_EXCEPTION_at(&access, before);
}

TEST(Format, CountStoresWhatWasWrittenSoFar) {
  std::int32_t count = -1;
  std::int64_t wide = -1;
  std::int16_t narrow[2] = {-1, -1};
  EXPECT_EQ(text("ab%n%5d%hn%lln", &count, 1, narrow, &wide), "ab    1");
  EXPECT_EQ(count, 2);
  EXPECT_EQ(narrow[0], 7);
  EXPECT_EQ(narrow[1], -1);
  EXPECT_EQ(wide, static_cast<std::int64_t>(0xFFFFFFFF00000007));
}

// The C library's rules are the same but for a few flags, which stay out.
TEST(Format, AgreesWithTheCLibraryWhereTheRulesAreTheSame) {
  std::mt19937 random(1);
  for (int round = 0; round < 200'000; ++round) {
    std::string directive = "<%";
    for (const char flag : {'-', '+', '0'}) {
      if (random() % 4 == 0) directive += flag;
    }
    const bool has_precision = random() % 3 == 0;
    if (!has_precision && random() % 4 == 0) directive += '#';
    if (random() % 2) directive += std::to_string(random() % 30);
    if (has_precision) directive += "." + std::to_string(random() % 25);
    const char conversion = "diuxXo"[random() % 6];
    directive += std::string("ll") + conversion + ">";
    const long long value =
        static_cast<long long>((std::uint64_t{random()} << 32 | random()) >> random() % 64) *
        (random() % 2 ? 1 : -1);
    char wanted[200];
    std::snprintf(wanted, sizeof wanted, directive.c_str(), value);
    ASSERT_EQ(text(directive.c_str(), value), wanted) << directive << " " << value;
  }
}

TEST(Format, BoundedTextIsTheBeginningOfTheWholeText) {
  const double number = -12.75;
  Slot slots[] = {42, reinterpret_cast<Slot>("some text"), 0, 255, ~Slot{0}};
  std::memcpy(&slots[2], &number, sizeof number);
  const char format[] = "<%10d|%-12s|%+012.3f|%#x|%llu>";
  char whole[200];
  const std::int32_t length = tarn::vsprintf(whole, format, slots);
  for (std::size_t size = 0; size < 100; ++size) {
    std::vector<char> cut(size + 1, '#');
    EXPECT_EQ(tarn::format_bounded(cut.data(), size, format, slots), length);
    EXPECT_EQ(cut[size], '#');
    if (size == 0) continue;
    EXPECT_EQ(std::string(cut.data()), std::string(whole).substr(0, size - 1));
  }
}

TEST(Format, PrintsToStreamsWholeHoweverLong) {
  tarn::test::initialise();
  const std::string long_text(10'000, 'y');
  tarn::FILE* stream = tarn::fopen("format_test.tmp", "wb");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(tarn::fprintf(stream, "%s%6000d|%.5000f", long_text.c_str(), 1, 0.5), 21'003);
  EXPECT_EQ(tarn::fprintf(stream, ""), 0);
  EXPECT_EQ(tarn::ferror(stream), 0);
  tarn::fclose(stream);
  const std::string wanted = long_text + std::string(5999, ' ') + "1|0.5" + std::string(4999, '0');
  stream = tarn::fopen("format_test.tmp", "rb");
  std::string got(30'000, '\0');
  got.resize(tarn::fread(got.data(), 1, got.size(), stream));
  EXPECT_EQ(got, wanted);
  EXPECT_EQ(tarn::fprintf(stream, "%s", "read only"), 9);  // the length, whatever the write did
  EXPECT_EQ(tarn::ferror(stream), 1);
  tarn::fclose(stream);
  std::remove("format_test.tmp");
  EXPECT_EQ(raised_by([] { tarn::fprintf(nullptr, "x"); }).number, 296);
  EXPECT_EQ(raised_by([] { tarn::fprintf(nullptr, ""); }).number, 296);
}

TEST(Format, PartsOfTheEngine) {
  char out[64];
  const auto form = [&](const char* body, int width, int left, int zero, int sign, int precision) {
    std::memset(out, '#', sizeof out);
    char* const end = tarn::_form(body, out, width, left, zero, sign, precision);
    EXPECT_EQ(*end, width > end - out || (left && width > 0) ? '#' : '\0') << body;
    return std::string(out, end);
  };
  EXPECT_EQ(form("-5", 6, 0, 0, 1, 4), "  -005");
  EXPECT_EQ(form("-5", 6, 0, 1, 1, 0), "-00005");
  EXPECT_EQ(form(" 5", 0, 0, 0, 1, 4), " 005");
  EXPECT_EQ(form(" 5", 0, 0, 0, 0, 4), "00 5");
  EXPECT_EQ(form("5", 4, 1, 0, 0, -1), "5   ");
  EXPECT_EQ(form("", 2, 0, 1, 1, -1), "00");
  *tarn::_formfixl("abcdef", out, 6, 0, 1, 4) = '\0';
  EXPECT_STREQ(out, "00abcd");
  tarn::__form_zero_precandvalue(out, 0, 0, 1);
  EXPECT_STREQ(out, "+");
  const char* digits = "4294967299x";
  EXPECT_EQ(tarn::_getnum(&digits), 3);
  EXPECT_STREQ(digits, "x");
}

}  // namespace
