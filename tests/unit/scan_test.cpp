#include "streams/scan.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <random>
#include <string>

#include "tests/support/raised.h"

namespace {

using tarn::sscanf;
using tarn::test::raised_by;

constexpr std::int32_t kOld = 0x5A5A5A5A;

TEST(Scan, Integers) {
  const struct {
    const char *text, *format;
    std::int32_t result, value;
  } cases[] = {
      {"", "%d", -1, kOld},
      {"   ", "%d", -1, kOld},
      {"\n", "%d", 0, kOld},
      {"abc", "%d", 0, kOld},
      {"12", "%d", 1, 12},
      {" -12x", "%d", 1, -12},
      {"0x1F", "%x", 1, 31},
      {"0x1F", "%i", 1, 31},
      {"0x1f", "%p", 1, 31},
      {"017", "%i", 1, 15},
      {"17", "%o", 1, 15},
      {"18", "%o", 1, 1},
      {"12ab", "%i", 1, 12},
      {"-", "%d", 1, 0},
      {"+7", "%u", 1, 7},
      {"-1", "%x", 1, -1},
      {"-2147483648", "%d", 1, -2147483647 - 1},
      {"99", "%1d", 1, 9},
      {"99", "%0d", 0, kOld},
      {"0x", "%x", 0, kOld},
      {"a 5", "a%d", 1, 5},
      {"% 5", "%%%d", 1, 5},
      {"b5", "a%d", 0, kOld},
      {"4294967295", "%ld", 1, 2147483647},
      {"7", "%lld", 1, kOld},
      {"42", "%*d", 0, kOld},
      {"1 2", "%*d%d", 1, 2},
      {"5", "%y", 1, kOld},
      {"5", "%", 0, kOld},
      {"5", "%5", 0, kOld},
      {"", "", -1, kOld},
      {"x", "", 0, kOld},
      {"\xFF", "%d", -1, kOld},
  };
  for (const auto& c : cases) {
    std::int32_t value = kOld;
    EXPECT_EQ(sscanf(c.text, c.format, &value), c.result) << c.text << " " << c.format;
    EXPECT_EQ(value, c.value) << c.text << " " << c.format;
  }
}

TEST(Scan, SeveralFieldsAndWidths) {
  std::int32_t a = kOld, b = kOld;
  EXPECT_EQ(sscanf("12345", "%2d%d", &a, &b), 2);
  EXPECT_EQ(a, 12);
  EXPECT_EQ(b, 345);
  EXPECT_EQ(sscanf("12", "%d %d", &a, &b), 1);
  EXPECT_EQ(sscanf("a b", "ab%n", &a), 0);
  EXPECT_EQ(a, 3);
  EXPECT_EQ(sscanf("42", "%d%n", &a, &b), 1);
  EXPECT_EQ(a, 42);
  EXPECT_EQ(b, 2);
  EXPECT_EQ(sscanf("4 , 5", "%d,%d", &a, &b), 2);
  EXPECT_EQ(b, 5);
  std::int16_t narrow[2] = {1, 1};
  std::int64_t wide = 0;
  EXPECT_EQ(sscanf("70000 -9000000000", "%hd%Ld", narrow, &wide), 2);
  EXPECT_EQ(narrow[0], 70000 - 65536);
  EXPECT_EQ(narrow[1], 1);
  EXPECT_EQ(wide, -9'000'000'000);
  std::uint64_t unsigned_wide = 0;
  EXPECT_EQ(sscanf("FFFFFFFFFFFFFFFF", "%Lx", &unsigned_wide), 1);
  EXPECT_EQ(unsigned_wide, ~std::uint64_t{0});
}

TEST(Scan, WordsSetsAndBytes) {
  const struct {
    const char *text, *format;
    std::int32_t result;
    const char* first;
    const char* second;
  } cases[] = {
      {"abcdef", "%3s%s", 2, "abc", "def"}, {" x\vy", "%s%s", 2, "x", "y"},
      {"bad", "%[abc]", 1, "ba", "#"},      {"ab,c", "%[^,]", 1, "ab", "#"},
      {"]a", "%[]a]", 1, "]a", "#"},        {"b", "%[a-c]", 1, "", "#"},
      {"a-c", "%[a-c]", 1, "a-c", "#"},     {"x]y", "%[^]]", 1, "x", "#"},
      {"abc", "%[abc", 0, "#", "#"},        {" ab", "%[ab]", 1, "ab", "#"},
      {"a b", "%*s%s", 1, "b", "#"},        {"zz9", "%2[z]%[0-9]", 2, "zz", "9"},
  };
  for (const auto& c : cases) {
    char first[100] = "#", second[100] = "#";
    EXPECT_EQ(sscanf(c.text, c.format, first, second), c.result) << c.format;
    EXPECT_STREQ(first, c.first) << c.format;
    EXPECT_STREQ(second, c.second) << c.format;
  }
  char bytes[5] = "####";
  EXPECT_EQ(sscanf(" x", "%c", bytes), 1);
  EXPECT_EQ(bytes[0], ' ');
  EXPECT_EQ(sscanf("abc", "%3c", bytes), 1);
  EXPECT_STREQ(bytes, "abc#");
  EXPECT_EQ(sscanf("ab", "%5c", bytes), 1);
  EXPECT_EQ(sscanf("a", "%*c%c", bytes), 0);
}

TEST(Scan, LongFieldsStayInTheirBuffers) {
  const std::string word(100, 'w');
  char first[5001], second[5001];
  EXPECT_EQ(sscanf(word.c_str(), "%s%s", first, second), 2);
  EXPECT_EQ(first, std::string(80, 'w'));
  EXPECT_EQ(second, std::string(20, 'w'));
  const std::string long_word(9000, 'w');
  EXPECT_EQ(sscanf(long_word.c_str(), "%9000s%9000[w]", first, second), 2);
  EXPECT_EQ(first, std::string(4299, 'w'));
  EXPECT_EQ(second, std::string(4299, 'w'));
  EXPECT_EQ(sscanf(long_word.c_str(), "%*9000s%*9000c"), 0);
  std::int32_t value = 0;
  EXPECT_EQ(sscanf((std::string(8000, '0') + "7").c_str(), "%8001d%d", &value, &value), 2);
  double real = 0;
  EXPECT_EQ(sscanf(("." + std::string(8000, '5') + "f").c_str(), "%*9000f%lf", &real), 1);
  std::string set = "%[";
  for (int i = 0; i < 1000; ++i) set += static_cast<char>('a' + i % 20);
  set += "z]";
  EXPECT_EQ(sscanf("aztu", set.c_str(), first), 1);
  EXPECT_STREQ(first, "azt");
  std::string many;
  for (int i = 0; i < 25'001; ++i) many += "%*n";
  EXPECT_EQ(sscanf("1", many.c_str()), 0);
  many.replace(many.size() - 3, 3, "%d");
  EXPECT_EQ(raised_by([&] { sscanf("1", many.c_str(), &value); }).number, 291);
}

TEST(Scan, Reals) {
  const struct {
    const char *text, *format;
    std::int32_t result;
    double value;
    const char* rest;
  } cases[] = {
      {"1.5e2x", "%lf%s", 2, 150.0, "x"}, {"-.5", "%lf%s", 1, -0.5, "#"},
      {"1.5fz", "%lf%s", 2, 1.5, "z"},    {"12345", "%2lf%s", 2, 12.0, "345"},
      {".", "%lf%s", 1, 0.0, "#"},        {"e5", "%lf%s", 1, 0.0, "#"},
      {"x", "%lf%s", 0, 99.0, "#"},       {"1e+x", "%Le%s", 2, 1.0, "x"},
      {"3.25 4", "%lg%s", 2, 3.25, "4"},  {"-5", "%1lf%s", 2, 0.0, "5"},
      {"7", "%lE", 1, 99.0, "#"},
  };
  for (const auto& c : cases) {
    double value = 99.0;
    char rest[20] = "#";
    EXPECT_EQ(sscanf(c.text, c.format, &value, rest), c.result) << c.text;
    EXPECT_DOUBLE_EQ(value, c.value) << c.text;
    EXPECT_STREQ(rest, c.rest) << c.text;
  }
  float pair[2] = {1, 1};
  EXPECT_EQ(sscanf("0.1", "%f", pair), 1);
  EXPECT_EQ(pair[0], 0.1f);
  EXPECT_EQ(pair[1], 1.0f);
}

TEST(Scan, StreamsAndWhatGoesBackToThem) {
  tarn::test::initialise();
  tarn::FILE* stream = tarn::fopen("scan_test.tmp", "w+b");
  ASSERT_NE(stream, nullptr);
  tarn::fputs("12 word,rest 7", stream);
  tarn::rewind(stream);
  std::int32_t value = 0, second = kOld;
  char word[20];
  EXPECT_EQ(tarn::fscanf(stream, "%d %[^,]", &value, word), 2);
  EXPECT_EQ(value, 12);
  EXPECT_STREQ(word, "word");
  EXPECT_EQ(tarn::fgetc(stream), ',');
  EXPECT_EQ(tarn::fscanf(stream, "%3s", word), 1);
  EXPECT_STREQ(word, "res");
  EXPECT_EQ(tarn::fscanf(stream, "x"), 0);
  EXPECT_EQ(tarn::fgetc(stream), 't');
  // The end of a stream is -1 in the middle of a format too.
  EXPECT_EQ(tarn::fscanf(stream, "%d %d", &value, &second), -1);
  EXPECT_EQ(value, 7);
  EXPECT_EQ(second, kOld);
  EXPECT_EQ(tarn::fscanf(stream, "%d", &value), -1);
  tarn::fclose(stream);
  std::remove("scan_test.tmp");
  EXPECT_EQ(tarn::fscanf(nullptr, "%d", &value), 0);
  tarn::FILE dead{};
  EXPECT_EQ(raised_by([&] { tarn::fscanf(&dead, "%d", &value); }).number, 296);
}

TEST(Scan, ATextAndAStreamGiveTheSame) {
  tarn::test::initialise();
  tarn::FILE* stream = tarn::fopen("scan_test.tmp", "w+b");
  ASSERT_NE(stream, nullptr);
  const char* const directives[] = {"%d",  "%i", "%x",  "%2d",   "%lf",   "%1lf", "%s",
                                    "%3s", "%c", "%2c", "%[a1]", "%[^,]", "%n",   " ",
                                    ",",   "a",  "%*d", "%*s",   "%o",    "%hd"};
  const char* const pieces[] = {"0", "0x", "1", "12", "-",  "+", ".",
                                "e", "f",  "a", " ",  "\t", ",", "9z"};
  std::mt19937 random(7);
  for (int round = 0; round < 3000; ++round) {
    std::string text, format;
    for (unsigned i = 0; i < 8; ++i) text += pieces[random() % std::size(pieces)];
    text.resize(400, ';');  // so that neither ends
    for (unsigned i = 0; i < 4; ++i) format += directives[random() % std::size(directives)];
    char from_text[4][201], from_stream[4][201];
    std::memset(from_text, '#', sizeof from_text);
    std::memset(from_stream, '#', sizeof from_stream);
    tarn::rewind(stream);
    tarn::fputs(text.c_str(), stream);
    tarn::rewind(stream);
    tarn::ungetc(0, stream);  // none from the round before
    const std::int32_t result = sscanf(text.c_str(), format.c_str(), from_text[0], from_text[1],
                                       from_text[2], from_text[3]);
    ASSERT_EQ(tarn::fscanf(stream, format.c_str(), from_stream[0], from_stream[1], from_stream[2],
                           from_stream[3]),
              result)
        << format << " of " << text;
    ASSERT_EQ(std::memcmp(from_text, from_stream, sizeof from_text), 0) << format << " of " << text;
  }
  tarn::fclose(stream);
  std::remove("scan_test.tmp");
}

TEST(Scan, WhatIsPrintedIsReadBack) {
  std::mt19937 random(5);
  for (int round = 0; round < 20'000; ++round) {
    const auto number = static_cast<std::int32_t>(random() >> random() % 32);
    const auto hexadecimal = static_cast<std::uint32_t>(random());
    char line[100], word[20] = "", read_word[100] = "";
    for (unsigned i = 0; i < 1 + random() % 15; ++i)
      word[i] = static_cast<char>('!' + random() % 90);
    std::snprintf(line, sizeof line, " %d,%x\t%s\n", number, hexadecimal, word);
    std::int32_t read_number = 0;
    std::uint32_t read_hexadecimal = 0;
    ASSERT_EQ(sscanf(line, "%d,%x %s", &read_number, &read_hexadecimal, read_word), 3) << line;
    ASSERT_EQ(read_number, number);
    ASSERT_EQ(read_hexadecimal, hexadecimal);
    ASSERT_STREQ(read_word, word);
  }
}

TEST(Scan, CheckExceptionReturnsItsSecondArgument) {
  EXPECT_EQ(tarn::check_exception(1, -2, 3), -2);
}

}  // namespace
