// What the rooms rely on of a platform for child processes, with the same
// expectations of both back ends. The children are this executable.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace {

using namespace tarn::platform;

constexpr char kArgumentsFile[] = "processes_test_arguments";
constexpr std::uint32_t kStillActive = 259;

std::string child_line(const std::string& test, const std::string& more = "") {
  char program[1024];
  GetModuleFileNameA(nullptr, program, sizeof program);
  return "\"" + std::string(program) + "\" --gtest_also_run_disabled_tests --gtest_brief=1 " +
         "--gtest_filter=ProcessChild.DISABLED_" + test + more;
}

struct Child {
  explicit Child(std::string line) {
    StartupInfo startup;
    GetStartupInfoA(&startup);
    started = CreateProcessA(nullptr, line.data(), nullptr, nullptr, 1, 0, nullptr, nullptr,
                             &startup, &made) != 0;
    error = GetLastError();
  }
  ~Child() {
    if (!started) return;
    EXPECT_NE(CloseHandle(made.process), 0);
    EXPECT_NE(CloseHandle(made.thread), 0);
    EXPECT_EQ(CloseHandle(made.process), 0);
  }
  std::uint32_t code() {
    std::uint32_t code = 0xDEAD;
    EXPECT_NE(GetExitCodeProcess(made.process, &code), 0);
    return code;
  }
  ProcessInformation made{};
  bool started = false;
  std::uint32_t error = 0;
};

// Not tests: what the children of the next ones do.
TEST(ProcessChild, DISABLED_EndsWith77) { std::_Exit(77); }
TEST(ProcessChild, DISABLED_Sleeps) { Sleep(60'000); }
TEST(ProcessChild, DISABLED_WritesItsArguments) {
  std::ofstream file(kArgumentsFile, std::ios::binary);
  // Behind the three options of child_line.
  for (std::size_t i = 4; i < ::testing::internal::GetArgvs().size(); ++i) {
    file << "<" << ::testing::internal::GetArgvs()[i] << ">";
  }
}

TEST(Processes, EndIsWaitedForAndTheCodeIsTold) {
  Child child(child_line("EndsWith77"));
  ASSERT_TRUE(child.started) << child.error;
  EXPECT_NE(child.made.process_id, 0u);
  EXPECT_EQ(WaitForSingleObject(child.made.process, kWaitForever), kWaitObject);
  EXPECT_EQ(child.code(), 77u);
  EXPECT_EQ(child.code(), 77u);
  EXPECT_EQ(WaitForSingleObject(child.made.process, 0), kWaitObject);
}

TEST(Processes, RunningOnesAreListedAndCanBeTerminated) {
  Child child(child_line("Sleeps"));
  ASSERT_TRUE(child.started) << child.error;
  EXPECT_EQ(WaitForSingleObject(child.made.process, 0), kWaitTimeout);
  EXPECT_EQ(WaitForSingleObject(child.made.process, 20), kWaitTimeout);
  EXPECT_EQ(child.code(), kStillActive);

  const Handle snapshot = CreateToolhelp32Snapshot(15, 0);
  ASSERT_NE(snapshot, invalid_handle());
  ProcessEntry entry;
  entry.length = 100;
  EXPECT_EQ(Process32First(snapshot, &entry), 0);
  entry.length = sizeof entry;
  std::string own_name, child_name;
  std::uint32_t parent = 0;
  for (Status more = Process32First(snapshot, &entry); more;
       more = Process32Next(snapshot, &entry)) {
    if (entry.process_id == GetCurrentProcessId()) own_name = entry.file_name;
    if (entry.process_id != child.made.process_id) continue;
    child_name = entry.file_name;
    parent = entry.parent_id;
  }
  EXPECT_EQ(GetLastError(), kErrorNoMoreFiles);
  EXPECT_NE(CloseHandle(snapshot), 0);
  EXPECT_EQ(own_name.substr(0, 14), "processes_test");
  EXPECT_EQ(child_name, own_name);
  EXPECT_EQ(parent, GetCurrentProcessId());

  const Handle opened = OpenProcess(kProcessTerminate, 0, child.made.process_id);
  ASSERT_NE(opened, nullptr);
  EXPECT_NE(TerminateProcess(opened, 9), 0);
  EXPECT_NE(CloseHandle(opened), 0);
  EXPECT_EQ(WaitForSingleObject(child.made.process, 10'000), kWaitObject);
  EXPECT_NE(child.code(), kStillActive);

  Child second(child_line("Sleeps"));
  EXPECT_NE(TerminateProcess(second.made.process, 9), 0);
  EXPECT_EQ(WaitForSingleObject(second.made.process, 10'000), kWaitObject);
  EXPECT_EQ(second.code(), 9u);
  EXPECT_EQ(OpenProcess(kProcessTerminate, 0, 0), nullptr);
  EXPECT_EQ(GetLastError(), kErrorInvalidParameter);
}

TEST(Processes, ArgumentsArriveByTheRulesOfQuotesAndBackslashes) {
  constexpr struct {
    const char* given;
    const char* arrives;
  } kCases[] = {
      {"plain  words\there", "<plain><words><here>"},
      {"\"two words\" \"\" x", "<two words><><x>"},
      {R"(a\b c\\d "e\\" f\\\"g)", R"(<a\b><c\\d><e\><f\"g>)"},
      {R"("a\"b" c"d e"f \"x y\")", R"(<a"b><cd ef><"x><y">)"},
      {"\xC3\xA4\xE9 \"\xFF \x80\"", "<\xC3\xA4\xE9><\xFF \x80>"},
  };
  std::string given, arrives;
  for (const auto& test : kCases) {
    given += std::string(" ") + test.given;
    arrives += test.arrives;
  }
  std::remove(kArgumentsFile);
  Child child(child_line("WritesItsArguments", given));
  ASSERT_TRUE(child.started) << child.error;
  EXPECT_EQ(WaitForSingleObject(child.made.process, 30'000), kWaitObject);
  std::ifstream file(kArgumentsFile, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), arrives);
  file.close();
  std::remove(kArgumentsFile);
}

TEST(Processes, WhatCannotBeStartedFails) {
  for (const char* line : {"no_such_program_anywhere and arguments", "\"no such program\" x",
                           "folder\\that\\is\\not\\there"}) {
    Child child(line);
    EXPECT_FALSE(child.started) << line;
    EXPECT_TRUE(child.error == kErrorFileNotFound || child.error == kErrorPathNotFound)
        << line << ": " << child.error;
  }
  Child longer("processes_test " + std::string(32'768, 'x'));
  EXPECT_FALSE(longer.started);
  std::ofstream("processes_test_text.exe") << "no program";
  Child text("processes_test_text.exe");
  EXPECT_FALSE(text.started);
  std::remove("processes_test_text.exe");
  EXPECT_EQ(WaitForSingleObject(nullptr, 0), kWaitFailed);
}

TEST(Processors, AreToldCoreByCore) {
  std::uint32_t length = 0;
  EXPECT_EQ(GetLogicalProcessorInformation(nullptr, &length), 0);
  EXPECT_EQ(GetLastError(), kErrorInsufficientBuffer);
  std::vector<LogicalProcessorRecord> records(length / sizeof(LogicalProcessorRecord));
  ASSERT_GT(length, 0u);
  ASSERT_NE(GetLogicalProcessorInformation(records.data(), &length), 0);
  std::uint64_t seen = 0;
  for (const LogicalProcessorRecord& record : records) {
    if (record.relationship != 0) continue;
    EXPECT_NE(record.processor_mask, 0u);
    EXPECT_EQ(record.processor_mask & seen, 0u);
    seen |= record.processor_mask;
  }
  SystemInfo info;
  GetSystemInfo(&info);
  EXPECT_EQ(seen, info.active_processors);
}

}  // namespace
