#include "services/execution_profile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "process/process_state.h"
#include "streams/low_level_files.h"
#include "tests/support/captured.h"
#include "tests/support/raised.h"

namespace {

using tarn::test::contents;
using tarn::test::make_file;
using tarn::test::output_of;
using tarn::test::with_crlf;

constexpr char kListing[] = "profile_test.LIS";
constexpr char kSummary[] = "profile_test.PROFILE";
constexpr char kUpdated[] = "File profile_test.LIS updated with execution count information\n";
constexpr char kWritten[] = "Summary of profile data written to profile_test.PROFILE\n";

std::string blanks(std::size_t count) { return std::string(count, ' '); }

// A line of the listing, padded to `length` characters.
std::string line(const std::string& number, std::size_t length) {
  const std::string text = " " + number + " ";
  return text + std::string(length - text.size(), 'x');
}

class Profile : public testing::Test {
 protected:
  void SetUp() override {
    tarn::test::initialise();
    remove();
  }
  void TearDown() override {
    tarn::profile_block = nullptr;
    remove();
  }
  static void remove() {
    tarn::_unlink(kListing);
    tarn::_unlink(kSummary);
  }

  // Lays a block that ends where its path ends; n may lie.
  void lay(const std::vector<std::int64_t>& counters, const std::string& path, std::int64_t n) {
    const auto add = [this](const auto& value) {
      const auto* const bytes = reinterpret_cast<const char*>(&value);
      block_.insert(block_.end(), bytes, bytes + sizeof value);
    };
    block_.clear();
    add(n);
    for (const std::int64_t counter : counters) add(counter);
    block_.insert(block_.end(), path.c_str(), path.c_str() + path.size() + 1);
    tarn::profile_block = block_.data();
  }
  void lay(const std::vector<std::int64_t>& counters,
           const std::string& path = "profile_test.for") {
    lay(counters, path, static_cast<std::int64_t>(counters.size()));
  }

  // The listing behind a report, and what is printed for it.
  static std::string listing_of(const std::string& text) {
    make_file(kListing, text);
    EXPECT_EQ(output_of([] { tarn::__use_profile_data(); }),
              with_crlf(std::string(kWritten) + kUpdated));
    return contents(kListing);
  }

  std::vector<char> block_;
};

TEST_F(Profile, NumberedLinesGetTheirCountsAtTheirEnd) {
  lay({0, 5, 1234567, -1, 5});
  const std::string last = "  0005 last\n";
  const std::string text = "PROGRAM SHORT\n" +                                   //
                           line("0001", 10) + "\n" + line("0002", 80) + "\n" +   //
                           line("0003", 100) + "\n" + line("0004", 20) + "\n" +  //
                           line("0006", 20) + "\n" + line("0000", 20) + "\n" +   //
                           line("99999999999999999999", 30) + "\n" +             //
                           " 00;1 is none\n 12x\n \n\n0001 neither\n" + last;
  const std::string wanted = "PROGRAM SHORT\n" +                                           //
                             line("0001", 10) + " " + blanks(70) + " Never executed\n" +   //
                             line("0002", 80) + " " + blanks(18) + "  5 Times\n" +         //
                             line("0003", 100) + " " + blanks(20) + "1,234,567 Times\n" +  //
                             line("0004", 20) + " \n" + line("0006", 20) + " \n" +         //
                             line("0000", 20) + " \n" + line("99999999999999999999", 30) +
                             " \n" +                                             //
                             " 00;1 is none\n 12x\n \n\n0001 neither\n" +        //
                             "  0005 last" + " " + blanks(69) + "  5 Times\n" +  //
                             "Line 3 had the most executions (1234567)\n";
  EXPECT_EQ(listing_of(with_crlf(text)), with_crlf(wanted));
  const std::string summary = contents(kSummary);
  EXPECT_EQ(summary.front(), '[');
  const std::size_t banner = summary.find("]\r\n\r\n");
  ASSERT_NE(banner, std::string::npos);
  EXPECT_EQ(summary.substr(banner + 5), with_crlf("Line number    Execution count\n\n"
                                                  "   1                0\n"
                                                  "   2                5\n"
                                                  "   3             1234567\n"
                                                  "   5                5\n"));
  EXPECT_STREQ(block_.data() + block_.size() - sizeof kListing, kListing);
}

TEST_F(Profile, TheEndOfTheListing) {
  const std::string most = "Line 0 had the most executions (0)\n";
  const struct {
    const char *listing, *kept;
  } cases[] = {
      {"", ""},
      {"a", ""},
      {"a\n", ""},
      {"ab", ""},
      {"abc", "abc\n"},
      {"one\na\n", "one\n"},
      {"one\nab", "one\n"},
      {"one\nabc", "one\nabc\n"},
      {" 1", ""},
      {" 12", " 12\n"},
      {"one\n 1\n", "one\n 1\n"},
  };
  for (const auto& c : cases) {
    lay({});
    EXPECT_EQ(listing_of(c.listing), with_crlf(c.kept + most)) << c.listing;
  }
}

TEST_F(Profile, WhatIsMissingEndsTheReport) {
  EXPECT_EQ(output_of([] { tarn::__use_profile_data(); }), "");  // no block
  lay({1, 2});
  EXPECT_EQ(output_of([] { tarn::__use_profile_data(); }), with_crlf(kWritten));
  EXPECT_EQ(contents(kListing), "(none)");
  EXPECT_NE(contents(kSummary), "(none)");
  remove();

  // Blocks that cannot be right, and a folder that is not there.
  lay({1}, "for");
  EXPECT_EQ(output_of([] { tarn::__use_profile_data(); }), "");
  lay({1}, "profile_test.for", -1);
  EXPECT_EQ(output_of([] { tarn::__use_profile_data(); }), "");
  lay({1}, "profile_test.for", std::int64_t{1} << 40);
  EXPECT_EQ(output_of([] { tarn::__use_profile_data(); }), "");
  EXPECT_EQ(contents(kSummary), "(none)");
  lay({1}, "no_such_folder\\a.for");
  EXPECT_EQ(output_of([] { tarn::__use_profile_data(); }),
            "Unable to write summary of profile data to no_such_folder\\a.PROFILE\r\n");
}

}  // namespace
