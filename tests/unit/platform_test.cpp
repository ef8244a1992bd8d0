// What the modules rely on of a platform and their own tests do not meet, with the
// same expectations of both back ends: files and their share modes,
// searches, threads, faults, system messages, calendar.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cstring>
#include <string>

#include "platform/platform.h"
#include "tests/support/captured.h"
#include "tests/support/raised.h"
#include "tests/support/scratch_folder.h"

namespace {

using namespace tarn::platform;
using tarn::test::contents;
using tarn::test::fault_by;
using tarn::test::make_file;

constexpr std::uint64_t kPage = 4096;
constexpr std::uint32_t kErrorInvalidName = 123;
constexpr std::uint32_t kErrorDirectory = 267;

class Platform : public ::testing::Test {
 protected:
  tarn::test::ScratchFolder folder_;
};

Handle open_file(const char* path, std::uint32_t access, std::uint32_t share,
                 std::uint32_t creation) {
  return CreateFileA(path, access, share, nullptr, creation, 0, nullptr);
}

// ---- Files --------------------------------------------------------------------

TEST_F(Platform, CreationDecidesWhatAnOpenDoes) {
  const struct {
    const char* path;
    std::uint32_t creation, error;  // of the open, 0 if it works
    const char* content;            // afterwards
  } cases[] = {
      {"there", kCreateNew, kErrorFileExists, "old"},
      {"there", kOpenExisting, 0, "old"},
      {"there", kOpenAlways, 0, "old"},
      {"there", kTruncateExisting, 0, ""},
      {"there", kCreateAlways, 0, ""},
      {"there", 9, kErrorInvalidParameter, "old"},
      {"new", kCreateNew, 0, ""},
      {"new", kOpenExisting, kErrorFileNotFound, nullptr},
      {"new", kOpenAlways, 0, ""},
      {"new", kTruncateExisting, kErrorFileNotFound, nullptr},
      {"new", kCreateAlways, 0, ""},
      {"no\\such", kCreateAlways, kErrorPathNotFound, nullptr},
      {"", kOpenExisting, kErrorPathNotFound, nullptr},
      {"a*b", kCreateAlways, kErrorInvalidName, nullptr},
      {".", kOpenExisting, kErrorAccessDenied, nullptr},
      {"there\\x", kOpenExisting, kErrorPathNotFound, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.path) + " by " + std::to_string(c.creation));
    make_file("there", "old");
    DeleteFileA("new");
    const Handle file = open_file(c.path, kGenericRead | kGenericWrite, 0, c.creation);
    const std::uint32_t error = file == invalid_handle() ? GetLastError() : 0;
    EXPECT_EQ(error, c.error);
    if (file != invalid_handle()) CloseHandle(file);
    if (c.content != nullptr) {
      EXPECT_EQ(contents(c.path), c.content);
    } else {
      EXPECT_EQ(GetFileAttributesA(c.path) == kInvalidAttributes, std::strcmp(c.path, ".") != 0);
    }
  }
}

// Two openers agree exactly if each allows what the other does.
TEST_F(Platform, ShareModesOfEveryPairAgreeWithTheRule) {
  make_file("shared", "kept");
  const std::uint32_t accesses[] = {kGenericRead, kGenericWrite, kGenericRead | kGenericWrite};
  const auto allows = [](std::uint32_t share, std::uint32_t access) {
    return ((share & kShareRead) != 0 || (access & kGenericRead) == 0) &&
           ((share & kShareWrite) != 0 || (access & kGenericWrite) == 0);
  };
  for (const std::uint32_t first_access : accesses) {
    for (std::uint32_t first_share = 0; first_share < 4; ++first_share) {
      const Handle first = open_file("shared", first_access, first_share, kOpenExisting);
      ASSERT_NE(first, invalid_handle());
      for (const std::uint32_t access : accesses) {
        for (std::uint32_t share = 0; share < 4; ++share) {
          const Handle second = open_file("shared", access, share, kOpenExisting);
          const std::uint32_t error = second == invalid_handle() ? GetLastError() : 0;
          EXPECT_EQ(error, allows(first_share, access) && allows(share, first_access)
                               ? 0
                               : kErrorSharingViolation)
              << std::hex << first_access << '/' << first_share << ' ' << access << '/' << share;
          if (second != invalid_handle()) CloseHandle(second);
        }
      }
      EXPECT_EQ(DeleteFileA("shared"), 0);
      EXPECT_EQ(GetLastError(), kErrorSharingViolation);
      CloseHandle(first);
    }
  }
  EXPECT_EQ(contents("shared"), "kept");
}

TEST_F(Platform, PathsAndFoldersFollowTheRules) {
  ASSERT_NE(CreateDirectoryA("folder", nullptr), 0);
  make_file("folder/file", "by slash");
  EXPECT_EQ(GetFileAttributesA("folder"), kAttributeDirectory);
  EXPECT_EQ(GetFileAttributesA("folder\\file") & (kAttributeDirectory | kAttributeReadOnly), 0u);
  const struct {
    const char* name;
    Bool done;
    std::uint32_t error, expected;
  } cases[] = {
      {"make in nothing", CreateDirectoryA("no\\such", nullptr), GetLastError(),
       kErrorPathNotFound},
      {"delete a folder", DeleteFileA("folder"), GetLastError(), kErrorAccessDenied},
      {"delete nothing", DeleteFileA("nothing"), GetLastError(), kErrorFileNotFound},
      {"go to a file", SetCurrentDirectoryA("folder\\file"), GetLastError(), kErrorDirectory},
      {"go to nothing", SetCurrentDirectoryA("nothing"), GetLastError(), kErrorFileNotFound},
      {"another drive", DeleteFileA("q:\\no\\such"), GetLastError(), kErrorPathNotFound},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.done, 0) << c.name;
    EXPECT_EQ(c.error, c.expected) << c.name;
  }
  EXPECT_EQ(GetFileAttributesA("nothing"), kInvalidAttributes);
  EXPECT_NE(DeleteFileA("folder\\file"), 0);
}

std::string found_by(const char* pattern) {
  FindData data;
  const Handle find = FindFirstFileA(pattern, &data);
  if (find == invalid_handle()) return "error " + std::to_string(GetLastError());
  std::string names;
  do {
    names += names.empty() ? "" : " ";
    names += data.name;
  } while (FindNextFileA(find, &data));
  EXPECT_EQ(GetLastError(), kErrorNoMoreFiles);
  EXPECT_NE(FindClose(find), 0);
  return names;
}

TEST_F(Platform, SearchesMatchWithoutCaseAndInOrder) {
  for (const char* name : {"beta.TXT", "Alpha.txt", "gamma", "a.b.c", "delta.tx", "_first"}) {
    make_file(name, name);
  }
  ASSERT_NE(CreateDirectoryA("Inner", nullptr), 0);
  const struct {
    const char *pattern, *names;
  } cases[] = {
      {"*", ". .. a.b.c Alpha.txt beta.TXT delta.tx gamma Inner _first"},
      {"*.*", ". .. a.b.c Alpha.txt beta.TXT delta.tx gamma Inner _first"},
      {"*.txt", "Alpha.txt beta.TXT"},
      {"?????.TXT", "Alpha.txt"},
      {"*A*", "a.b.c Alpha.txt beta.TXT delta.tx gamma"},
      {"a*.*c", "a.b.c"},
      {"GAMMA", "gamma"},
      {".\\*.tx?", "Alpha.txt beta.TXT"},
      {"inner*", "Inner"},
      {"Inner\\*", ". .."},
      {"nothing*", "error 2"},
      {"no_such\\*", "error 3"},
      {"Inner\\", "error 2"},
      {"*\\x", "error 123"},
      {"", "error 3"},
  };
  for (const auto& c : cases) EXPECT_EQ(found_by(c.pattern), c.names) << c.pattern;
}

// ---- Faults, threads, messages, time --------------------------------------------

TEST(Threads, BeginWithTheSystemsFloatingPointModes) {
  std::uint32_t modes = 0;
  const std::uint32_t before = _mm_getcsr();
  _mm_setcsr((before & ~0x1000u) | 0x6000u);  // inexact results trap, and are cut
  const Handle thread = CreateThread(
      nullptr, 0,
      [](void* argument) TARNAPI -> std::uint32_t {
        *static_cast<std::uint32_t*>(argument) = _mm_getcsr() & 0xFFC0;
        return 0;
      },
      &modes, 0, nullptr);
  _mm_setcsr(before);
  EXPECT_EQ(WaitForSingleObject(thread, kWaitForever), kWaitObject);
  EXPECT_EQ(modes, 0x1F80u);
  CloseHandle(thread);
  EXPECT_EQ(WaitForSingleObject(thread, 0), kWaitFailed);
}

TEST(SystemText, ExistsForEachCodeThatCallersCompare) {
  char text[256];
  for (const std::uint32_t code :
       {kErrorFileNotFound, kErrorPathNotFound, kErrorTooManyOpenFiles, kErrorAccessDenied,
        kErrorInvalidHandle, kErrorNotEnoughMemory, kErrorNoMoreFiles, kErrorSharingViolation,
        kErrorFileExists, kErrorInvalidParameter, kErrorDiskFull, kErrorInsufficientBuffer,
        kErrorModuleNotFound, kErrorProcedureNotFound, kErrorAlreadyExists, kErrorBadExeFormat,
        kErrorEnvironmentVariableNotFound, kErrorMoreData, kErrorNoAccess}) {
    const std::uint32_t length =
        FormatMessageA(0x1200, nullptr, code, 0, text, sizeof text, nullptr);
    ASSERT_GT(length, 4u) << code;
    EXPECT_EQ(std::strlen(text), length) << code;
    EXPECT_STREQ(text + length - 2, "\r\n") << code;
    EXPECT_EQ(FormatMessageA(0x1200, nullptr, code, 0, text, length, nullptr), 0u) << code;
    EXPECT_EQ(GetLastError(), kErrorInsufficientBuffer) << code;
  }
  EXPECT_EQ(FormatMessageA(0x1200, nullptr, 0xABCDEF, 0, text, sizeof text, nullptr), 0u);
}

}  // namespace
