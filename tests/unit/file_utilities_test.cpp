#include "services/file_utilities.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "paneview/paneview.h"
#include "storage/heap.h"
#include "streams/low_level_files.h"
#include "tests/support/captured.h"
#include "tests/support/raised.h"

namespace {

using tarn::test::contents;
using tarn::test::make_file;
using tarn::test::with_crlf;

constexpr char kPath[] = "file_utilities.tmp";

class FileUtilities : public testing::Test {
 protected:
  void SetUp() override {
    tarn::test::initialise();
    tarn::_unlink(kPath);
  }
  void TearDown() override { tarn::_unlink(kPath); }

  // When the file was written, in whole seconds of universal time since 1601.
  static std::int64_t written() {
    tarn::platform::FindData data;
    tarn::platform::FindClose(tarn::platform::FindFirstFileA(kPath, &data));
    return static_cast<std::int64_t>((std::uint64_t{data.written.high} << 32 | data.written.low) /
                                     10'000'000);
  }
};

constexpr std::int64_t kFrom1601To1970 = 11'644'473'600;

TEST_F(FileUtilities, StampsAreWrittenAsTheyStand) {
  const struct {
    const char *date, *time;
    std::int64_t seconds;  // since 1970
  } cases[] = {
      {"01-09-2020", "13:33:20", 1'598'967'200}, {"01-09-20", "13:33:21", 1'598'967'200},
      {"31-12-99", "23:59:58", 946'684'798},     {"29-02-2000", "00:00:00", 951'782'400},
      {"01-01-1980", "00:00:00", 315'532'800},   {"01-01-80", "00:00:01", 315'532'800},
      {"30-06-2037", "12:00:00", 2'129'976'000}, {"28-02-79", "1 :2 :3", 3'444'771'722},
  };
  make_file(kPath, "x");
  for (const auto& c : cases) {
    EXPECT_EQ(tarn::set_file_date_time_text(kPath, c.date, c.time), 1) << c.date;
    EXPECT_EQ(written() - kFrom1601To1970, c.seconds) << c.date << ' ' << c.time;
  }
  EXPECT_EQ(tarn::set_file_date_time(kPath, 0x5121, 0x6C2A), 1);
  EXPECT_EQ(written() - kFrom1601To1970, 1'598'967'200);
  EXPECT_EQ(tarn::set_file_date_time(kPath, 0x7FFF5121, 0x7FFF6C2A), 1);  // the low words count
  EXPECT_EQ(written() - kFrom1601To1970, 1'598'967'200);
}

TEST_F(FileUtilities, WhatIsNoDateStampsNothing) {
  make_file(kPath, "x");
  ASSERT_EQ(tarn::set_file_date_time(kPath, 0x5121, 0x6C2A), 1);
  const std::int64_t before = written();
  const struct {
    const char *date, *time;
  } texts[] = {
      {"29-02-2001", "00:00:00"}, {"31-04-2020", "00:00:00"}, {"00-01-2020", "00:00:00"},
      {"01-13-2020", "00:00:00"}, {"01-00-2020", "00:00:00"}, {"01-01-1979", "00:00:00"},
      {"01-01-2108", "00:00:00"}, {"01-01-100", "00:00:00"},  {"01-01--5", "00:00:00"},
      {"01-01-2020", "24:00:00"}, {"01-01-2020", "00:60:00"}, {"01-01-2020", "00:00:60"},
      {"01-01-", "00:00:00"},     {"", "00:00:00"},           {"01-01-2020", "00:00"},
      {"01-01-xx", "00:00:00"},   {"-1-01-2020", "00:00:00"},
  };
  for (const auto& c : texts) {
    EXPECT_EQ(tarn::set_file_date_time_text(kPath, c.date, c.time), 0) << c.date << c.time;
  }
  for (const int date : {0, 0x5120, 0x5001, 0x51A1, 0x505E}) {
    EXPECT_EQ(tarn::set_file_date_time(kPath, date, 0), 0) << date;
  }
  for (const int time : {0xC000, 0x0780, 0x001E}) {
    EXPECT_EQ(tarn::set_file_date_time(kPath, 0x5121, time), 0) << time;
  }
  EXPECT_EQ(written(), before);

  char date[16] = "unchanged", time[16] = "too";
  int words[2] = {1, 2};
  EXPECT_EQ(tarn::get_file_date_time("no such file", &words[0], &words[1]), 0);
  EXPECT_EQ(tarn::get_file_date_time_text("no such file", date, time), 0);
  EXPECT_EQ(tarn::set_file_date_time("no such file", 0x5121, 0x6C2A), 0);
  EXPECT_STREQ(date, "unchanged");
  EXPECT_STREQ(time, "too");
  tarn::FILE* const held = tarn::fopen(kPath, "r");
  EXPECT_EQ(tarn::set_file_date_time(kPath, 0x5121, 0x6C2A), 0);
  tarn::fclose(held);
}

// Read back, a stamp has moved by the difference from universal time.
TEST_F(FileUtilities, StampsAreReadInLocalTime) {
  make_file(kPath, "x");
  tarn::platform::FileTime now, local;
  tarn::platform::GetSystemTimeAsFileTime(&now);
  ASSERT_NE(tarn::platform::FileTimeToLocalFileTime(&now, &local), 0);
  const auto units = [](const tarn::platform::FileTime& t) {
    return static_cast<std::int64_t>(std::uint64_t{t.high} << 32 | t.low);
  };
  const std::int64_t seconds = (units(local) - units(now)) / 10'000'000;
  EXPECT_LE(std::abs(seconds), 14 * 3600);
  // The 15th of the month at noon: whatever the zone, the month stays.
  for (const char* const stamp : {"15-01-2021", "15-07-2021"}) {
    ASSERT_EQ(tarn::set_file_date_time_text(kPath, stamp, "12:00:00"), 1);
    int date, time;
    ASSERT_EQ(tarn::get_file_date_time(kPath, &date, &time), 1);
    const std::int64_t there =
        ((date & 31) - 15) * 86'400 + (time >> 11) * 3600 + (time >> 5 & 63) * 60 + (time & 31) * 2;
    EXPECT_EQ(there - 12 * 3600, seconds) << stamp;
    char date_text[11], time_text[9], again_date[11], again_time[9];
    EXPECT_EQ(tarn::get_file_date_time_text(kPath, date_text, time_text), 1);
    EXPECT_EQ(tarn::dos_date_time_to_text(date, time, again_date, again_time), 1);
    EXPECT_STREQ(date_text, again_date);
    EXPECT_STREQ(time_text, again_time);
    EXPECT_EQ(std::string(date_text).substr(3), std::string(stamp).substr(3));
  }
}

TEST_F(FileUtilities, AStampWithoutAPackedDateIsZero) {
  make_file(kPath, "x");
  for (const std::int64_t year : {1971, 2110}) {
    const std::int64_t seconds = kFrom1601To1970 + (year - 1970) * 31'556'952;
    const auto units = static_cast<std::uint64_t>(seconds * 10'000'000);
    const tarn::platform::FileTime stamp = {static_cast<std::uint32_t>(units),
                                            static_cast<std::uint32_t>(units >> 32)};
    const auto file = tarn::platform::CreateFileA(kPath, tarn::platform::kGenericWrite, 0, nullptr,
                                                  tarn::platform::kOpenExisting, 0, nullptr);
    EXPECT_NE(tarn::platform::SetFileTime(file, nullptr, nullptr, &stamp), 0);
    tarn::platform::CloseHandle(file);
    std::int32_t date = 7, time = 7;
    EXPECT_EQ(tarn::get_file_date_time(kPath, &date, &time), 1);
    EXPECT_EQ(date, 0) << year;
    EXPECT_EQ(time, 0) << year;
  }
}

TEST_F(FileUtilities, PackedWordsAndTheClock) {
  const struct {
    int date, time;
    const char *date_text, *time_text;
  } cases[] = {
      {0x5121, 0x6C2A, "01-09-2020", "13:33:20"},
      {0x0021, 0x0000, "01-01-1980", "00:00:00"},
      {0xFF9F, 0xBF7D, "31-12-2107", "23:59:58"},
      {0x7FFF5121, -1, "01-09-2020", "31:63:62"},  // no date, but never out of its field
  };
  for (const auto& c : cases) {
    char date[11], time[9];
    EXPECT_EQ(tarn::dos_date_time_to_text(c.date, c.time, date, time), 1);
    EXPECT_STREQ(date, c.date_text);
    EXPECT_STREQ(time, c.time_text);
  }
  int year, month, day, hour, minute, second, date, time;
  int packed_date, packed_time;
  do {  // until both fall into the same two seconds
    tarn::get_time(&year, &month, &day, &hour, &minute, &second);
    tarn::get_now_file_date_time(&date, &time);
    packed_date = (year - 1980) << 9 | month << 5 | day;
    packed_time = hour << 11 | minute << 5 | second / 2;
  } while (packed_time != time);
  EXPECT_EQ(packed_date, date);
  EXPECT_GE(year, 2024);
}

TEST_F(FileUtilities, ChecksumsAndWholeFiles) {
  const struct {
    std::string bytes;
    std::uint32_t sums[2];
  } cases[] = {
      {"", {0, 0}},
      {"abc", {0x00636261, 0x012A2723}},
      {std::string(4096, '\0'), {0, 0}},
      {std::string(10'000, '\0'), {0, 0}},
      {"abcdefgh", {0xCCCAC8C6, (0x64636261u << 1 ^ 0x68676665u) * 8}},
      // The words of a second block go on from the first one's.
      {std::string(4095, '\0') + "\x01\x02", {0x01000002, (0x02000000u ^ 2u) * 4097}},
      {std::string("\xFF\xFF\xFF\xFF\x01", 5), {0, (0xFFFFFFFEu ^ 1u) * 5}},
  };
  for (const auto& c : cases) {
    make_file(kPath, c.bytes);
    std::uint32_t sums[2] = {7, 7};
    tarn::file_checksum(kPath, sums);
    EXPECT_EQ(sums[0], c.sums[0]) << c.bytes.size();
    EXPECT_EQ(sums[1], c.sums[1]) << c.bytes.size();
    void* const whole = tarn::__read_file(kPath);
    ASSERT_NE(whole, nullptr);
    EXPECT_EQ(std::memcmp(whole, c.bytes.data(), c.bytes.size()), 0);
    tarn::free(whole);
  }
  std::uint32_t sums[2] = {7, 7};
  tarn::file_checksum("no such file", sums);
  EXPECT_EQ(sums[0] | sums[1], 0u);
  EXPECT_EQ(tarn::__read_file("no such file"), nullptr);
}

TEST_F(FileUtilities, LinesAreAddedToALog) {
  EXPECT_EQ(tarn::log_event("first", kPath), 1);
  EXPECT_EQ(tarn::log_event("second\n", kPath), 1);
  EXPECT_EQ(tarn::log_event("", kPath), 1);
  EXPECT_EQ(tarn::log_event("two\nlines", kPath), 1);
  const std::string longest(20'000, 'l');
  EXPECT_EQ(tarn::log_event(longest.c_str(), kPath), 1);
  EXPECT_EQ(contents(kPath), with_crlf("first\nsecond\n\ntwo\nlines\n" + longest + "\n"));
  EXPECT_EQ(tarn::log_event("lost", "no such folder\\log"), 0);
}

TEST_F(FileUtilities, DrivesByLetter) {
  for (char letter = 'a'; letter <= 'z'; ++letter) {
    const char root[] = {letter, ':', '\\', 0};
    const int remote = (tarn::platform::GetDriveTypeA(root) & 4) != 0;
    EXPECT_EQ(tarn::disk_is_remote(letter), remote) << letter;
    EXPECT_EQ(tarn::disk_is_remote(static_cast<char>(letter - 'a' + 'A')), remote) << letter;
  }
  EXPECT_EQ(tarn::disk_is_remote('*'), 0);
  EXPECT_GE(tarn::platform::GetDriveTypeA("z:\\"), 2u);
  EXPECT_EQ(tarn::platform::GetDriveTypeA("q:\\"), 1u);
  EXPECT_EQ(tarn::platform::GetDriveTypeA("no such root"), 1u);
}

TEST_F(FileUtilities, QuotesAroundATextAndOffAgain) {
  const std::string longest(5000, 'x');
  const struct {
    std::string plain, quoted, unquoted;
  } cases[] = {
      {"", "\"\"", ""},
      {"a b", "\"a b\"", "a b"},
      {"a\"b", "\"a\"b\"", "a"},
      {"\"open", "\"open", "open"},
      {"\"word\" and more", "\"word\" and more", "word"},
      {longest, '"' + longest + '"', longest},
  };
  for (const auto& c : cases) {
    std::vector<char> text(c.plain.size() + 3), other(c.plain.size() + 3);
    std::memcpy(text.data(), c.plain.c_str(), c.plain.size() + 1);
    tarn::__dquote_string(text.data(), other.data());
    EXPECT_EQ(other.data(), c.quoted);
    EXPECT_EQ(text.data(), c.plain);
    tarn::__dquote_string(text.data(), nullptr);
    EXPECT_EQ(text.data(), c.quoted);
    tarn::__dunquote_string(text.data(), other.data());
    EXPECT_EQ(other.data(), c.unquoted);
    EXPECT_EQ(text.data(), c.quoted);
    tarn::__dunquote_string(text.data(), nullptr);
    EXPECT_EQ(text.data(), c.unquoted);
  }
  char bare[] = "bare", copy[8] = "";
  tarn::__dunquote_string(bare, nullptr);
  tarn::__dunquote_string(bare, copy);
  EXPECT_STREQ(bare, "bare");
  EXPECT_STREQ(copy, "bare");
}

TEST_F(FileUtilities, FoldersOnTheWayToAFileAreMade) {
  const char* const folders[] = {"utilities.top", "utilities.top\\middle",
                                 "utilities.top\\middle\\deep"};
  const std::string file = std::string(folders[2]) + "\\file";
  // What stands before the first separator is not tried.
  EXPECT_EQ(tarn::open_file_path("utilities.top\\file", "w"), nullptr);
  EXPECT_EQ(tarn::_access(folders[0], 0), -1);
  EXPECT_EQ(tarn::open_file_path((std::string(".\\") + file).c_str(), "r"), nullptr);
  EXPECT_EQ(tarn::_access(folders[2], 0), 0);
  tarn::FILE* const stream = tarn::open_file_path(file.c_str(), "w");
  ASSERT_NE(stream, nullptr);
  tarn::fclose(stream);
  // A file where a folder should be.
  EXPECT_EQ(tarn::open_file_path((".\\" + file + "\\below\\x").c_str(), "w"), nullptr);
  EXPECT_EQ(std::filesystem::remove_all(folders[0]), 4u);  // they and the file
  EXPECT_EQ(tarn::open_file_path("no such file", "r"), nullptr);
  EXPECT_EQ(tarn::open_file_path("", "r"), nullptr);
  const std::string too_long = ".\\" + std::string(258, 'd');
  EXPECT_EQ(tarn::open_file_path((too_long + "\\x").c_str(), "w"), nullptr);
  EXPECT_EQ(tarn::_access(too_long.c_str(), 0), -1);
}

}  // namespace
