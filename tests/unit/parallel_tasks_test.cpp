// A run's tasks are this executable, copied under a name of its own, so that
// what is left behind can be counted, and KillSlaves meets nobody else.
#include "services/parallel_tasks.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "process/process_state.h"
#include "process/raising.h"
#include "startup/initialise.h"
#include "storage/heap.h"
#include "tests/support/child.h"
#include "tests/support/raised.h"

namespace {

using namespace tarn;

constexpr char kRunVariable[] = "TARN_TEST_RUN";

std::uint64_t milliseconds() {
  platform::FileTime now;
  platform::GetSystemTimeAsFileTime(&now);
  return (std::uint64_t{now.high} << 32 | now.low) / 10'000;
}

std::int32_t run_number() {
  char text[20] = "";
  platform::GetEnvironmentVariableA(kRunVariable, text, sizeof text);
  return std::atoi(text);
}

// ---- What the tasks do: not tests ------------------------------------------------

// The task of the run's number is lost.
TEST(ParallelTask, DISABLED_LosesOne) {
  const std::int32_t task = GetParallelTaskID(2);
  TASKSYNCHRONISE();
  if (task == run_number()) platform::TerminateProcess(platform::GetCurrentProcess(), 3);
  TASKSYNCHRONISE();
  std::_Exit(99);  // nobody comes here
}

TEST(ParallelTask, DISABLED_FailsInTheMaster) {
  __initialise_cpplib();
  kill_dialogbox = 1;
  if (GetParallelTaskID(2) == 0) ReportErrorNumber(TARN_ERROR_HEAP_EXHAUSTED);
  TASKSYNCHRONISE();
  std::_Exit(99);  // nobody comes here
}

TEST(ParallelTask, DISABLED_Sleeps) { platform::Sleep(60'000); }

// ---- Tests ------------------------------------------------------------------------

class ParallelRuns : public ::testing::Test {
 protected:
  void SetUp() override {
    name_ = "tasks_of_" + std::to_string(platform::GetCurrentProcessId()) + ".exe";
    std::filesystem::copy_file(::testing::internal::GetArgvs()[0], name_,
                               std::filesystem::copy_options::overwrite_existing);
  }
  void TearDown() override {
    EXPECT_EQ(left_after(5'000), 0);
    KillSlaves(name_.c_str());
    left_after(5'000);
    std::error_code ignored;
    std::filesystem::remove(name_, ignored);
  }

  platform::Handle start(const std::string& what, std::int32_t number) {
    platform::SetEnvironmentVariableA(kRunVariable, std::to_string(number).c_str());
    std::string line = name_ + " " + test::child_options(what);
    platform::ProcessInformation made{};
    platform::StartupInfo startup;
    platform::GetStartupInfoA(&startup);
    EXPECT_NE(platform::CreateProcessA(nullptr, line.data(), nullptr, nullptr, 1, 0, nullptr,
                                       nullptr, &startup, &made),
              0);
    platform::CloseHandle(made.thread);
    return made.process;
  }

  static std::int64_t code_of(platform::Handle process) {
    std::uint32_t code = 0;
    const bool ended = platform::WaitForSingleObject(process, 60'000) == platform::kWaitObject;
    platform::GetExitCodeProcess(process, &code);
    platform::CloseHandle(process);
    return ended ? code : -1;
  }

  int running() const {
    const platform::Handle snapshot = platform::CreateToolhelp32Snapshot(15, 0);
    platform::ProcessEntry entry;
    entry.length = sizeof entry;
    int count = 0;
    for (platform::Bool more = platform::Process32First(snapshot, &entry); more;
         more = platform::Process32Next(snapshot, &entry)) {
      count += name_ == entry.file_name;
    }
    platform::CloseHandle(snapshot);
    return count;
  }

  // Processes of the name after at most so many milliseconds, in which all should go.
  int left_after(std::uint64_t wait) const {
    const std::uint64_t end = milliseconds() + wait;
    while (running() > 0 && milliseconds() < end) platform::Sleep(5);
    return running();
  }

  std::string name_;
};

TEST_F(ParallelRuns, ALostTaskEndsTheOthers) {
  EXPECT_EQ(code_of(start("LosesOne", 2)), 1);
  EXPECT_EQ(code_of(start("LosesOne", 0)), 3);  // and TearDown finds no slave
}

TEST_F(ParallelRuns, AFailedMasterLeavesNoSlaveBehind) {
  EXPECT_EQ(code_of(start("FailsInTheMaster", 1)), 1);
}

TEST_F(ParallelRuns, KillSlavesEndsThoseOfTheName) {
  const platform::Handle children[] = {start("Sleeps", 1), start("Sleeps", 1)};
  EXPECT_EQ(running(), 2);
  KillSlaves("no_such_tasks.exe");
  EXPECT_EQ(running(), 2);
  std::string capitals = name_;
  for (char& c : capitals) c = static_cast<char>(std::toupper(c));
  KillSlaves(capitals.c_str());
  for (const platform::Handle child : children) {
    const std::int64_t code = code_of(child);
    EXPECT_TRUE(code == 9 || code == 128 + 9) << code;
  }
}

// In this process: first without a run, then with one of the master alone.
TEST(ParallelAlone, NothingIsDoneOutsideARun) {
  test::initialise();
  std::int32_t task = 5, slaves = 5;
  GetParallelTaskStatus(&task, &slaves);
  EXPECT_EQ(task, -1);
  EXPECT_EQ(slaves, 0);
  TASKSYNCHRONISE();
  TerminateParallelProcessing();
  EXPECT_EQ(allocate_auto_shared_memory(8), nullptr);
  char bytes[3000] = "unchanged";
  for (const std::int32_t given : {3000, 0, -1, INT32_MIN}) {
    std::int32_t count = given;
    BROADCASTBYTES(bytes, &count);
    EXPECT_EQ(count, 0) << given;
  }
  EXPECT_STREQ(bytes, "unchanged");

  EXPECT_EQ(test::raised_by([] { GetParallelTaskID(64); }).number, 345);
  SetParallelTaskMemorySize(-1);
  EXPECT_EQ(test::raised_by([] { GetParallelTaskID(1); }).number, 345);
  SetParallelTaskMemorySize(4096);
  for (const char* wrong : {"1", "0", "-1", "64", "x", "99999999999999999999"}) {
    platform::SetEnvironmentVariableA("merle_parallel_id", wrong);
    EXPECT_EQ(test::raised_by([] { GetParallelTaskID(1); }).number, 345) << wrong;
    EXPECT_EQ(IsSlaveProcess(), 1);
  }
  platform::SetEnvironmentVariableA("merle_parallel_id", nullptr);
  GetParallelTaskStatus(&task, &slaves);
  EXPECT_EQ(task, -1);

  EXPECT_EQ(GetParallelTaskID(0), 0);
  EXPECT_EQ(IsSlaveProcess(), 0);
  GetParallelTaskStatus(&task, &slaves);
  EXPECT_EQ(task, 0);
  EXPECT_EQ(slaves, 0);
  auto* const memory = static_cast<char*>(allocate_auto_shared_memory(3));
  ASSERT_NE(memory, nullptr);
  EXPECT_EQ(allocate_auto_shared_memory(1), memory + 3);
  std::uint64_t control;
  std::memcpy(&control, memory - 64, sizeof control);
  EXPECT_EQ(control, 1182u);
  TASKSYNCHRONISE();
}

TEST(Processors, AreCountedByTheirRecords) {
  std::vector<platform::LogicalProcessorRecord> records(40);
  std::int32_t cores = 5, logical = 5;
  count_processors(records.data(), 0, &cores, &logical);
  EXPECT_EQ(cores, 0);
  EXPECT_EQ(logical, 0);
  for (std::size_t i = 0; i < records.size(); ++i) {
    records[i].relationship = i % 4 == 3 ? 2 : 0;       // 10 caches, 30 cores
    records[i].flags = i % 2 == 0 ? 1 : 0;              // 20 of two threads, 10 of one
    records[i].processor_mask = std::uint64_t{3} << i;  // not looked at without the flag
  }
  count_processors(records.data(), records.size(), &cores, &logical);
  EXPECT_EQ(cores, 30);
  EXPECT_EQ(logical, 50);

  GETPROCESSORCOUNTS(&cores, &logical);
  platform::SystemInfo info;
  platform::GetSystemInfo(&info);
  EXPECT_EQ(static_cast<std::uint32_t>(logical), info.processor_count);
  EXPECT_GE(cores, 1);
  EXPECT_LE(cores, logical);
  EXPECT_EQ(RecommendedProcessorCount(0), logical);
  const std::int32_t power = RecommendedProcessorCount(1);
  EXPECT_EQ(power & (power - 1), 0);
  EXPECT_TRUE(power <= logical && power > logical / 2);
}

}  // namespace
