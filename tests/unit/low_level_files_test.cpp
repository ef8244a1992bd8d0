#include "streams/low_level_files.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "platform/platform.h"
#include "process/process_state.h"

namespace {

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
}

TEST(LowLevelFiles, DrivesAndFolders) {
  const std::uint32_t drives = tarn::platform::GetLogicalDrives();
  ASSERT_NE(drives, 0u);
  EXPECT_EQ(tarn::getdrive(), 31 - __builtin_clz(drives));
  char before[1024], inside[1024];
  ASSERT_NE(tarn::getcwd(before, sizeof before), nullptr);
  ASSERT_NE(tarn::platform::CreateDirectoryA("low_level.dir", nullptr), 0);
  EXPECT_EQ(tarn::_chdir("low_level.dir"), 0);
  ASSERT_NE(tarn::getcwd(inside, sizeof inside), nullptr);
  EXPECT_STREQ(inside + std::strlen(before), "\\low_level.dir");
  EXPECT_EQ(tarn::_chdir(before), 0);
  std::filesystem::remove("low_level.dir");
}

}  // namespace
