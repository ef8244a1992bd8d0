// What only the host's back end has: the registry file, locks among processes,
// names in any case, limits of the system, its shell and its signals.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/image_imports.h"
#include "platform/platform.h"
#include "platform/posix/processes/processes.h"
#include "platform/posix/processes/program_start.h"
#include "tests/support/host_child.h"
#include "tests/support/scratch_folder.h"

namespace {

using namespace tarn::platform;
using tarn::test::ScratchFolder;
using tarn::test::start_child;
using tarn::test::status_of;

class HostPlatform : public ::testing::Test {
 protected:
  static Handle open(const std::string& name, std::uint32_t access, std::uint32_t share = 3,
                     std::uint32_t creation = kOpenExisting) {
    return CreateFileA(name.c_str(), access, share, nullptr, creation, 0, nullptr);
  }
  static void write(const std::string& name, const std::string& text, mode_t mode = 0644) {
    std::ofstream(name) << text;
    chmod(name.c_str(), mode);
  }
  ScratchFolder folder_;
};

// ---- Registry -----------------------------------------------------------------

TEST_F(HostPlatform, RegistryFileIsReadAsStated) {
  std::filesystem::create_directory("tarnley");
  std::ofstream("tarnley/registry") << "ignored=before any key\n"
                                       "[Software\\Tarnley\\Common]\r\n"
                                       "Plain=value\r\n"
                                       "  spaced name =  in between \t\n"
                                       "equals=a=b\n"
                                       "empty=\n"
                                       "plain=the first one stands\n"
                                       "=the default\n"
                                       "no equals sign\n"
                                       "\n"
                                       "[Software\\Tarnley\\Common\\Deeper]\n"
                                       "Plain=deeper\n"
                                       "[Software\\TarnleyOther]\n"
                                       "last=without line end";
  SetEnvironmentVariableA("XDG_CONFIG_HOME", folder_.path().c_str());
  const auto root = reinterpret_cast<Handle>(kCurrentUserKey);
  const struct {
    const char *key, *name, *value;  // null: no such value; of a null name: no such key
  } cases[] = {
      {"Software\\Tarnley\\Common", "Plain", "value"},
      {"software\\TARNLEY\\common", "pLAIN", "value"},
      {"Software\\Tarnley\\Common\\", "spaced name", "in between"},
      {"Software\\Tarnley\\Common", "equals", "a=b"},
      {"Software\\Tarnley\\Common", "empty", ""},
      {"Software\\Tarnley\\Common", "", "the default"},
      {"Software\\Tarnley\\Common", "no equals sign", nullptr},
      {"Software\\Tarnley\\Common", "ignored", nullptr},
      {"Software\\Tarnley\\Common", "last", nullptr},
      {"Software\\Tarnley\\Common\\Deeper", "Plain", "deeper"},
      {"Software\\TarnleyOther", "last", "without line end"},
      {"Software\\Tarnley", "Plain", nullptr},  // a key, for the sake of those below it
      {"Software\\Tarn", nullptr, nullptr},
      {"Elsewhere", nullptr, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.key) + " " + (c.name ? c.name : "(none)"));
    Handle key = nullptr;
    const std::uint32_t opened = RegOpenKeyExA(root, c.key, 0, kKeyRead, &key);
    EXPECT_EQ(opened, c.name ? 0 : kErrorFileNotFound);
    if (opened != 0) continue;
    char text[64] = "untouched";
    std::uint32_t size = sizeof text, type = 0;
    auto* const bytes = reinterpret_cast<std::uint8_t*>(text);
    EXPECT_EQ(RegQueryValueExA(key, c.name, nullptr, &type, bytes, &size),
              c.value ? 0 : kErrorFileNotFound);
    EXPECT_STREQ(text, c.value ? c.value : "untouched");
    if (c.value) {
      EXPECT_EQ(size, std::strlen(c.value) + 1);
      EXPECT_EQ(type, 1u);
      std::uint32_t less = size - 1;
      EXPECT_EQ(RegQueryValueExA(key, c.name, nullptr, &type, bytes, &less), kErrorMoreData);
      EXPECT_EQ(less, size);
    }
    EXPECT_EQ(RegCloseKey(key), 0u);
    EXPECT_EQ(RegCloseKey(key), kErrorInvalidHandle);
  }
  Handle key = nullptr;
  EXPECT_EQ(RegOpenKeyExA(root, "Software", 0, kKeyRead | 2, &key), kErrorAccessDenied);
  std::filesystem::resize_file("tarnley/registry", 2 << 20);  // too long: as missing
  EXPECT_EQ(RegOpenKeyExA(root, "Software", 0, kKeyRead, &key), kErrorFileNotFound);
  SetEnvironmentVariableA("XDG_CONFIG_HOME", nullptr);
}

// ---- Files, pipes -------------------------------------------------------------

// Several processes add to one number in a file, each holding it for itself.
TEST_F(HostPlatform, ProcessesThatRaceForAFileHoldItOneAtATime) {
  constexpr int kProcesses = 4, kRounds = 100;
  write("number", std::string(4, '\0'));
  const auto add_one = [](std::uint32_t access) {
    Handle file;
    do {
      file = open("number", access, 0);
      if (file == invalid_handle() && GetLastError() != kErrorSharingViolation) _exit(1);
    } while (file == invalid_handle());
    std::int32_t number = 0;
    const int plain = ::open("number", O_RDWR);
    if (pread(plain, &number, sizeof number, 0) != sizeof number) _exit(2);
    ++number;
    if (pwrite(plain, &number, sizeof number, 0) != sizeof number) _exit(3);
    close(plain);
    CloseHandle(file);
  };
  pid_t children[kProcesses];
  for (int i = 0; i < kProcesses; ++i) {
    children[i] = start_child([&] {
      const std::uint32_t accesses[] = {kGenericRead, kGenericWrite, kGenericRead | kGenericWrite};
      for (int round = 0; round < kRounds; ++round) add_one(accesses[(round + i) % 3]);
      _exit(0);
    });
  }
  for (const pid_t child : children) EXPECT_EQ(status_of(child), 0);
  std::int32_t number = 0;
  std::ifstream("number").read(reinterpret_cast<char*>(&number), sizeof number);
  EXPECT_EQ(number, kProcesses * kRounds);
}

TEST_F(HostPlatform, ReadOnlyFilesAreGuardedAndOddNamesRefused) {
  write("file", "kept", 0444);
  const std::string path = folder_.library_path() + "\\file";
  EXPECT_EQ(GetFileAttributesA(path.c_str()) & kAttributeReadOnly, kAttributeReadOnly);
  for (const std::uint32_t creation : {kOpenExisting, kCreateAlways, kTruncateExisting}) {
    EXPECT_EQ(open(path, kGenericWrite, 0, creation), invalid_handle());
    EXPECT_EQ(GetLastError(), kErrorAccessDenied);
  }
  EXPECT_EQ(DeleteFileA(path.c_str()), 0);
  EXPECT_EQ(std::filesystem::file_size("file"), 4u);
  const std::string long_name(5000, 'n');
  for (const char* name : {"C:\\file", "\\\\machine\\share\\file", long_name.c_str(), "a:b"}) {
    EXPECT_EQ(GetFileAttributesA(name), kInvalidAttributes) << name;
  }
}

// Case belongs to letters of other alphabets, too; an exact name comes first.
TEST_F(HostPlatform, NamesAreFoundInAnyCaseAndExactlyFirst) {
  const auto size_of = [](const std::string& name) {
    const Handle file = open(name, kGenericRead);
    std::int64_t size = -1;
    if (file != invalid_handle() && GetFileSizeEx(file, &size)) CloseHandle(file);
    return size;
  };
  std::filesystem::create_directories("Größe/a");
  write("Größe/a/File", "1");
  write("Größe/a/file", "22");
  EXPECT_EQ(size_of("GRÖßE/A/FILE"), 1);
  EXPECT_EQ(size_of("GRÖßE/A/file"), 2);
  EXPECT_EQ(size_of("GRÖßE/B/file"), -1);
  write("dot.", "333");
  EXPECT_EQ(size_of("dot."), -1);
  const std::string verbatim = "\\\\?\\Z:" + folder_.path() + "/dot.";
  EXPECT_NE(GetFileAttributesA(verbatim.c_str()), kInvalidAttributes);
}

// Another program's lock excludes at once or not at all.
TEST_F(HostPlatform, LocksOfOtherProgramsNeitherHangNorBar) {
  write("file", "x", 0644);
  const auto error_of = [](std::uint32_t access) {
    const Handle file = open("file", access, 0);
    if (file == invalid_handle()) return GetLastError();
    CloseHandle(file);
    return std::uint32_t{0};
  };
  const struct {
    int mode;
    short type;
    std::uint32_t error;
  } kWholeLocks[] = {{O_RDWR, F_WRLCK, kErrorSharingViolation}, {O_RDONLY, F_RDLCK, 0}};
  for (const auto& lock : kWholeLocks) {
    const int holder = ::open("file", lock.mode);
    struct flock whole {};
    whole.l_type = lock.type;
    ASSERT_EQ(fcntl(holder, F_OFD_SETLK, &whole), 0);
    EXPECT_EQ(error_of(kGenericRead), lock.error);
    EXPECT_EQ(error_of(kGenericWrite), lock.error);
    close(holder);
  }
}

TEST_F(HostPlatform, TheLimitOnFileSizeFailsTheWrite) {
  const int status = status_of([] {
    const rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    const Handle file = open("file", kGenericWrite, 0, kCreateNew);
    std::uint32_t written = 0;
    const char bytes[2000] = {};
    const Bool done = WriteFile(file, bytes, sizeof bytes, &written, nullptr);
    _exit(done == 0 && GetLastError() == kErrorDiskFull && written == 1000 ? 0 : 1);
  });
  EXPECT_EQ(status, 0);
}

// ---- Processes ----------------------------------------------------------------

TEST_F(HostPlatform, ClosedStandardHandlesAreNoneAndNotTakenByFiles) {
  const int status = status_of([] {
    close(0);
    if (GetStdHandle(-10) != nullptr) _exit(1);
    const Handle file = open("/dev/null", kGenericRead);
    if (file == invalid_handle() || GetStdHandle(-10) != nullptr) _exit(2);
    const Handle process = OpenProcess(kProcessWait, 0, GetCurrentProcessId());
    if (!process || GetStdHandle(-10) != nullptr) _exit(5);
    StartupInfo info;
    GetStartupInfoA(&info);
    if (info.standard_input != nullptr || info.standard_output != GetStdHandle(-11)) _exit(3);
    if (GetStdHandle(-13) != invalid_handle()) _exit(4);
    _exit(0);
  });
  EXPECT_EQ(status, 0);
}

// The exit code of the program that the line starts, or the error with a minus.
int code_of(std::string line) {
  ProcessInformation made;
  if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, 0, 0, nullptr, nullptr, nullptr,
                      &made)) {
    return -static_cast<int>(GetLastError());
  }
  std::uint32_t code = 0;
  EXPECT_EQ(WaitForSingleObject(made.process, kWaitForever), kWaitObject);
  EXPECT_NE(GetExitCodeProcess(made.process, &code), 0);
  CloseHandle(made.process);
  CloseHandle(made.thread);
  return static_cast<int>(code);
}

TEST_F(HostPlatform, ShellsScriptsAndSignalsGiveTheirCodes) {
  write("two words.sh", "#!/bin/sh\nexit $(($# + 40))\n", 0755);
  write("plain.sh", "#!/bin/sh\n");
  write("damaged.exe", "MZ and no more", 0755);
  const std::string z = folder_.library_path() + "\\";
  setenv("SHELL", "/bin/false", 1);  // the user's taste does not matter
  const struct {
    std::string line;
    int code;
  } kCases[] = {
      {"cmd /c  exit 3", 3},
      {"CMD.EXE /Cexit 255", 255},
      {"cmd /c ", 0},
      {"cmd /c -no-option-of-the-shell", 127},
      {"cmd /c kill -9 $$", 128 + 9},
      {"cmd /c test \"a  b\" = 'a  b' && exit 5", 5},
      {"cmd /c \"" + z + "two words.sh\" a 'b c' >/dev/null; exit $((1 + $?))", 43},
      {"cmd /c \"\"" + z + "two words.sh\" a \"b c\"\"", 42},
      {"sh -c \"exit 6\"", 6},
      {"\"" + z + "two words.sh\" a \"b c\" d", 43},
      {z + "two words.sh a \"b c\"", 42},
      {"\"" + z + "plain.sh\"", -static_cast<int>(kErrorAccessDenied)},
      {z + "damaged a", -static_cast<int>(kErrorBadExeFormat)},
      {"cmd /k exit", -static_cast<int>(kErrorFileNotFound)},
  };
  for (const auto& test : kCases) EXPECT_EQ(code_of(test.line), test.code) << test.line;
}

// One operation under each kind of lock of the back end; null when it is told to end.
TARNAPI std::uint32_t use_locks(void* told) {
  const Handle heap = HeapCreate(0, 0, 0);
  while (!__atomic_load_n(static_cast<bool*>(told), __ATOMIC_ACQUIRE)) {
    HeapFree(heap, 0, HeapAlloc(heap, 0, 8));
    GlobalFree(GlobalAlloc(0, 1 << 20));
    VirtualFree(VirtualAlloc(nullptr, 4096, 0x3000, 4), 0, 0x8000);
    SetEnvironmentVariableA("locks", "used");
    FlushViewOfFile(told, 1);
    UnlockFile(invalid_handle(), 0, 0, 1, 0);
  }
  HeapDestroy(heap);
  return 0;
}

TEST(HostTime, TheZoneIsToldWithItsRules) {
  const char* const before = getenv("TZ");
  const std::string kept = before ? before : "";
  // Minutes west, summer's minutes; the summer's begin and end as month, week, hour.
  const struct {
    const char* zone;
    std::int32_t bias, summer_bias;
    std::array<int, 6> changes;
  } cases[] = {{"CET-1CEST,M3.5.0,M10.5.0/3", -60, -60, {3, 5, 2, 10, 5, 3}},
               {"AEST-10AEDT,M10.1.0,M4.1.0/3", -600, -60, {10, 1, 2, 4, 1, 3}},
               {"IST-5:30", -330, 0, {}}};
  for (const auto& each : cases) {
    setenv("TZ", each.zone, 1);
    std::array<char, 172> told;
    const std::uint32_t state = GetTimeZoneInformation(told.data());
    const auto number = [&told](std::size_t at) {
      std::int32_t value;
      memcpy(&value, &told[at], sizeof value);
      return value;
    };
    const auto part = [&told](std::size_t at) { return int{told[at]}; };
    EXPECT_EQ(number(0), each.bias) << each.zone;
    EXPECT_EQ(number(168), each.summer_bias) << each.zone;
    EXPECT_EQ(told[4], each.zone[0]);
    EXPECT_EQ(state == 0, each.summer_bias == 0) << each.zone;
    EXPECT_EQ((std::array{part(154), part(158), part(160), part(70), part(74), part(76)}),
              each.changes)
        << each.zone;
  }
  before ? setenv("TZ", kept.c_str(), 1) : unsetenv("TZ");
}

TEST(HostThreads, ASuspendedThreadHasNoLockThatOthersNeed) {
  bool told = false;
  bool once = true;
  const Handle thread = CreateThread(nullptr, 0, &use_locks, &told, 0, nullptr);
  ASSERT_NE(thread, nullptr);
  for (int i = 0; i < 5000; ++i) {
    ASSERT_NE(SuspendThread(thread), 0xFFFFFFFF);
    SetEnvironmentVariableA("locks", "free");
    GlobalFree(GlobalAlloc(0, 1 << 20));
    VirtualFree(VirtualAlloc(nullptr, 4096, 0x3000, 4), 0, 0x8000);
    HeapDestroy(HeapCreate(0, 0, 0));
    FlushViewOfFile(&once, 1);
    ASSERT_NE(ResumeThread(thread), 0xFFFFFFFF);
  }
  __atomic_store_n(&told, true, __ATOMIC_RELEASE);
  EXPECT_EQ(WaitForSingleObject(thread, 10000), 0u);
  CloseHandle(thread);
}

// The heap has a key of the host's, GoogleTest others.
TEST(HostMemory, AChangeOfRightsThatFailedHalfWayIsNotTakenAsUndone) {
  auto* const pages = static_cast<char*>(VirtualAlloc(nullptr, 3 * 4096, 0x3000, 4));
  munmap(pages + 2 * 4096, 4096);
  std::uint32_t before;
  EXPECT_FALSE(VirtualProtect(pages, 3 * 4096, 1, &before));
  EXPECT_TRUE(VirtualProtect(pages, 4096, 4, &before));
  EXPECT_EQ(getrandom(pages, 1, 0), 1);
  VirtualFree(pages, 0, 0x8000);
}

TEST(HostThreads, SlotsThatNobodyHasAllocatedAreEmpty) {
  GlobalFree(GlobalAlloc(0, 8));
  for (std::uint32_t slot = 0; slot < 64; ++slot) EXPECT_EQ(TlsGetValue(slot), nullptr) << slot;
}

TEST(HostProcess, NobodyStaysInTheSystemsTable) {
  for (const char* line : {"cmd /c exit 1", "cmd /c sleep 0.05"}) {
    ProcessInformation made;
    ASSERT_NE(CreateProcessA(nullptr, std::string(line).data(), nullptr, nullptr, 0, 0, nullptr,
                             nullptr, nullptr, &made),
              0);
    CloseHandle(made.thread);
    CloseHandle(made.process);
  }
  siginfo_t none;
  int left = 0;
  for (int tries = 0; tries < 200 && left == 0; ++tries) {
    left = waitid(P_ALL, 0, &none, WEXITED | WNOHANG | WNOWAIT);
    if (left == 0) Sleep(10);
  }
  EXPECT_EQ(left, -1);
  EXPECT_EQ(errno, ECHILD);
}

}  // namespace
