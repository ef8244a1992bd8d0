#include "services/file_utilities.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "paneview/paneview.h"
#include "streams/low_level_files.h"
#include "tests/support/captured.h"
#include "tests/support/raised.h"

namespace {

using tarn::test::make_file;

constexpr char kPath[] = "file_utilities.tmp";

class FileUtilities : public testing::Test {
 protected:
  void SetUp() override {
    tarn::test::initialise();
    tarn::_unlink(kPath);
  }
  void TearDown() override { tarn::_unlink(kPath); }
};

constexpr std::int64_t kFrom1601To1970 = 11'644'473'600;

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

TEST_F(FileUtilities, TheClock) {
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

TEST_F(FileUtilities, DrivesByLetter) {
  for (char letter = 'a'; letter <= 'z'; ++letter) {
    const char root[] = {letter, ':', '\\', 0};
    const int remote = (tarn::platform::GetDriveTypeA(root) & 4) != 0;
    EXPECT_EQ(tarn::disk_is_remote(letter), remote) << letter;
    EXPECT_EQ(tarn::disk_is_remote(static_cast<char>(letter - 'a' + 'A')), remote) << letter;
  }
  EXPECT_GE(tarn::platform::GetDriveTypeA("z:\\"), 2u);
  EXPECT_EQ(tarn::platform::GetDriveTypeA("q:\\"), 1u);
  EXPECT_EQ(tarn::platform::GetDriveTypeA("no such root"), 1u);
}

TEST_F(FileUtilities, FoldersOnTheWayToAFileAreMade) {
  const char* const folders[] = {"utilities.top", "utilities.top\\middle",
                                 "utilities.top\\middle\\deep"};
  const std::string file = std::string(folders[2]) + "\\file";
  EXPECT_EQ(tarn::open_file_path((std::string(".\\") + file).c_str(), "r"), nullptr);
  EXPECT_EQ(tarn::_access(folders[2], 0), 0);
  tarn::FILE* const stream = tarn::open_file_path(file.c_str(), "w");
  ASSERT_NE(stream, nullptr);
  tarn::fclose(stream);
  // A file where a folder should be.
  EXPECT_EQ(tarn::open_file_path((".\\" + file + "\\below\\x").c_str(), "w"), nullptr);
  EXPECT_EQ(std::filesystem::remove_all(folders[0]), 4u);  // they and the file
}

}  // namespace
