// What only the host's back end has: the registry file, the cost of sparse
// reservations, pipes and terminals, the rules of the time zone.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/platform.h"
#include "platform/posix/processes/command_line.h"
#include "platform/posix/processes/program_start.h"
#include "platform/posix/registry/registry_text.h"

namespace {

using namespace tarn::platform;

constexpr std::uint32_t kErrorBrokenPipe = 109;

class HostPlatform : public ::testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/tarn_host_test_XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    folder_ = name;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  Handle open(const std::string& name, std::uint32_t access) {
    return CreateFileA((folder_ + "/" + name).c_str(), access, kShareRead | kShareWrite, nullptr,
                       kOpenExisting, 0, nullptr);
  }

  std::string folder_;
};

// The status of a child process that does this and nothing else.
int status_of(const std::function<void()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    work();
    _exit(99);
  }
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

// ---- Registry -----------------------------------------------------------------

TEST_F(HostPlatform, RegistryFileIsReadAsStated) {
  std::filesystem::create_directories(folder_ + "/tarnley");
  std::ofstream(folder_ + "/tarnley/registry") << "ignored=before any key\n"
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
  SetEnvironmentVariableA("XDG_CONFIG_HOME", folder_.c_str());
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
  std::filesystem::resize_file(folder_ + "/tarnley/registry", 2 << 20);  // too long: as missing
  EXPECT_EQ(RegOpenKeyExA(root, "Software", 0, kKeyRead, &key), kErrorFileNotFound);
  SetEnvironmentVariableA("XDG_CONFIG_HOME", nullptr);
}

// ---- Memory -------------------------------------------------------------------

// Counted by the page tables: the totals of statm lag behind by what each
// processor has not handed in yet. Without a sanitizer's shadow of the memory,
// an eighth of it that is not given back with it.
std::uint64_t resident_bytes() {
  constexpr std::uint64_t kShadow = 0x7FFF8000, kShadowEnd = 0x10007FFF8000;
  std::ifstream maps("/proc/self/smaps");
  std::uint64_t kilobytes = 0;
  bool is_shadow = false;
  for (std::string line; std::getline(maps, line);) {
    unsigned long long start = 0, end = 0, rss = 0;
    if (std::sscanf(line.c_str(), "%llx-%llx ", &start, &end) == 2) {
      is_shadow = kShadow <= start && end <= kShadowEnd;
    } else if (std::sscanf(line.c_str(), "Rss: %llu", &rss) == 1 && !is_shadow) {
      kilobytes += rss;
    }
  }
  return kilobytes * 1024;
}

TEST(HostMemory, ReservationsCostWhatTheyTouchAndGiveItBack) {
  constexpr std::uint64_t kSize = std::uint64_t{1} << 40;
  constexpr std::uint64_t kMegabyte = 1 << 20;
  const std::uint64_t before = resident_bytes();
  auto* const base = static_cast<char*>(VirtualAlloc(nullptr, kSize, kMemReserve, kPageNoAccess));
  ASSERT_NE(base, nullptr);
  for (std::uint64_t i = 0; i < 16; ++i) {
    char* const at = base + i * (kSize / 16);
    ASSERT_NE(VirtualAlloc(at, 4096, kMemCommit, kPageReadWrite), nullptr);
    *at = 1;
  }
  EXPECT_LT(resident_bytes(), before + 4 * kMegabyte);
  ASSERT_NE(VirtualAlloc(base, 64 * kMegabyte, kMemCommit, kPageReadWrite), nullptr);
  std::memset(base, 1, 64 * kMegabyte);
  EXPECT_GT(resident_bytes(), before + 60 * kMegabyte);
  ASSERT_NE(VirtualFree(base, 64 * kMegabyte, kMemDecommit), 0);
  EXPECT_LT(resident_bytes(), before + 4 * kMegabyte);
  ASSERT_NE(VirtualFree(base, 0, kMemDecommit), 0);
  EXPECT_LT(resident_bytes(), before + 8 * kMegabyte);
  ASSERT_NE(VirtualFree(base, 0, kMemRelease), 0);
}

TEST(HostMemory, MemoryFromElsewhereCanBeProtected) {
  void* const image =
      mmap(nullptr, 8192, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  std::uint32_t old = 0;
  ASSERT_NE(VirtualProtect(image, 4096, kPageReadWrite, &old), 0);
  EXPECT_EQ(old, kPageExecuteRead);
  *static_cast<char*>(image) = 'N';
  munmap(image, 8192);
  EXPECT_EQ(VirtualProtect(image, 4096, kPageReadWrite, &old), 0);
}

TEST(HostMemory, ThreadsReserveAndReleaseAtOnce) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 300; ++i) {
        auto* const block = static_cast<char*>(
            VirtualAlloc(nullptr, 65536, kMemReserve | kMemCommit, kPageReadWrite));
        ASSERT_NE(block, nullptr);
        block[i] = static_cast<char>(t);
        ASSERT_EQ(block[i], t);
        ASSERT_NE(VirtualFree(block, 0, kMemRelease), 0);
        EXPECT_EQ(CloseHandle(reinterpret_cast<Handle>(std::uint64_t{40'000})), 0);
        ASSERT_EQ(GetLastError(), kErrorInvalidHandle);  // this thread's own
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

// ---- Files, pipes -------------------------------------------------------------

TEST_F(HostPlatform, PipesDeliverWhatIsThereAndEndInAFailure) {
  ASSERT_EQ(mkfifo((folder_ + "/pipe").c_str(), 0600), 0);
  const int keeper = ::open((folder_ + "/pipe").c_str(), O_RDWR);
  const Handle reader = open("pipe", kGenericRead);
  Handle writer = open("pipe", kGenericWrite);
  close(keeper);
  ASSERT_NE(writer, invalid_handle());
  std::uint32_t count = 0;
  std::int64_t position = 0;
  char text[16];
  EXPECT_NE(WriteFile(writer, "part", 4, &count, nullptr), 0);
  EXPECT_NE(FlushFileBuffers(writer), 0);
  EXPECT_NE(ReadFile(reader, text, sizeof text, &count, nullptr), 0);
  EXPECT_EQ(std::string(text, count), "part");
  EXPECT_EQ(SetFilePointerEx(reader, 0, &position, 0), 0);
  EXPECT_EQ(GetFileSizeEx(reader, &position), 0);
  CloseHandle(writer);
  EXPECT_EQ(ReadFile(reader, text, sizeof text, &count, nullptr), 0);  // no writers any more
  EXPECT_EQ(GetLastError(), kErrorBrokenPipe);

  writer = open("pipe", kGenericWrite);
  CloseHandle(reader);
  EXPECT_EQ(WriteFile(writer, "lost", 4, &count, nullptr), 0);  // and the process goes on
  EXPECT_EQ(GetLastError(), kErrorBrokenPipe);
  EXPECT_EQ(count, 0u);
  CloseHandle(writer);
}

// Several processes add to one number in a file, each holding it for itself.
TEST_F(HostPlatform, ProcessesThatRaceForAFileHoldItOneAtATime) {
  constexpr int kProcesses = 4, kRounds = 100;
  std::ofstream(folder_ + "/number").write("\0\0\0\0", 4);
  const std::string path = folder_ + "/number";
  const auto add_one = [&](std::uint32_t access) {
    Handle file;
    do {
      file = CreateFileA(path.c_str(), access, 0, nullptr, kOpenExisting, 0, nullptr);
      if (file == invalid_handle() && GetLastError() != kErrorSharingViolation) _exit(1);
    } while (file == invalid_handle());
    std::int32_t number = 0;
    const int plain = ::open(path.c_str(), O_RDWR);
    if (pread(plain, &number, sizeof number, 0) != sizeof number) _exit(2);
    ++number;
    if (pwrite(plain, &number, sizeof number, 0) != sizeof number) _exit(3);
    close(plain);
    CloseHandle(file);
  };
  pid_t children[kProcesses];
  for (int i = 0; i < kProcesses; ++i) {
    children[i] = fork();
    if (children[i] != 0) continue;
    const std::uint32_t accesses[] = {kGenericRead, kGenericWrite, kGenericRead | kGenericWrite};
    for (int round = 0; round < kRounds; ++round) add_one(accesses[(round + i) % 3]);
    _exit(0);
  }
  for (const pid_t child : children) {
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  std::int32_t number = 0;
  std::ifstream(path).read(reinterpret_cast<char*>(&number), sizeof number);
  EXPECT_EQ(number, kProcesses * kRounds);
}

void do_nothing(int) {}

TEST_F(HostPlatform, SignalsInterruptNoTransfer) {
  ASSERT_EQ(mkfifo((folder_ + "/pipe").c_str(), 0600), 0);
  const int keeper = ::open((folder_ + "/pipe").c_str(), O_RDWR);
  const Handle reader = open("pipe", kGenericRead);
  struct sigaction action {
  }, before;
  action.sa_handler = &do_nothing;
  sigaction(SIGUSR1, &action, &before);
  const pthread_t self = pthread_self();
  std::thread disturber([&] {
    for (int i = 0; i < 5; ++i) {
      usleep(10'000);
      pthread_kill(self, SIGUSR1);
    }
    EXPECT_EQ(write(keeper, "late", 4), 4);
  });
  std::uint32_t count = 0;
  char text[16];
  EXPECT_NE(ReadFile(reader, text, sizeof text, &count, nullptr), 0);
  EXPECT_EQ(std::string(text, count), "late");
  disturber.join();
  sigaction(SIGUSR1, &before, nullptr);
  CloseHandle(reader);
  close(keeper);
}

TEST_F(HostPlatform, ReadOnlyFilesAreGuardedAndOddNamesRefused) {
  std::ofstream(folder_ + "/file") << "kept";
  chmod((folder_ + "/file").c_str(), 0444);
  const std::string path = "Z:" + folder_ + "\\file";
  EXPECT_EQ(GetFileAttributesA(path.c_str()) & kAttributeReadOnly, kAttributeReadOnly);
  for (const std::uint32_t creation : {kOpenExisting, kCreateAlways, kTruncateExisting}) {
    EXPECT_EQ(CreateFileA(path.c_str(), kGenericWrite, 0, nullptr, creation, 0, nullptr),
              invalid_handle());
    EXPECT_EQ(GetLastError(), kErrorAccessDenied);
  }
  EXPECT_EQ(DeleteFileA(path.c_str()), 0);
  EXPECT_EQ(std::filesystem::file_size(folder_ + "/file"), 4u);
  const std::string long_name(5000, 'n');
  for (const char* name : {"C:\\file", "\\\\machine\\share\\file", long_name.c_str(), "a:b"}) {
    EXPECT_EQ(GetFileAttributesA(name), kInvalidAttributes) << name;
  }
}

// Case belongs to letters of other alphabets, too; an exact name comes first.
TEST_F(HostPlatform, NamesAreFoundInAnyCaseAndExactlyFirst) {
  const auto size_of = [this](const std::string& name) {
    const Handle file = open(name, kGenericRead);
    std::int64_t size = -1;
    if (file != invalid_handle() && GetFileSizeEx(file, &size)) CloseHandle(file);
    return size;
  };
  std::filesystem::create_directories(folder_ + "/Größe/a");
  std::ofstream(folder_ + "/Größe/a/File") << "1";
  std::ofstream(folder_ + "/Größe/a/file") << "22";
  EXPECT_EQ(size_of("GRÖßE/A/FILE"), 1);
  EXPECT_EQ(size_of("GRÖßE/A/file"), 2);
  EXPECT_EQ(size_of("GRÖßE/B/file"), -1);
  std::ofstream(folder_ + "/dot.") << "333";
  EXPECT_EQ(size_of("dot."), -1);
  const std::string verbatim = "\\\\?\\Z:" + folder_ + "/dot.";
  EXPECT_NE(GetFileAttributesA(verbatim.c_str()), kInvalidAttributes);
}

TEST_F(HostPlatform, AMakerHoldsItsFileThoughAnotherLooksAtThatMoment) {
  const std::string path = folder_ + "/new";
  const pid_t looker = fork();
  while (looker == 0) {
    const Handle file =
        CreateFileA(path.c_str(), kGenericRead, 0, nullptr, kOpenExisting, 0, nullptr);
    if (file != invalid_handle()) CloseHandle(file);
  }
  int made = 0;
  constexpr int kRounds = 2'000;
  for (int round = 0; round < kRounds; ++round) {
    const Handle file =
        CreateFileA(path.c_str(), kGenericWrite, 0, nullptr, kCreateAlways, 0, nullptr);
    if (file != invalid_handle() && CloseHandle(file)) ++made;
    unlink(path.c_str());
  }
  EXPECT_EQ(made, kRounds);
  kill(looker, SIGKILL);
  waitpid(looker, nullptr, 0);
}

// Another program's lock excludes at once or not at all; and who may only read,
// by whatever lock, excludes nobody of another user.
TEST_F(HostPlatform, LocksOfOtherProgramsAndUsersNeitherHangNorBar) {
  const std::string path = folder_ + "/file";
  std::ofstream(path) << "x";
  const auto error_of = [&path](std::uint32_t access) {
    const Handle file = CreateFileA(path.c_str(), access, 0, nullptr, kOpenExisting, 0, nullptr);
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
    const int holder = ::open(path.c_str(), lock.mode);
    struct flock whole {};
    whole.l_type = lock.type;
    ASSERT_EQ(fcntl(holder, F_OFD_SETLK, &whole), 0);
    EXPECT_EQ(error_of(kGenericRead), lock.error);
    EXPECT_EQ(error_of(kGenericWrite), lock.error);
    close(holder);
  }
  if (geteuid() != 0) return;  // nobody else to be
  chmod(folder_.c_str(), 0755);
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t other = fork();
  if (other == 0) {
    constexpr uid_t kNobody = 65534;
    if (setuid(kNobody) != 0) _exit(1);
    const bool held = CreateFileA(path.c_str(), kGenericRead, 0, nullptr, kOpenExisting, 0,
                                  nullptr) != invalid_handle();
    if (write(ready[1], held ? "y" : "n", 1) == 1) pause();
    _exit(0);
  }
  char held = 0;
  EXPECT_EQ(read(ready[0], &held, 1), 1);
  EXPECT_EQ(held, 'y');
  EXPECT_EQ(error_of(kGenericRead), 0u);
  EXPECT_EQ(error_of(kGenericWrite), 0u);
  kill(other, SIGKILL);
  waitpid(other, nullptr, 0);
  close(ready[0]);
  close(ready[1]);
}

TEST_F(HostPlatform, TheLimitOnFileSizeFailsTheWrite) {
  const int status = status_of([this] {
    const rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
    const Handle file =
        CreateFileA((folder_ + "/file").c_str(), kGenericWrite, 0, nullptr, kCreateNew, 0, nullptr);
    std::uint32_t written = 0;
    const char bytes[2000] = {};
    const Status done = WriteFile(file, bytes, sizeof bytes, &written, nullptr);
    _exit(done == 0 && GetLastError() == kErrorDiskFull && written == 1000 ? 0 : 1);
  });
  EXPECT_EQ(status, 0);
}

TEST_F(HostPlatform, ManyHandlesEndInAnErrorAndComeBack) {
  std::ofstream(folder_ + "/file") << "x";
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit small{64, limit.rlim_max};
  setrlimit(RLIMIT_NOFILE, &small);
  std::vector<Handle> handles;
  for (Handle file; (file = open("file", kGenericRead)) != invalid_handle();) {
    ASSERT_LT(handles.size(), 64u);
    handles.push_back(file);
  }
  EXPECT_EQ(GetLastError(), kErrorTooManyOpenFiles);
  for (const Handle file : handles) EXPECT_NE(CloseHandle(file), 0);
  setrlimit(RLIMIT_NOFILE, &limit);
  const Handle again = open("file", kGenericRead);
  EXPECT_NE(again, invalid_handle());
  CloseHandle(again);
}

// ---- Processes ----------------------------------------------------------------

TEST(HostProcess, ClosedStandardHandlesAreNoneAndNotTakenByFiles) {
  const int status = status_of([] {
    close(0);
    if (GetStdHandle(-10) != nullptr) _exit(1);
    const Handle file =
        CreateFileA("/dev/null", kGenericRead, 0, nullptr, kOpenExisting, 0, nullptr);
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
  const auto write = [this](const std::string& name, const std::string& text, mode_t mode) {
    std::ofstream(folder_ + "/" + name) << text;
    chmod((folder_ + "/" + name).c_str(), mode);
  };
  write("two words.sh", "#!/bin/sh\nexit $(($# + 40))\n", 0755);
  write("plain.sh", "#!/bin/sh\n", 0644);
  write("damaged.exe", "MZ and no more", 0755);
  const std::string z = "Z:" + folder_ + "\\";
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
      {z + "plain.sh", -static_cast<int>(kErrorAccessDenied)},
      {z + "damaged a", -static_cast<int>(kErrorBadExeFormat)},
      {"cmd /k exit", -static_cast<int>(kErrorFileNotFound)},
  };
  for (const auto& test : kCases) EXPECT_EQ(code_of(test.line), test.code) << test.line;
}

// The line that is made of arguments splits into them again.
TEST(HostProcess, CommandLinesSplitIntoWhatTheyWereMadeOf) {
  std::mt19937 random(1);
  for (int round = 0; round < 20'000; ++round) {
    std::vector<std::string> arguments(random() % 4);
    std::vector<const char*> pointers;
    for (std::string& argument : arguments) {
      for (auto length = random() % 7; length > 0; --length) {
        argument += "ab \\\\\"\"\t\xE9"[random() % 9];
      }
      pointers.push_back(argument.c_str());
    }
    char* const line = build_command_line("p", static_cast<int>(pointers.size()), pointers.data());
    // As small as stated, so that a byte too many is found.
    const char* const text = line + std::strlen("\"p\"");
    std::vector<char> split(std::strlen(text) + 1);
    ASSERT_EQ(split_arguments(text, split.data()), arguments.size()) << line;
    const char* next = split.data();
    for (const std::string& argument : arguments) {
      ASSERT_EQ(next, argument) << line;
      next += argument.size() + 1;
    }
    free(line);
  }
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

TEST(HostTime, LocalTimeFollowsTheRulesOfTheDate) {
  SetEnvironmentVariableA("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
  const struct {
    SystemTime universal, local;
  } cases[] = {
      {{2024, 1, 0, 15, 12, 0, 0, 7}, {2024, 1, 1, 15, 13, 0, 0, 7}},
      {{2024, 7, 0, 15, 23, 30, 59, 0}, {2024, 7, 2, 16, 1, 30, 59, 0}},
      {{2024, 3, 0, 31, 0, 59, 59, 999}, {2024, 3, 0, 31, 1, 59, 59, 999}},
      {{2024, 3, 0, 31, 1, 0, 0, 0}, {2024, 3, 0, 31, 3, 0, 0, 0}},
      {{2023, 12, 0, 31, 23, 30, 0, 0}, {2024, 1, 1, 1, 0, 30, 0, 0}},
  };
  for (const auto& c : cases) {
    SystemTime local{};
    ASSERT_NE(SystemTimeToTzSpecificLocalTime(nullptr, &c.universal, &local), 0);
    EXPECT_EQ(std::memcmp(&local, &c.local, sizeof local), 0)
        << local.year << '-' << local.month << '-' << local.day << ' ' << local.hour << ':'
        << local.minute << " day " << local.day_of_week;
  }
  SetEnvironmentVariableA("TZ", nullptr);
}

}  // namespace
