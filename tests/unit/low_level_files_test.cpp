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

TEST(LowLevelFiles, ErrnoIsOneCell) {
  tarn::store_errno(-1001);
  EXPECT_EQ(tarn::load_errno(), -1001);
  EXPECT_EQ(tarn::get_errno(), -1001);
}

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

TEST(LowLevelFiles, SizeAccessAndExistenceOfAFile) {
  tarn::test::initialise();
  const char path[] = "low_level.tmp";
  tarn::_unlink(path);
  EXPECT_EQ(tarn::exists(path), 0);
  EXPECT_EQ(tarn::get_file_size(path), -1);
  EXPECT_EQ(tarn::_access(path, 0), -1);
  EXPECT_EQ(tarn::_unlink(path), -1);
  tarn::FILE* const stream = tarn::fopen(path, "wb");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(tarn::fseek(stream, 4, 0), 0);
  EXPECT_EQ(tarn::fputs("12345", stream), 0);
  // Held: nobody else may open it, but it is there.
  EXPECT_EQ(tarn::exists(path), 0);
  EXPECT_EQ(tarn::get_file_size(path), -1);
  EXPECT_EQ(tarn::_access(path, 0), 0);
  tarn::fclose(stream);
  EXPECT_EQ(tarn::exists(path), 1);
  EXPECT_EQ(tarn::get_file_size(path), 9);
  const struct {
    std::int32_t mode, wanted;
  } cases[] = {{0, 0}, {2, 0}, {4, 0}, {6, 0}, {1, -1}, {-1, -1}};
  for (const auto& c : cases) EXPECT_EQ(tarn::_access(path, c.mode), c.wanted) << c.mode;
  EXPECT_EQ(tarn::_unlink(path), 0);
  EXPECT_EQ(tarn::_access(path, 0), -1);
}

TEST(LowLevelFiles, CallsWithDescriptorsRaiseTheMissingRoutinesName) {
  char byte = 0;
  const struct {
    tarn::test::Raised raised;
    const char* name;
  } cases[] = {
      {raised_by([&] { tarn::_read(0, &byte, 1); }), "__read"},
      {raised_by([&] { tarn::_write(1, &byte, 1); }), "__write"},
      {raised_by([&] { tarn::_lseek(1, 0, 0); }), "lseek"},
      {raised_by([&] { tarn::_chsize(1, 0); }), "lseek"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.raised.number, 29);
    EXPECT_EQ(c.raised.text[0], c.name);
  }
}

}  // namespace
