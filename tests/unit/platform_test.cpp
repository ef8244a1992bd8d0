// What the rooms rely on of a platform, with the same expectations of both
// back ends: pages, heap, files and their share modes, searches, environment,
// calendar.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace {

using namespace tarn::platform;

constexpr std::uint64_t kPage = 4096;
constexpr std::uint64_t kGranularity = 65536;
constexpr std::uint32_t kErrorInvalidName = 123;
constexpr std::uint32_t kErrorNegativeSeek = 131;
constexpr std::uint32_t kErrorDirectory = 267;
constexpr std::uint32_t kErrorInvalidAddress = 487;

// Each test has a folder of its own, which is the current one.
class Platform : public ::testing::Test {
 protected:
  void SetUp() override {
    char start[300];
    ASSERT_LT(GetCurrentDirectoryA(sizeof start, start), sizeof start);
    start_ = start;
    name_ = "platform_test_" + std::to_string(GetCurrentProcessId());
    folder_ = start_ + '\\' + name_;
    std::filesystem::remove_all(name_);
    ASSERT_NE(CreateDirectoryA(folder_.c_str(), nullptr), 0) << GetLastError();
    ASSERT_NE(SetCurrentDirectoryA(folder_.c_str()), 0);
  }

  void TearDown() override {
    SetCurrentDirectoryA(start_.c_str());
    std::filesystem::remove_all(name_);
  }

  std::string start_, name_, folder_;
};

Handle open_file(const char* path, std::uint32_t access, std::uint32_t share,
                 std::uint32_t creation) {
  return CreateFileA(path, access, share, nullptr, creation, 0, nullptr);
}

void write_file(const char* path, const std::string& text) {
  const Handle file = open_file(path, kGenericWrite, 0, kCreateAlways);
  ASSERT_NE(file, invalid_handle()) << path << ": " << GetLastError();
  std::uint32_t written = 0;
  EXPECT_NE(
      WriteFile(file, text.data(), static_cast<std::uint32_t>(text.size()), &written, nullptr), 0);
  EXPECT_EQ(written, text.size());
  EXPECT_NE(CloseHandle(file), 0);
}

std::string read_file(const char* path) {
  const Handle file = open_file(path, kGenericRead, kShareRead | kShareWrite, kOpenExisting);
  if (file == invalid_handle()) return "(error " + std::to_string(GetLastError()) + ")";
  char text[4096];
  std::uint32_t delivered = 0;
  EXPECT_NE(ReadFile(file, text, sizeof text, &delivered, nullptr), 0);
  CloseHandle(file);
  return std::string(text, delivered);
}

bool readable(const void* address) {
  char byte;
  return ReadProcessMemory(GetCurrentProcess(), address, &byte, 1, nullptr) != 0;
}

// ---- Memory -------------------------------------------------------------------

TEST(Memory, HeapBlocksAreAlignedDistinctAndAtLeastAsLargeAsAsked) {
  std::vector<void*> blocks;
  for (const std::uint64_t size : {0, 1, 15, 16, 17, 1000, 4096, 100'000, 10'000'000}) {
    void* const block = GlobalAlloc(0, size);
    ASSERT_NE(block, nullptr) << size;
    EXPECT_EQ(reinterpret_cast<std::uint64_t>(block) % 16, 0u) << size;
    EXPECT_GE(GlobalSize(block), size);
    std::memset(block, 0xA5, size);
    blocks.push_back(block);
  }
  EXPECT_EQ(std::set<void*>(blocks.begin(), blocks.end()).size(), blocks.size());
  for (void* const block : blocks) EXPECT_EQ(GlobalFree(block), nullptr);
  EXPECT_EQ(GlobalFree(nullptr), nullptr);
  for (const std::uint64_t size : {~std::uint64_t{0}, std::uint64_t{1} << 50}) {
    EXPECT_EQ(GlobalAlloc(0, size), nullptr);
    EXPECT_EQ(GetLastError(), kErrorNotEnoughMemory);
    EXPECT_EQ(HeapAlloc(GetProcessHeap(), 0, size), nullptr);
  }
}

TEST(Memory, ZeroFillIsDoneWhenAskedFor) {
  for (int round = 0; round < 50; ++round) {
    char* blocks[] = {static_cast<char*>(HeapAlloc(GetProcessHeap(), kHeapZeroMemory, 500)),
                      static_cast<char*>(GlobalAlloc(0x40, 500))};
    for (char* const block : blocks) {
      ASSERT_EQ(std::string(block, 500), std::string(500, '\0'));
      std::memset(block, 0xFF, 500);
      EXPECT_EQ(GlobalFree(block), nullptr);  // whichever of them made it
    }
  }
}

// Random commits, decommits and stores against a model of 64 pages: -1 not
// committed, else the byte that stands in the page.
TEST(Memory, PagesKeepWhatTheyHoldUntilTheyAreDecommitted) {
  constexpr int kPages = 64;
  auto* const base =
      static_cast<std::uint8_t*>(VirtualAlloc(nullptr, kPages * kPage, kMemReserve, kPageNoAccess));
  ASSERT_NE(base, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uint64_t>(base) % kGranularity, 0u);
  int model[kPages];
  std::fill(std::begin(model), std::end(model), -1);
  std::mt19937 random(1);
  for (int step = 0; step < 400; ++step) {
    const int first = static_cast<int>(random() % kPages);
    const int count = 1 + static_cast<int>(random() % (kPages - first));
    std::uint8_t* const at = base + first * kPage;
    switch (random() % 3) {
      case 0:
        // A range of bytes means all pages that it touches.
        ASSERT_NE(VirtualAlloc(at + kPage - 1, (count - 1) * kPage + 1, kMemCommit, kPageReadWrite),
                  nullptr);
        for (int i = first; i < first + count; ++i) model[i] = model[i] < 0 ? 0 : model[i];
        break;
      case 1:
        ASSERT_NE(VirtualFree(at, count * kPage, kMemDecommit), 0);
        for (int i = first; i < first + count; ++i) model[i] = -1;
        break;
      default:
        if (model[first] < 0) continue;
        model[first] = static_cast<int>(random() & 0xFF);
        at[random() % 2 * (kPage - 1)] = at[0] = at[kPage - 1] =
            static_cast<std::uint8_t>(model[first]);
    }
    for (int i = 0; i < kPages; ++i) {
      ASSERT_EQ(readable(base + i * kPage), model[i] >= 0) << "step " << step << " page " << i;
      if (model[i] < 0) continue;
      ASSERT_EQ(base[i * kPage], model[i]) << "step " << step << " page " << i;
      ASSERT_EQ(base[(i + 1) * kPage - 1], model[i]) << "step " << step << " page " << i;
    }
  }
  EXPECT_NE(VirtualFree(base, 0, kMemRelease), 0);
  EXPECT_FALSE(readable(base));
}

TEST(Memory, WrongPageRequestsFailWithTheirCodes) {
  auto* const base =
      static_cast<char*>(VirtualAlloc(nullptr, 3 * kGranularity, kMemReserve, kPageNoAccess));
  std::uint32_t old = 0;
  // Each is made, and then its error asked for, in the order of the table.
  const struct {
    const char* name;
    bool done;
    std::uint32_t error, expected;
  } cases[] = {
      {"release inside", VirtualFree(base + kGranularity, 0, kMemRelease) != 0, GetLastError(),
       kErrorInvalidAddress},
      {"release with a size", VirtualFree(base, kPage, kMemRelease) != 0, GetLastError(),
       kErrorInvalidParameter},
      {"unknown free", VirtualFree(base, kPage, 0x1234) != 0, GetLastError(),
       kErrorInvalidParameter},
      {"commit of nothing", VirtualAlloc(base, 0, kMemCommit, kPageReadWrite) != nullptr,
       GetLastError(), kErrorInvalidParameter},
      {"no such protection", VirtualAlloc(base, kPage, kMemCommit, 3) != nullptr, GetLastError(),
       kErrorInvalidParameter},
      {"no type", VirtualAlloc(nullptr, kPage, 0, kPageReadWrite) != nullptr, GetLastError(),
       kErrorInvalidParameter},
      {"no such size",
       VirtualAlloc(nullptr, std::uint64_t{1} << 60, kMemReserve, kPageNoAccess) != nullptr,
       GetLastError(), kErrorInvalidParameter},
      {"commit over the end",
       VirtualAlloc(base, 4 * kGranularity, kMemCommit, kPageReadWrite) != nullptr, GetLastError(),
       kErrorInvalidAddress},
      {"protection of what is not committed",
       VirtualProtect(base, kPage, kPageReadWrite, &old) != 0, GetLastError(),
       kErrorInvalidAddress},
  };
  for (const auto& c : cases) {
    EXPECT_FALSE(c.done) << c.name;
    EXPECT_EQ(c.error, c.expected) << c.name;
  }
  EXPECT_NE(VirtualFree(base, 0, kMemRelease), 0);
  EXPECT_EQ(VirtualFree(base, 0, kMemRelease), 0);
}

TEST(Memory, ProtectionIsChangedAndTheOldOneTold) {
  auto* const base = static_cast<volatile char*>(
      VirtualAlloc(nullptr, 2 * kPage, kMemReserve | kMemCommit, kPageReadWrite));
  void* const address = const_cast<char*>(base);
  base[0] = 7;
  std::uint32_t old = 0, expected = kPageReadWrite;
  for (const std::uint32_t protection :
       {kPageReadOnly, kPageNoAccess, kPageExecuteRead, kPageExecuteReadWrite, kPageReadWrite}) {
    ASSERT_NE(VirtualProtect(address, kPage, protection, &old), 0) << protection;
    EXPECT_EQ(old, expected);
    EXPECT_EQ(readable(address), protection != kPageNoAccess) << protection;
    expected = protection;
  }
  EXPECT_EQ(base[0], 7);
  EXPECT_NE(VirtualFree(address, 0, kMemRelease), 0);
}

TEST(Memory, HugeReservationsWorkAndHugeCommitsFail) {
  for (const int shift : {33, 40}) {
    const std::uint64_t size = std::uint64_t{1} << shift;
    auto* const base = static_cast<char*>(VirtualAlloc(nullptr, size, kMemReserve, kPageNoAccess));
    ASSERT_NE(base, nullptr) << shift;
    for (const std::uint64_t offset : {std::uint64_t{0}, size / 2, size - kPage}) {
      ASSERT_EQ(VirtualAlloc(base + offset, 1, kMemCommit, kPageReadWrite), base + offset);
      base[offset] = 1;
    }
    EXPECT_FALSE(readable(base + size / 2 + kPage));
    EXPECT_NE(VirtualFree(base, 0, kMemRelease), 0);
  }
  EXPECT_EQ(VirtualAlloc(nullptr, std::uint64_t{1} << 44, kMemReserve | kMemCommit, kPageReadWrite),
            nullptr);
}

TEST(Memory, TheSystemIsDescribed) {
  MemoryStatus status{};
  EXPECT_EQ(GlobalMemoryStatusEx(&status), 0);  // the length is not set
  status.length = sizeof status;
  ASSERT_NE(GlobalMemoryStatusEx(&status), 0);
  EXPECT_GT(status.total_physical, std::uint64_t{1} << 26);
  EXPECT_LE(status.available_physical, status.total_physical);
  EXPECT_LE(status.load_percent, 100u);
  SystemInfo info;
  GetSystemInfo(&info);
  EXPECT_EQ(info.page_size, kPage);
  EXPECT_EQ(info.allocation_granularity, kGranularity);
  EXPECT_EQ(info.architecture, 9);
  EXPECT_EQ(static_cast<std::uint32_t>(__builtin_popcountll(info.active_processors)),
            info.processor_count);
  VersionInfo version{};
  version.length = sizeof version;
  ASSERT_NE(GetVersionExA(&version), 0);
  EXPECT_EQ(version.platform_id, 2u);
  EXPECT_GE(version.major, 6u);
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
    write_file("there", "old");
    DeleteFileA("new");
    const Handle file = open_file(c.path, kGenericRead | kGenericWrite, 0, c.creation);
    const std::uint32_t error = file == invalid_handle() ? GetLastError() : 0;
    EXPECT_EQ(error, c.error);
    if (file != invalid_handle()) CloseHandle(file);
    if (c.content != nullptr) {
      EXPECT_EQ(read_file(c.path), c.content);
    } else {
      EXPECT_EQ(GetFileAttributesA(c.path) == kInvalidAttributes, std::strcmp(c.path, ".") != 0);
    }
  }
}

TEST_F(Platform, HandlesGiveWhatTheyWereOpenedFor) {
  write_file("file", "0123456789");
  char text[16] = "";
  std::uint32_t count = 9;
  const Handle reader = open_file("file", kGenericRead, kShareRead | kShareWrite, kOpenExisting);
  const Handle writer = open_file("file", kGenericWrite, kShareRead | kShareWrite, kOpenExisting);
  EXPECT_EQ(WriteFile(reader, "x", 1, &count, nullptr), 0);
  EXPECT_EQ(GetLastError(), kErrorAccessDenied);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(FlushFileBuffers(reader), 0);
  EXPECT_EQ(ReadFile(writer, text, 1, &count, nullptr), 0);
  EXPECT_EQ(GetLastError(), kErrorAccessDenied);
  EXPECT_NE(FlushFileBuffers(writer), 0);

  std::int64_t position = 0, size = 0;
  EXPECT_NE(GetFileSizeEx(reader, &size), 0);
  EXPECT_EQ(size, 10);
  EXPECT_NE(SetFilePointerEx(reader, -3, &position, 2), 0);
  EXPECT_EQ(position, 7);
  EXPECT_NE(ReadFile(reader, text, sizeof text, &count, nullptr), 0);
  EXPECT_EQ(std::string(text, count), "789");
  EXPECT_NE(ReadFile(reader, text, sizeof text, &count, nullptr), 0);  // at the end
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(SetFilePointerEx(reader, -11, &position, 1), 0);
  EXPECT_EQ(GetLastError(), kErrorNegativeSeek);
  EXPECT_EQ(SetFilePointerEx(reader, 0, &position, 3), 0);
  EXPECT_EQ(GetLastError(), kErrorInvalidParameter);
  EXPECT_NE(SetFilePointerEx(reader, 0, &position, 1), 0);
  EXPECT_EQ(position, 10);  // the refused ones moved nothing

  // Writing behind the end leaves zeros in between.
  EXPECT_NE(SetFilePointerEx(writer, 12, nullptr, 0), 0);
  EXPECT_NE(WriteFile(writer, "ab", 2, &count, nullptr), 0);
  EXPECT_EQ(read_file("file"), std::string("0123456789\0\0ab", 14));

  EXPECT_NE(CloseHandle(reader), 0);
  EXPECT_NE(CloseHandle(writer), 0);
  for (const Handle bad : {reader, Handle{nullptr}, reinterpret_cast<Handle>(0x123450)}) {
    EXPECT_EQ(ReadFile(bad, text, 1, &count, nullptr), 0);
    EXPECT_EQ(GetLastError(), kErrorInvalidHandle);
    EXPECT_EQ(CloseHandle(bad), 0);
    EXPECT_EQ(GetLastError(), kErrorInvalidHandle);
  }
}

// Two openers agree exactly if each allows what the other does.
TEST_F(Platform, ShareModesOfEveryPairAgreeWithTheRule) {
  write_file("shared", "kept");
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
  EXPECT_EQ(read_file("shared"), "kept");
}

constexpr char kChildFile[] = "TARN_TEST_CHILD_FILE";

// Not a test: what the child process of the next one does.
TEST(PlatformChild, DISABLED_OpensAFileThatIsHeld) {
  char path[600];
  ASSERT_NE(GetEnvironmentVariableA(kChildFile, path, sizeof path), 0u);
  for (const std::uint32_t access : {kGenericRead, kGenericWrite}) {
    for (const std::uint32_t creation : {kOpenExisting, kCreateAlways}) {
      EXPECT_EQ(open_file(path, access, kShareRead | kShareWrite, creation), invalid_handle());
      EXPECT_EQ(GetLastError(), kErrorSharingViolation);
    }
  }
  EXPECT_EQ(DeleteFileA(path), 0);
}

int run_child(const std::string& arguments) {
  return std::system((::testing::internal::GetArgvs()[0] + " " + arguments).c_str());
}

TEST_F(Platform, AnotherProcessIsRefusedAHeldFileAndChangesNothing) {
  const std::string path = folder_ + "\\held";
  ASSERT_NE(SetCurrentDirectoryA(start_.c_str()), 0);
  write_file(path.c_str(), "untouched");
  const Handle held = open_file(path.c_str(), kGenericRead, 0, kOpenExisting);
  ASSERT_NE(held, invalid_handle());
  SetEnvironmentVariableA(kChildFile, path.c_str());  // the child sees it
  const std::string child =
      "--gtest_also_run_disabled_tests --gtest_filter=PlatformChild.* --gtest_brief=1";
  EXPECT_EQ(run_child(child), 0);
  CloseHandle(held);
  EXPECT_EQ(read_file(path.c_str()), "untouched");
}

TEST_F(Platform, PathsAndFoldersFollowTheRules) {
  ASSERT_NE(CreateDirectoryA("folder", nullptr), 0);
  write_file("folder/file", "by slash");
  for (const char* path : {"folder\\file", ".\\folder/file", "folder\\.\\file",
                           "no_such\\..\\folder\\file", "folder\\..\\folder\\\\file"}) {
    EXPECT_EQ(read_file(path), "by slash") << path;
  }
  char where[300];
  ASSERT_NE(SetCurrentDirectoryA("folder\\"), 0);
  ASSERT_LT(GetCurrentDirectoryA(sizeof where, where), sizeof where);
  EXPECT_EQ(where, folder_ + "\\folder");
  EXPECT_EQ(read_file((std::string(where) + "\\file").c_str()), "by slash");
  EXPECT_EQ(read_file("..\\folder\\file"), "by slash");
  const std::string forward = std::string("z:/") + (where + 3) + "/file";
  EXPECT_EQ(read_file(forward.c_str()), "by slash") << forward;
  char small[4] = "abc";
  EXPECT_EQ(GetCurrentDirectoryA(sizeof small, small), std::strlen(where) + 1);
  EXPECT_STREQ(small, "abc");
  ASSERT_NE(SetCurrentDirectoryA(".."), 0);

  EXPECT_EQ(GetFileAttributesA("folder"), kAttributeDirectory);
  EXPECT_EQ(GetFileAttributesA("folder\\file") & (kAttributeDirectory | kAttributeReadOnly), 0u);
  const struct {
    const char* name;
    Status done;
    std::uint32_t error, expected;
  } cases[] = {
      {"make what is there", CreateDirectoryA("folder", nullptr), GetLastError(),
       kErrorAlreadyExists},
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
    write_file(name, name);
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

  FindData data;
  FileTime now;
  GetSystemTimeAsFileTime(&now);
  CloseHandle(open_file("new", kGenericWrite, 0, kCreateAlways));
  FindClose(FindFirstFileA("beta.*", &data));
  EXPECT_EQ(data.size_low, 8u);
  EXPECT_EQ(data.size_high, 0u);
  EXPECT_EQ(data.attributes & kAttributeDirectory, 0u);
  FindClose(FindFirstFileA("new", &data));
  const auto seconds = [](const FileTime& t) {
    return static_cast<std::int64_t>((std::uint64_t{t.high} << 32 | t.low) / 10'000'000);
  };
  EXPECT_LE(std::abs(seconds(data.written) - seconds(now)), 2);
  FindClose(FindFirstFileA("Inner", &data));
  EXPECT_EQ(data.attributes, kAttributeDirectory);
}

// ---- Consoles -------------------------------------------------------------------

TEST_F(Platform, AFileIsNoConsole) {
  write_file("file", "k");
  const Handle file = open_file("file", kGenericRead | kGenericWrite, 0, kOpenExisting);
  ASSERT_NE(file, invalid_handle());
  ScreenBufferInfo screen{};
  ConsoleCursorInfo cursor{25, 1};
  CharInfo cell{'x', 0, 7};
  SmallRect region{0, 0, 0, 0};
  InputRecord record{};
  std::uint32_t mode = 0, count = 0;
  const struct {
    const char* name;
    Status result;
  } cases[] = {
      {"mode", GetConsoleMode(file, &mode)},
      {"size", GetConsoleScreenBufferInfo(file, &screen)},
      {"cursor", GetConsoleCursorInfo(file, &cursor)},
      {"set cursor", SetConsoleCursorInfo(file, &cursor)},
      {"place", SetConsoleCursorPosition(file, {0, 0})},
      {"read cells", ReadConsoleOutputA(file, &cell, {1, 1}, {0, 0}, &region)},
      {"write cells", WriteConsoleOutputA(file, &cell, {1, 1}, {0, 0}, &region)},
      {"print", WriteConsoleA(file, "x", 1, &count, nullptr)},
      {"key", ReadConsoleInputA(file, &record, 1, &count)},
  };
  for (const auto& c : cases) EXPECT_EQ(c.result, 0) << c.name;
  EXPECT_NE(CloseHandle(file), 0);
  EXPECT_EQ(read_file("file"), "k");
}

// ---- Environment, texts, time -------------------------------------------------

TEST(Environment, IsReadAndChangedWithoutCase) {
  char text[64] = "unchanged";
  const auto get = [&](const char* name, std::uint32_t size) {
    SetLastError(0);
    return GetEnvironmentVariableA(name, text, size);
  };
  ASSERT_NE(SetEnvironmentVariableA("Tarn_Test_Variable", "five5"), 0);
  EXPECT_EQ(get("TARN_TEST_VARIABLE", 5), 6u);  // too small by one
  EXPECT_STREQ(text, "unchanged");
  EXPECT_EQ(get("tarn_test_variable", 6), 5u);
  EXPECT_STREQ(text, "five5");
  ASSERT_NE(SetEnvironmentVariableA("TARN_test_VARIABLE", ""), 0);
  EXPECT_EQ(get("Tarn_Test_Variable", 6), 0u);  // there, but empty
  EXPECT_EQ(GetLastError(), 0u);
  ASSERT_NE(SetEnvironmentVariableA("TARN_TEST_VARIABLE", nullptr), 0);
  EXPECT_EQ(get("Tarn_Test_Variable", 6), 0u);
  EXPECT_EQ(GetLastError(), kErrorEnvironmentVariableNotFound);
  EXPECT_EQ(get("", 6), 0u);
  for (const char* name : {"", "A=B"}) {
    EXPECT_EQ(SetEnvironmentVariableA(name, "x"), 0);
    EXPECT_EQ(GetLastError(), kErrorInvalidParameter);
  }
  const std::string value(30'000, 'v');
  SetEnvironmentVariableA("TARN_TEST_LONG", value.c_str());
  std::string copy(value.size() + 1, '\0');
  EXPECT_EQ(GetEnvironmentVariableA("TARN_TEST_LONG", copy.data(), 30'001), 30'000u);
  EXPECT_EQ(copy.c_str(), value);
  SetEnvironmentVariableA("TARN_TEST_LONG", nullptr);
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

TEST(Time, CalendarDatesAreRight) {
  const struct {
    std::uint64_t units;
    SystemTime expected;
  } cases[] = {
      {0, {1601, 1, 1, 1, 0, 0, 0, 0}},
      {116'444'736'000'000'000, {1970, 1, 4, 1, 0, 0, 0, 0}},
      {125'963'423'999'990'000, {2000, 2, 2, 29, 23, 59, 59, 999}},
      {125'963'424'000'000'000, {2000, 3, 3, 1, 0, 0, 0, 0}},
      {133'795'632'304'560'000, {2024, 12, 3, 25, 1, 20, 30, 456}},
      {2'650'467'743'990'000'000, {9999, 12, 5, 31, 23, 59, 59, 0}},
      {0x7FFFFFFFFFFFFFFF, {30828, 9, 4, 14, 2, 48, 5, 477}},
  };
  for (const auto& c : cases) {
    const FileTime time{static_cast<std::uint32_t>(c.units),
                        static_cast<std::uint32_t>(c.units >> 32)};
    SystemTime broken;
    ASSERT_NE(FileTimeToSystemTime(&time, &broken), 0);
    EXPECT_EQ(std::memcmp(&broken, &c.expected, sizeof broken), 0)
        << c.units << ": " << broken.year << '-' << broken.month << '-' << broken.day << ' '
        << broken.hour << ':' << broken.minute << ':' << broken.second << ' ' << broken.day_of_week;
  }
  const FileTime negative{0, 0x80000000};
  SystemTime broken;
  EXPECT_EQ(FileTimeToSystemTime(&negative, &broken), 0);
  for (const SystemTime& wrong : {SystemTime{2023, 13, 0, 1, 0, 0, 0, 0},
                                  SystemTime{2023, 1, 0, 1, 24, 0, 0, 0}, SystemTime{}}) {
    EXPECT_EQ(SystemTimeToTzSpecificLocalTime(nullptr, &wrong, &broken), 0);
    EXPECT_EQ(GetLastError(), kErrorInvalidParameter);
  }
}

TEST(Time, SleepTakesItsTimeAndTheClockRuns) {
  const auto now = [] {
    FileTime time;
    GetSystemTimeAsFileTime(&time);
    return std::uint64_t{time.high} << 32 | time.low;
  };
  const std::uint64_t before = now();
  Sleep(60);
  EXPECT_GE(now() - before, 500'000u);  // 50 ms: the two clocks need not agree exactly
  Sleep(0);
}

}  // namespace
