// The children are this executable.
#include "services/child_processes.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/platform.h"
#include "tests/support/child.h"
#include "tests/support/raised.h"

namespace {

using namespace tarn;
using tarn::test::child_options;
using tarn::test::own_program;

constexpr char kArgumentsFile[] = "child_processes_test_arguments";

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
  const std::string name = own_program();
  const std::string ends = child_options("EndsWith77");
  const char* const argv[] = {"left out", ends.c_str(), nullptr};
  EXPECT_EQ(tarn::_spawns(kSpawnAndWait, name.c_str(), ends.c_str()), 77);
  EXPECT_EQ(tarn::_spawnv(kSpawnAndWait, name.c_str(), argv), 0);
  EXPECT_EQ(tarn::_spawnv(kSpawnAndGoOn, name.c_str(), argv), 0);
  std::remove(kArgumentsFile);
  const std::string writes = child_options("WritesItsArguments x");
  for (const std::int32_t mode : {-1, 1, 3}) {
    const char* const arguments[] = {"", writes.c_str(), nullptr};
    EXPECT_EQ(tarn::_spawns(mode, name.c_str(), writes.c_str()), -1);
    EXPECT_EQ(tarn::_spawnv(mode, name.c_str(), arguments), -1);
  }
  EXPECT_EQ(arrived(), "");
}

TEST(ChildProcesses, CommandLineIsBuiltAsStated) {
  const std::string name = own_program();
  const std::string writes = child_options("WritesItsArguments");
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
  const std::string name = own_program();
  const std::string sleeps = child_options("Sleeps");
  EXPECT_EQ(__start_process_and_wait(name.c_str(), sleeps.c_str(), 0), 258);
  EXPECT_EQ(__start_process_and_wait(name.c_str(), sleeps.c_str(), 7), 0);
  const std::string writes =
      name + " " + child_options("WritesItsArguments ") + std::string(5000, 'x');
  EXPECT_EQ(__start_process_and_wait(nullptr, writes.c_str(), -1), 0);
  EXPECT_EQ(arrived(), "<" + std::string(5000, 'x') + ">");
}

}  // namespace
