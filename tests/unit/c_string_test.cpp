#include "strings/c_string.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "process/process_state.h"
#include "strings/character_class.h"
#include "tests/support/raised.h"

namespace {

// A text that ends with the last byte of its page; the page behind it cannot be
// read, so that a read beyond the terminator faults.
class PageEnd {
 public:
  PageEnd() {
    namespace platform = tarn::platform;
    page_ = static_cast<char*>(
        platform::VirtualAlloc(nullptr, 2 * kPage, platform::kMemReserve, platform::kPageNoAccess));
    platform::VirtualAlloc(page_, kPage, platform::kMemCommit, platform::kPageReadWrite);
  }
  // Room for `spare` further bytes in front of the page's end.
  char* put(const std::string& text, std::size_t spare = 0) {
    char* const place = page_ + kPage - spare - text.size() - 1;
    std::memcpy(place, text.c_str(), text.size() + 1);
    return place;
  }

 private:
  static constexpr std::size_t kPage = 4096;
  char* page_;
};

std::string random_text(std::mt19937& random, unsigned longest) {
  static const char alphabet[] = "aAbBzZ_@[\xE9\xC9";
  std::string text;
  for (auto i = random() % (longest + 1); i > 0; --i) {
    text += alphabet[random() % (sizeof alphabet - 1)];
  }
  return text;
}

std::vector<int> values(const std::string& text, bool fold) {
  std::vector<int> all;
  for (const char c : text) {
    all.push_back(fold && c >= 'A' && c <= 'Z' ? c + 32 : static_cast<signed char>(c));
  }
  all.push_back(0);
  return all;
}

int order(const std::vector<int>& a, const std::vector<int>& b) { return a < b ? -1 : a > b; }

TEST(CString, ComparesAndSearchesAsAModelDoesAndReadsNoByteTooMany) {
  std::mt19937 random(31);
  static PageEnd first, second;
  for (int round = 0; round < 30'000; ++round) {
    const std::string left = random_text(random, 20);
    // Every other pair has a common beginning.
    const std::string right =
        (round % 2 ? left.substr(0, random() % (left.size() + 1)) : "") + random_text(random, 3);
    char* const a = first.put(left);
    char* const b = second.put(right);
    SCOPED_TRACE(left + " | " + right);
    ASSERT_EQ(tarn::strlen(a), left.size());
    ASSERT_EQ(tarn::strend(a), a + left.size());
    ASSERT_EQ(tarn::strcmp(a, b), order(values(left, false), values(right, false)));
    const int folded = order(values(left, true), values(right, true));
    ASSERT_EQ(tarn::strcmpl(a, b), folded);
    ASSERT_EQ(tarn::stricmp(a, b), folded);
    ASSERT_EQ(tarn::strcmpi(a, b), folded);
    ASSERT_EQ(tarn::string_match(a, b, 0), folded == 0);
    ASSERT_EQ(tarn::string_match(a, b, 7), left == right);
    const std::size_t count = random() % 24;
    ASSERT_EQ(tarn::strncmp(a, b, count),
              order(values(left.substr(0, count), false), values(right.substr(0, count), false)));

    const std::size_t in = std::min(left.find_first_not_of(right), left.size());
    const std::size_t out = std::min(left.find_first_of(right), left.size());
    ASSERT_EQ(tarn::strspn(a, b), right.empty() ? 0 : in);
    ASSERT_EQ(tarn::strcspn(a, b), out);
    ASSERT_EQ(tarn::strpbrk(a, b), out < left.size() ? a + out : nullptr);
    const std::size_t found = right.empty() ? left.size() : left.find(right);
    ASSERT_EQ(tarn::strstr(a, b), found != std::string::npos ? a + found : nullptr);
    const char wanted = right.empty() ? '\0' : right[0];
    const std::size_t last = wanted ? left.rfind(wanted) : left.size();
    char* const place = last != std::string::npos ? a + last : nullptr;
    ASSERT_EQ(tarn::strrchr(a, wanted + 0x300), place);
    ASSERT_EQ(tarn::rindex(a, wanted), place);
  }
}

TEST(CString, CopiesLikeAModelAndWritesNoByteTooMany) {
  std::mt19937 random(32);
  static PageEnd page;
  for (int round = 0; round < 5'000; ++round) {
    const std::string left = random_text(random, 20);
    const std::string right = random_text(random, 20);
    char* to = page.put(left, right.size());
    ASSERT_EQ(tarn::strcat(to, right.c_str()), to);
    ASSERT_EQ(to, left + right);
    to = page.put(right);
    ASSERT_EQ(tarn::strcpy(to, right.c_str()), to);
    ASSERT_EQ(tarn::stpcpy(to, right.c_str()), to + right.size());
    ASSERT_EQ(to, right);
    const std::size_t count = random() % 24;
    std::string field(24, '#');
    ASSERT_EQ(tarn::strncpy(field.data(), left.c_str(), count), field.data());
    std::string wanted = left.substr(0, count);
    wanted.resize(count, '\0');
    ASSERT_EQ(field, wanted + std::string(24 - count, '#'));
  }
}

TEST(CString, ComparisonOfCountZeroTouchesNothing) {
  EXPECT_EQ(tarn::strncmp(nullptr, nullptr, 0), 0);
  EXPECT_EQ(tarn::memcmp(nullptr, nullptr, 0), 0);
}

TEST(CString, MemcmpGivesTheDifferenceOfUnsignedBytes) {
  for (int a = 0; a < 256; a += 5) {
    for (int b = 0; b < 256; b += 3) {
      const char left[] = {'=', 0, static_cast<char>(a), 'x'};
      const char right[] = {'=', 0, static_cast<char>(b), 'y'};
      ASSERT_EQ(tarn::memcmp(left, right, 3), a - b);
    }
  }
}

TEST(CString, MemmoveGivesTheOldBytesHoweverTheBlocksOverlap) {
  for (std::size_t from = 0; from < 40; from += 3) {
    for (std::size_t to = 0; to < 40; ++to) {
      for (const std::size_t length : {0u, 1u, 7u, 24u}) {
        std::string text(64, '\0');
        for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i);
        std::string wanted = text;
        wanted.replace(to, length, text, from, length);
        ASSERT_EQ(tarn::memmove(&text[to], &text[from], length), &text[to]);
        ASSERT_EQ(text, wanted) << from << " to " << to;
      }
    }
  }
}

TEST(CString, CaseMappingMovesAsciiLettersOnly) {
  std::string all, lowered, raised;
  for (int i = 1; i < 256; ++i) {
    all += static_cast<char>(i);
    lowered += static_cast<char>(i >= 'A' && i <= 'Z' ? i + 32 : i);
    raised += static_cast<char>(i >= 'a' && i <= 'z' ? i - 32 : i);
  }
  std::string text = all;
  EXPECT_EQ(tarn::strlwr(text.data()), text.data());
  EXPECT_EQ(text, lowered);
  text = all;
  EXPECT_EQ(tarn::strupr(text.data()), text.data());
  EXPECT_EQ(text, raised);
}

TEST(CString, TokensAreTheRunsBetweenDelimitersAndThenNothing) {
  std::mt19937 random(33);
  for (int round = 0; round < 5'000; ++round) {
    std::string text;
    for (auto i = random() % 12; i > 0; --i) text += "ab,; "[random() % 5];
    std::vector<std::string> wanted(1), tokens;
    for (const char c : text) {
      if (std::strchr(",; ", c)) {
        wanted.emplace_back();
      } else {
        wanted.back() += c;
      }
    }
    std::erase(wanted, "");
    std::string copy = text;
    for (char* token = tarn::strtok(copy.data(), ",; "); token;
         token = tarn::strtok(nullptr, ";, ")) {
      tokens.emplace_back(token);
    }
    ASSERT_EQ(tokens, wanted) << text;
    ASSERT_EQ(tarn::strtok(nullptr, ","), nullptr) << text;
  }
  char rest[] = "a,b c";  // the delimiters may change on the way
  EXPECT_STREQ(tarn::strtok(rest, ","), "a");
  EXPECT_STREQ(tarn::strtok(nullptr, " "), "b");
  EXPECT_STREQ(tarn::strtok(nullptr, ""), "c");
}

TEST(CharacterClass, AgreesWithTheCLocaleAndTakesHighBytesAsPrintable) {
  tarn::test::initialise();
  EXPECT_EQ(tarn::runtime_cell(tarn::kCellClassTable),
            reinterpret_cast<tarn::Slot>(&tarn::character_class_table));
  const struct {
    std::uint16_t bit;
    int (*member)(int);
    bool high;
  } classes[] = {
      {0x0001, std::isprint, true},   {0x0002, std::isspace, false}, {0x0004, std::isupper, false},
      {0x0008, std::islower, false},  {0x0010, std::iscntrl, false}, {0x0020, std::isdigit, false},
      {0x0040, std::isxdigit, false}, {0x0100, std::isalpha, false}, {0x0200, std::ispunct, false},
      {0x0400, std::isalnum, false},  {0x0800, std::isgraph, true},
  };
  for (int i = 0; i < 256; ++i) {
    unsigned wanted = i >= 0x80 ? 0x0080 : 0;
    for (const auto& c : classes) {
      if (i >= 0x80 ? c.high : c.member(i) != 0) wanted |= c.bit;
    }
    EXPECT_EQ(tarn::character_class_table[i], wanted) << i;
    EXPECT_EQ(tarn::character_classes(i), wanted) << i;
  }
  for (const int outside : {-1, -23, 256, -2'000'000'000}) {
    EXPECT_EQ(tarn::character_classes(outside), 0x0010) << outside;
  }
}

}  // namespace
