#include "failure/runtime_error.h"
#include "process/missing_routines.h"
#include "process/raising.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "failure/catalogue.h"
#include "failure/error_message.h"
#include "platform/platform.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/raised.h"

namespace {

using tarn::test::Raised;
using tarn::test::raised_by;

std::uint64_t address_of(const void* p) { return reinterpret_cast<std::uint64_t>(p); }

std::string expand(const char* text, const tarn::platform::AMD_CONTEXT& context) {
  char message[tarn::kRuntimeMessageSize + 1];
  std::memset(message, '#', sizeof message);
  tarn::expand_error_text(text, context, message);
  EXPECT_EQ(message[tarn::kRuntimeMessageSize], '#') << text;
  return message;
}

std::string message_of(const Raised& raised) {
  tarn::platform::AMD_CONTEXT context{};
  context.Rax = static_cast<std::uint64_t>(raised.number);
  context.R8 = address_of(raised.text[0].c_str());
  char message[tarn::kRuntimeMessageSize];
  tarn::compose_error_message(context, message);
  return message;
}

TEST(Raising, AFormattedTextIsCutAtItsBuffer) {
  const std::string longest(tarn::kTextErrorSize - 1, 'x');
  EXPECT_EQ(raised_by([&] { tarn::text_error("%s", longest.c_str()); }).text[0], longest);
  const Raised cut = raised_by([&] { tarn::text_error("%s%s", longest.c_str(), "tail"); });
  EXPECT_EQ(cut.number, 345);
  EXPECT_EQ(cut.text[0], longest);
}

TEST(Raising, AMissingRoutineIsNamed) {
  EXPECT_EQ(message_of(raised_by([] { tarn::__MissingRoutine("NONE@"); })),
            "Call to missing routine - NONE@");
}

TEST(Catalogue, HoldsTheTexts) {
  const struct {
    std::int64_t number;
    const char* text;
  } cases[] = {
      {0, "Undefined error"},
      {161, "\"*\" must precede \"$\" or \"Z\" in business editing descriptor"},
      {199, "Run out of heap space"},
      {447, "Positive width required when using E or G format descriptor"},
      {448, ""},
  };
  for (const auto& c : cases) EXPECT_STREQ(tarn::error_text(c.number), c.text) << c.number;
  for (int spare = 346; spare <= 356; ++spare) {
    EXPECT_STREQ(tarn::error_text(spare), "streams spare") << spare;
  }
  EXPECT_STREQ(tarn::error_text(11), tarn::error_text(175));
  for (const std::int64_t outside : {std::int64_t{-1}, std::int64_t{449}, INT64_MIN, INT64_MAX}) {
    EXPECT_STREQ(tarn::error_text(outside), "Undefined error") << outside;
  }
}

TEST(Catalogue, HasPlaceholdersWhereArgumentsAreGiven) {
  std::vector<int> with_argument, with_place;
  for (int number = 0; number < tarn::kCatalogueSize; ++number) {
    const std::string text = tarn::error_text(number);
    EXPECT_EQ(text.empty(), number == 448) << number;
    if (text.find("%1") != std::string::npos) with_argument.push_back(number);
    if (text.ends_with(" %F")) with_place.push_back(number);
    EXPECT_LT(text.size(), tarn::kRuntimeMessageSize) << number;
  }
  EXPECT_EQ(with_argument, (std::vector<int>{29, 345, 366, 367}));
  EXPECT_EQ(with_place, (std::vector<int>{275, 276, 281, 282, 283, 284, 285, 286, 288, 289, 290,
                                          291, 293, 294, 295}));
}

TEST(Message, ReplacesEachPlaceholder) {
  tarn::platform::AMD_CONTEXT context{};
  context.R8 = address_of("one");
  context.R9 = address_of("two");
  context.R10 = address_of("3%1");
  context.R11 = address_of("");
  context.R12 = 0;                   // no text
  context.R13 = 0xFFFF800000000001;  // nothing a program may read
  const struct {
    const char* text;
    const char* message;
  } cases[] = {
      {"%1", "one"},
      {"a %1, %2", "a one, two"},
      {"%3%2", "3%1two"},
      {"<%4>", "<>"},
      {"%5 and %6", "??? and ???"},
      {"lost %F", "lost"},
      {"lost%F", "lost"},
      {"%F", ""},
      {"none %0 %7 here", "none here"},
      {"100%% of", "100 of"},
      {"end %", "end "},
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(expand(c.text, context), c.message) << c.text;
}

TEST(Message, IsCutAtItsRoom) {
  const std::string text(3000, 'x');
  tarn::platform::AMD_CONTEXT context{};
  context.R8 = address_of(text.c_str());
  const std::string longest(tarn::kRuntimeMessageSize - 1, 'x');
  EXPECT_EQ(expand("%1%1", context), longest);
  EXPECT_EQ(expand(text.c_str(), context), longest);
}

TEST(Message, ArgumentsMayEndWithTheirMemory) {
  constexpr std::uint64_t kPage = tarn::test::GuardedPages::kPage;
  const tarn::test::GuardedPages memory(2 * kPage);
  auto* const pages = reinterpret_cast<char*>(memory.data());
  std::memset(pages, 'x', 2 * kPage);
  tarn::platform::AMD_CONTEXT context{};
  const struct {
    std::uint64_t offset;
    std::string message;
  } cases[] = {
      {2 * kPage - 5, "xxxxx"},                    // no NUL before the unreadable page
      {2 * kPage, "???"},                          // not one byte
      {kPage - 3, std::string(1023, 'x')},         // across two pages, cut
      {2 * kPage - 1023, std::string(1023, 'x')},  // the room's last byte is the page's
  };
  for (const auto& c : cases) {
    context.R8 = address_of(pages + c.offset);
    EXPECT_EQ(expand("%1", context), c.message) << c.offset;
  }
  pages[kPage + 1] = '\0';
  context.R8 = address_of(pages + kPage - 3);
  EXPECT_EQ(expand("%1", context), "xxxx");
}

TEST(SystemText, IsTheSystemsOrUnknown) {
  char* const text = tarn::nt_error_message(tarn::platform::kErrorFileNotFound);
  EXPECT_GT(std::strlen(text), 0u);
  EXPECT_STRNE(text, "Unknown error");
  EXPECT_STREQ(tarn::nt_error_message(0x2FFFFFFF), "Unknown error");
  EXPECT_STREQ(text, "Unknown error");  // one buffer
}

}  // namespace
