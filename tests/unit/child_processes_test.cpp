// The children are this executable.
#include "services/child_processes.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/platform.h"
#include "tests/support/raised.h"

namespace {

using namespace tarn;

constexpr char kArgumentsFile[] = "child_processes_test_arguments";

std::string own_name() {
  char program[1024];
  platform::GetModuleFileNameA(nullptr, program, sizeof program);
  return "\"" + std::string(program) + "\"";
}

std::string options(const std::string& test) {
  return "--gtest_also_run_disabled_tests --gtest_brief=1 --gtest_filter=ChildProcess.DISABLED_" +
         test;
}

// Not tests: what the children of the next ones do.
TEST(ChildProcess, DISABLED_EndsWith77) { std::_Exit(77); }
TEST(ChildProcess, DISABLED_Sleeps) {
  platform::Sleep(300);
  std::_Exit(5);
}
TEST(ChildProcess, DISABLED_WritesItsArguments) {
  std::ofstream file(kArgumentsFile, std::ios::binary);
  // Behind the three options.
  for (std::size_t i = 4; i < ::testing::internal::GetArgvs().size(); ++i) {
    file << "<" << ::testing::internal::GetArgvs()[i] << ">";
  }
}

// What arrived, once; empty if no child wrote.
std::string arrived() {
  std::ifstream file(kArgumentsFile, std::ios::binary);
  std::string text(std::istreambuf_iterator<char>(file), {});
  file.close();
  std::remove(kArgumentsFile);
  return text;
}

TEST(ChildProcesses, ModesDecideWhetherTheEndIsWaitedFor) {
  const std::string name = own_name();
  const std::string ends = options("EndsWith77");
  const char* const argv[] = {"left out", ends.c_str(), nullptr};
  EXPECT_EQ(tarn::_spawns(kSpawnAndWait, name.c_str(), ends.c_str()), 77);
  EXPECT_EQ(tarn::_spawnv(kSpawnAndWait, name.c_str(), argv), 0);
  EXPECT_EQ(tarn::_spawnv(kSpawnAndGoOn, name.c_str(), argv), 0);
  std::remove(kArgumentsFile);
  const std::string writes = options("WritesItsArguments x");
  for (const std::int32_t mode : {-1, 1, 3}) {
    const char* const arguments[] = {"", writes.c_str(), nullptr};
    EXPECT_EQ(tarn::_spawns(mode, name.c_str(), writes.c_str()), -1);
    EXPECT_EQ(tarn::_spawnv(mode, name.c_str(), arguments), -1);
  }
  EXPECT_EQ(arrived(), "");
}

TEST(ChildProcesses, CommandLineIsBuiltAsStated) {
  const std::string name = own_name();
  const std::string writes = options("WritesItsArguments");
  std::remove(kArgumentsFile);
  // Nothing is quoted; without a program the first argument is it.
  const char* const unnamed[] = {name.c_str(), writes.c_str(),   "a b",
                                 "",           "\"c \xC3\xA4\"", nullptr};
  EXPECT_EQ(tarn::_spawnv(kSpawnAndWait, "", unnamed), 0);
  EXPECT_EQ(arrived(), "<a><b><c \xC3\xA4>");
  EXPECT_EQ(tarn::_spawnv(kSpawnAndWait, (name + " " + writes + " only").c_str(), nullptr), 0);
  EXPECT_EQ(arrived(), "<only>");
  // The longest text that fits, and one byte more.
  const std::size_t fixed = name.size() + 1 + writes.size() + 1;
  const std::string fits(kSpawnTextSize - 1 - fixed, 'y');
  for (const bool longer : {false, true}) {
    const std::string more = fits + (longer ? "y" : "");
    EXPECT_EQ(tarn::_spawns(kSpawnAndWait, name.c_str(), (writes + " " + more).c_str()),
              longer ? -1 : 0);
    EXPECT_EQ(arrived(), longer ? "" : "<" + fits + ">");
    const std::string last = more.substr(1);  // a blank stands behind it
    const char* const argv[] = {"", writes.c_str(), last.c_str(), nullptr};
    EXPECT_EQ(tarn::_spawnv(kSpawnAndWait, name.c_str(), argv), longer ? -1 : 0);
    EXPECT_EQ(arrived(), longer ? "" : "<" + last + ">");
  }
}

TEST(ChildProcesses, SlicesAreWaitedOut) {
  test::initialise();
  const std::string name = own_name();
  const std::string sleeps = options("Sleeps");
  EXPECT_EQ(__start_process_and_wait(name.c_str(), sleeps.c_str(), 0), 258);
  EXPECT_EQ(__start_process_and_wait(name.c_str(), sleeps.c_str(), 7), 0);
  const std::string writes = name + " " + options("WritesItsArguments ") + std::string(5000, 'x');
  EXPECT_EQ(__start_process_and_wait(nullptr, writes.c_str(), -1), 0);
  EXPECT_EQ(arrived(), "<" + std::string(5000, 'x') + ">");
}

TEST(ChildProcesses, CommandProcessorGivesItsCode) {
  EXPECT_EQ(tarn::system("exit 3"), 3);
  EXPECT_EQ(tarn::system(""), 0);
  EXPECT_EQ(tarn::system(std::string(1016, 'x').c_str()), -1);
}

TEST(ChildProcesses, WhatIsNothingOrIsNotThereGivesMinusOne) {
  const char* const none[] = {nullptr};
  const char* const missing[] = {"no_such_program_anywhere", nullptr};
  EXPECT_EQ(tarn::_spawns(kSpawnAndWait, "", "x"), -1);
  EXPECT_EQ(tarn::_spawns(kSpawnAndWait, nullptr, nullptr), -1);
  EXPECT_EQ(tarn::_spawnv(kSpawnAndWait, "", none), -1);
  EXPECT_EQ(tarn::_spawnv(kSpawnAndWait, nullptr, nullptr), -1);
  EXPECT_EQ(__start_process_and_wait("", nullptr, -1), -1);
  for (const std::int32_t mode : {kSpawnAndWait, kSpawnAndGoOn}) {
    EXPECT_EQ(tarn::_spawns(mode, missing[0], "x"), -1);
    EXPECT_EQ(tarn::_spawnv(mode, "", missing), -1);
  }
  EXPECT_EQ(__start_process_and_wait(missing[0], "x", 5), -1);
}

}  // namespace
