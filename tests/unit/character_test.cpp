#include "strings/character.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

namespace {

// The text without the blanks at one end.
std::string without_leading(const std::string& text) {
  return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}
std::string without_trailing(const std::string& text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

// Cut or padded with blanks at the right or left end.
std::string to_left(std::string text, std::size_t length) {
  text.resize(length, ' ');
  return text;
}
std::string to_right(const std::string& text, std::size_t length) {
  return text.size() > length ? text.substr(text.size() - length)
                              : std::string(length - text.size(), ' ') + text;
}

std::string random_text(std::mt19937& random, unsigned longest) {
  std::string text;
  for (auto i = random() % (longest + 1); i > 0; --i) text += "  aB\t\xC9"[random() % 6];
  return text;
}

TEST(Character, AdjustsIntoAnyResultAndInPlaceAsAModelDoes) {
  std::mt19937 random(41);
  for (int round = 0; round < 20'000; ++round) {
    const std::string source = random_text(random, 12);
    const auto length = static_cast<std::int64_t>(source.size());
    const std::size_t size = random() % 16;
    SCOPED_TRACE("[" + source + "] into " + std::to_string(size));
    std::string result(size + 1, '#');
    tarn::ADJUSTL_at(result.data(), static_cast<std::int64_t>(size), source.data(), length);
    ASSERT_EQ(result, to_left(without_leading(source), size) + "#");
    tarn::ADJUSTR_at(result.data(), static_cast<std::int64_t>(size), source.data(), length);
    ASSERT_EQ(result, to_right(without_trailing(source), size) + "#");
    std::string text = source + "#";
    tarn::TRIM_at(text.data(), length);
    ASSERT_EQ(text, to_left(without_leading(source), source.size()) + "#");
    text = source + "#";
    tarn::TRIMR_at(text.data(), length);
    ASSERT_EQ(text, to_right(without_trailing(source), source.size()) + "#");
  }
}

TEST(Character, LowersAsciiCapitalsWithinTheLength) {
  std::string text =
      "AZ@[\xC9"
      "aM";
  tarn::LCASE_at(text.data(), 6);
  EXPECT_EQ(text,
            "az@[\xC9"
            "aM");
  tarn::LCASE_at(text.data(), 0);
  tarn::LCASE_at(text.data(), -1);
  EXPECT_EQ(text.back(), 'M');
}

TEST(Character, CentresWithinTheWidthAndNeverOutsideTheResult) {
  std::mt19937 random(42);
  for (int round = 0; round < 20'000; ++round) {
    const std::string source = random_text(random, 12);
    const std::size_t size = random() % 16;
    const auto width = static_cast<std::int16_t>(static_cast<int>(random() % 40) - 10);
    const int used = static_cast<int>(without_trailing(source).size());
    const int position = std::max((width - used) / 2, 1);
    std::string wanted = std::string(static_cast<std::size_t>(position - 1), ' ') + source;
    std::string result(size + 2, '#');
    tarn::CENTRE_at(&result[1], static_cast<std::int64_t>(size), source.data(), &width,
                    static_cast<std::int64_t>(source.size()));
    ASSERT_EQ(result, "#" + to_left(wanted, size) + "#") << "[" << source << "] width " << width;
  }
  for (const std::int16_t width : {std::int16_t{-32768}, std::int16_t{32767}}) {
    char result[] = "####";
    tarn::CENTRE_at(result, 3, "ab", &width, 2);
    EXPECT_EQ(result[3], '#');
  }
}

TEST(Character, CentreAnswersInRegistersAsACharacterFunction) {
  char result[10];
  const char source[] = "ab";
  const std::int16_t width = 10;
  std::uint64_t rax = 0;
  void* rcx = result;
  std::uint64_t rdx = sizeof result;
  register const char* r8 asm("r8") = source;
  register const std::int16_t* r9 asm("r9") = &width;
  asm volatile(
      "mov %%rsp, %%r15; sub $256, %%rsp; and $-16, %%rsp; sub $48, %%rsp\n"
      "movq $2, 32(%%rsp); call *%[routine]; mov %%r15, %%rsp"
      : "=a"(rax), "+c"(rcx), "+d"(rdx), "+r"(r8), "+r"(r9)
      : [routine] "r"(&tarn::CENTRE_at)
      : "r10", "r11", "r15", "memory", "cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5");
  EXPECT_EQ(rax, sizeof result);
  EXPECT_EQ(rcx, result);
  EXPECT_EQ(std::string(result, sizeof result), "   ab     ");
}

TEST(Character, CrossesToAndFromCStrings) {
  const struct {
    const char* source;
    std::int32_t length;
    const char* text;
  } made[] = {
      {"abc  ", 5, "abc"}, {"abc  ", 2, "ab"}, {"    ", 4, " "}, {" ", 1, " "},
      {"a b ", 4, "a b"},  {"abc", 0, ""},     {"abc", -7, ""},  {"  a", 3, "  a"},
  };
  for (const auto& c : made) {
    std::string text(10, '#');
    tarn::MAKE_CSTRING_at(c.source, text.data(), &c.length);
    EXPECT_STREQ(text.c_str(), c.text) << "[" << c.source << "] " << c.length;
    EXPECT_EQ(text[std::max(c.length, 0) + 1], '#');
    std::string again(10, '#');
    tarn::MAKE_CSTRING$(c.source, again.data(), &c.length);
    EXPECT_EQ(again, text);
  }
  const struct {
    const char* source;
    std::int32_t length;
    const char* field;
  } got[] = {{"ab", 5, "ab   ######"},
             {"ab", 1, "a##########"},
             {"", 3, "   ########"},
             {"ab", 0, "###########"},
             {"ab", -2, "###########"}};
  for (const auto& c : got) {
    std::string field(11, '#');
    tarn::GET_CSTRING_at(field.data(), c.source, &c.length);
    EXPECT_EQ(field, c.field) << "[" << c.source << "] " << c.length;
  }
}

TEST(Character, ReplacesTheFirstOccurrenceHoweverLongTheTail) {
  std::mt19937 random(43);
  for (int round = 0; round < 10'000; ++round) {
    std::string text, old_text, new_text;
    for (auto i = random() % 10; i > 0; --i) text += "ab"[random() % 2];
    if (round % 7 == 0) text += std::string(2000, 'c');
    for (auto i = random() % 3; i > 0; --i) old_text += "ab"[random() % 2];
    for (auto i = random() % 5; i > 0; --i) new_text += "xy"[random() % 2];
    // Nothing is found at the end of the text, as the search has it.
    const std::size_t place = old_text.empty() ? text.size() : text.find(old_text);
    std::string wanted = text;
    if (place != std::string::npos) wanted.replace(place, old_text.size(), new_text);
    std::string storage(text.size() + 6, '#');
    std::copy(text.c_str(), text.c_str() + text.size() + 1, storage.begin());
    char* const result = tarn::string_replace(storage.data(), old_text.c_str(), new_text.c_str());
    ASSERT_EQ(result, place == std::string::npos ? nullptr : storage.data() + place);
    ASSERT_EQ(storage.c_str(), wanted) << text << " " << old_text << " " << new_text;
    ASSERT_EQ(storage.back(), '#');
  }
}

}  // namespace
