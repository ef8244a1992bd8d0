#include "streams/low_level_files.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "platform/platform.h"
#include "process/process_state.h"
#include "streams/file_stream.h"
#include "tests/support/raised.h"

namespace {

using tarn::test::raised_by;

constexpr std::int32_t kUntouched = 4711;

TEST(LowLevelFiles, TheCurrentFolderFitsOrIsAnError) {
  char whole[1024];
  ASSERT_EQ(tarn::getcwd(whole, sizeof whole), whole);
  const auto length = static_cast<std::int32_t>(std::strlen(whole));
  std::string text(static_cast<std::size_t>(length) + 2, '#');
  tarn::set_errno(kUntouched);
  EXPECT_EQ(tarn::getcwd(text.data(), length), nullptr);  // no place for the NUL
  EXPECT_EQ(tarn::get_errno(), -1001);
  EXPECT_EQ(text[static_cast<std::size_t>(length)], '#');
  tarn::set_errno(kUntouched);
  EXPECT_EQ(tarn::getcwd(text.data(), length + 1), text.data());
  EXPECT_STREQ(text.c_str(), whole);
  EXPECT_EQ(tarn::getcwd(nullptr, 100), nullptr);
  EXPECT_EQ(tarn::getcwd(whole, 0), nullptr);
  EXPECT_EQ(tarn::get_errno(), kUntouched);
}

TEST(LowLevelFiles, DrivesAndFolders) {
  const std::uint32_t drives = tarn::platform::GetLogicalDrives();
  ASSERT_NE(drives, 0u);
  EXPECT_EQ(tarn::getdrive(), 31 - __builtin_clz(drives));
  EXPECT_EQ(tarn::_chdrive(0), -1);
  EXPECT_EQ(tarn::_chdrive(27), -1);
  char before[1024], inside[1024];
  ASSERT_NE(tarn::getcwd(before, sizeof before), nullptr);
  EXPECT_EQ(tarn::_chdir("no such folder"), -1);
  ASSERT_NE(tarn::platform::CreateDirectoryA("low_level.dir", nullptr), 0);
  EXPECT_EQ(tarn::exists("low_level.dir"), 0);
  for (const int mode : {0, 1, 2, 4, 6, 99}) EXPECT_EQ(tarn::_access("low_level.dir", mode), 0);
  EXPECT_EQ(tarn::_unlink("low_level.dir"), -1);
  EXPECT_EQ(tarn::_chdir("low_level.dir"), 0);
  ASSERT_NE(tarn::getcwd(inside, sizeof inside), nullptr);
  EXPECT_STREQ(inside + std::strlen(before), "\\low_level.dir");
  EXPECT_EQ(tarn::_chdir(before), 0);
  std::filesystem::remove("low_level.dir");
}

}  // namespace
