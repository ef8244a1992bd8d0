#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "exports/export_table.h"
#include "platform/platform.h"
#include "process/process_end.h"
#include "process/process_state.h"
#include "process/processor.h"
#include "process/system_facts.h"
#include "services/configuration.h"
#include "startup/command_line.h"
#include "startup/initialise.h"
#include "startup/start_up.h"
#include "storage/heap.h"
#include "tests/support/raised.h"

namespace {

using tarn::test::raised_by;

std::vector<std::string> split(const std::string& line) {
  std::int32_t count = -1;
  char** const argv = tarn::tarn_split_command_line(line.c_str(), &count);
  std::vector<std::string> arguments;
  EXPECT_EQ(argv[count], nullptr);
  for (int i = 0; i < count; ++i) {
    arguments.emplace_back(argv[i]);
    tarn::free(argv[i]);
  }
  tarn::free(argv);
  return arguments;
}

// The arguments behind the program's name.
std::vector<std::string> behind_name(const std::string& line) {
  std::vector<std::string> arguments = split(line);
  if (!arguments.empty()) arguments.erase(arguments.begin());
  return arguments;
}

TEST(CommandLine, SplitsAtBlanksAndSlashesAndKeepsQuotes) {
  const struct {
    const char* line;
    std::vector<std::string> arguments;
  } cases[] = {
      {R"(prog /a/b "c d" x/y)", {"/a", "/b", R"("c d")", "x", "/y"}},
      {"prog", {}},
      {"prog   \t ", {}},
      {"prog a/b", {"a", "/b"}},
      {R"(prog "a/b")", {R"("a/b")"}},
      {"prog 'a b/c\td'", {"'a b/c\td'"}},
      {R"(prog "it's" 'say "x y"')", {R"("it's")", R"('say "x y"')"}},
      {"prog a\"b c\"d", {"a\"b c\"d"}},
      {"prog \"open to the end ", {"\"open to the end "}},
      {"prog //", {"/", "/"}},
      {"prog /", {"/"}},
      {"prog\ta\tb", {"a", "b"}},
  };
  for (const auto& c : cases) EXPECT_EQ(behind_name(c.line), c.arguments) << c.line;
}

TEST(CommandLine, AnEmptyLineGivesNoArguments) {
  EXPECT_TRUE(split("").empty());
  EXPECT_TRUE(split(" \t ").empty());
}

TEST(CommandLine, TheProgramIsItsFullPathOrTheMainImageIfNotFound) {
  char own[1024];
  ASSERT_GT(tarn::platform::GetModuleFileNameA(nullptr, own, sizeof own), 0u);
  EXPECT_EQ(split("no_such_program_anywhere x").front(), own);
  EXPECT_EQ(split("\"" + std::string(own) + "\" x").front(), own);
  EXPECT_EQ(split("\"" + std::string(own) + "\" x").size(), 2u);
  EXPECT_EQ(split("\"").size(), 1u);
}

TEST(CommandLine, NoArgumentIsCutAndNoneIsDropped) {
  const std::string long_text(1000, 'x');
  EXPECT_EQ(behind_name("p " + long_text).front(), long_text);
  std::string many = "p";
  for (int i = 0; i < 1000; ++i) many += " a";
  EXPECT_EQ(split(many).size(), 1001u);
}

TEST(Identity, ProgramNameIsPaddedOrCutToTheLength) {
  char own[1024];
  const std::uint32_t length = tarn::platform::GetModuleFileNameA(nullptr, own, sizeof own);
  std::string name(length + 9, '#');
  tarn::GET_PROGRAM_NAME(name.data(), length + 8);
  EXPECT_EQ(name, std::string(own) + "        #");
  std::string cut(6, '#');
  tarn::GET_PROGRAM_NAME(cut.data(), 5);
  EXPECT_EQ(cut, std::string(own, 5) + "#");
  tarn::GET_PROGRAM_NAME(cut.data(), 0);
  tarn::GET_PROGRAM_NAME(cut.data(), -3);
  EXPECT_EQ(cut, std::string(own, 5) + "#");
  char module[1024] = "";
  tarn::THIS_MODULE_NAME(module);
  EXPECT_GT(std::strlen(module), 0u);
  EXPECT_EQ(std::strchr(module, '\\'), nullptr);
}

TEST(Configuration, EnvironmentValuesOfEveryLengthAreReturnedWhole) {
  for (const std::size_t length : {1u, 2u, 3u, 4u, 5u, 259u, 5000u}) {
    const std::string value(length, 'v');
    tarn::platform::SetEnvironmentVariableA("TARN_TEST_VALUE", value.c_str());
    const char* const got = tarn::getenv("TARN_TEST_VALUE");
    ASSERT_NE(got, nullptr) << length;
    EXPECT_EQ(got, value);
  }
  tarn::platform::SetEnvironmentVariableA("TARN_TEST_VALUE", nullptr);
  EXPECT_EQ(tarn::getenv("TARN_TEST_VALUE"), nullptr);
}

TEST(Configuration, AMissingKeyFallsBackToTheEnvironment) {
  tarn::platform::SetEnvironmentVariableA("TARN_TEST_KEY", "from the environment");
  EXPECT_STREQ(tarn::ReadRegAndEnv("Software\\No such key", "TARN_TEST_KEY"),
               "from the environment");
  EXPECT_STREQ(tarn::read_config_key("TARN_TEST_KEY"), "from the environment");
  tarn::platform::SetEnvironmentVariableA("TARN_TEST_KEY", nullptr);
  EXPECT_EQ(tarn::read_config_key("TARN_TEST_KEY"), nullptr);
  EXPECT_EQ(tarn::GetDllVersion("no_such_library.dll"), 0u);
}

TEST(Avx, IsFoundAsTheCompilerFindsIt) {
  tarn::test::initialise();
  const bool supported = __builtin_cpu_supports("avx");
  EXPECT_EQ(tarn::isAVXSupported(), supported);
  bool equal = false;
  asm volatile("sub $256, %%rsp; call *%[routine]; sete %[equal]; lea 256(%%rsp), %%rsp"
               : [equal] "=r"(equal)
               : [routine] "r"(&tarn::__test_avx)
               : "memory", "cc");
  EXPECT_EQ(equal, supported);
}

TEST(SwitchesDeathTest, WordsCountWholeAndInAnyCaseAndNoneIsCutToOne) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // the child has not been brought up
  const std::string longest(10'000 - 1 - std::strlen("no_traceback"), ' ');
  const struct {
    std::string value;
    int kill_dialogbox, no_traceback;
  } cases[] = {
      {"NO_TRACEBACK;Kill_DialogBox", 1, 1},
      {"other, no_traceback,", 0, 1},
      {"no_trace kill_dialogboxes", 0, 0},
      {longest + "no_traceback kill_dialogbox", 0, 1},  // just fits
      {longest + "no_tracebacks", 0, 0},                // just does not
  };
  for (const auto& c : cases) {
    EXPECT_EXIT(
        {
          tarn::platform::SetEnvironmentVariableA("TARNENVAR", c.value.c_str());
          tarn::__initialise_cpplib();
          tarn::exit(tarn::kill_dialogbox + 2 * tarn::no_traceback);
        },
        testing::ExitedWithCode(c.kill_dialogbox + 2 * c.no_traceback), "")
        << c.value.substr(0, 30);
  }
}

TEST(Binding, FindsLoadsOrFallsBackToTheError) {
  EXPECT_NE(tarn::ProcessDynt("GlobalAlloc", "KERNEL32.DLL"), nullptr);
  EXPECT_EQ(tarn::ProcessDynt("NoSuchRoutine", "KERNEL32.DLL"), nullptr);
  EXPECT_EQ(tarn::ProcessDynt("GlobalAlloc", "no_such_library.dll"), nullptr);
  const char texts[] = "no_such_library.dll\0Routine\0rest";
  tarn::Routine slot = nullptr;
  EXPECT_STREQ(tarn::__attempt_rlo_load(&slot, texts), "rest");
  ASSERT_NE(slot, nullptr);
  const auto raised = raised_by([&] { slot(); });
  EXPECT_EQ(raised.number, 345);
  EXPECT_EQ(raised.text[0], "Attempt to call a function in an rlo library failed");
}

TEST(FailedStatement, ResumesWithTheSavedRegistersHoweverDeep) {
  std::uint64_t rbx_after = 0, landed = 0;
  asm volatile(
      "push %%rbx; push %%rbp; mov %%rsp, %%r15; and $-16, %%rsp; sub $64, %%rsp\n"
      "mov $0x1234, %%ebx\n"
      "call *%[save]\n"
      "mov %%rsp, %%r12\n"
      "mov $0, %%ebx; xor %%ebp, %%ebp; sub $512, %%rsp\n"  // deep inside, registers lost
      "lea 8(%%r12), %%rcx\n"
      "lea 1f(%%rip), %%rdx\n"
      "call *%[leave]\n"
      "ud2\n"
      "1: sub %%r12, %%rsp; mov %%rsp, %%rdx; mov %%rbx, %%rcx\n"
      "mov %%r15, %%rsp; pop %%rbp; pop %%rbx\n"
      : "=c"(rbx_after), "=d"(landed)
      : [save] "S"(&tarn::__save_rbp), [leave] "D"(&tarn::__exitiolib)
      : "rax", "r8", "r9", "r10", "r11", "r12", "r15", "memory", "cc");
  EXPECT_EQ(rbx_after, 0x1234u);
  EXPECT_EQ(landed, 16u);  // just above the word that held the target
}

}  // namespace
