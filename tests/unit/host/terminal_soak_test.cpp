// Many pauses, each answered by a key, on a terminal: after them the process has
// the descriptors and the memory that it had, and the terminal its mode.
//
// TARN_SOAK in the environment: how many, in place of kOrdinary.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cstdlib>

#include "console/console_state.h"
#include "console/formatted_output.h"
#include "console/line_output.h"
#include "process/process_end.h"
#include "startup/initialise.h"
#include "tests/support/possessions.h"
#include "tests/support/terminal_user.h"

namespace {

using tarn::test::Possessions;
using tarn::test::PseudoTerminal;
using tarn::test::take_stock;

constexpr int kOrdinary = 300;
constexpr int kWarmUp = 100;
constexpr std::int64_t kSlack = std::int64_t{2} << 20;
constexpr int kNoLimit = 2'000'000'000;

struct Told {
  int pauses;
  Possessions before, after;
};

[[noreturn]] void pause_often(const PseudoTerminal& terminal, int pauses, Told* told) {
  terminal.lead_session();
  tarn::__initialise_cpplib();
  for (int i = 0; i < kWarmUp + pauses; ++i) {
    if (i == kWarmUp) told->before = take_stock();
    tarn::ConsolePrintf("pause %d\n", i);
    tarn::OutputPauseMessage();
    if (i >= kWarmUp) ++told->pauses;
  }
  told->after = take_stock();
  tarn::exit(tarn::ConsoleRedirected());
}

TEST(TerminalSoak, PausesLeaveNothingBehind) {
  const char* const wanted = std::getenv("TARN_SOAK");
  const int pauses = wanted ? std::atoi(wanted) : kOrdinary;
  setenv("TERM", "xterm", 1);
  auto* const told = static_cast<Told*>(
      mmap(nullptr, sizeof(Told), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(told, MAP_FAILED);
  const PseudoTerminal terminal(80, 24);
  const termios before = terminal.mode();
  const pid_t child = fork();
  if (child == 0) pause_often(terminal, pauses, told);
  EXPECT_EQ(tarn::test::attend(child, &terminal, kNoLimit), 0);
  EXPECT_TRUE(terminal.has_mode(before));
  EXPECT_EQ(told->pauses, pauses);
  EXPECT_EQ(told->after.handles, told->before.handles);
  EXPECT_EQ(told->after.free_place, told->before.free_place);
  EXPECT_LT(told->after.memory, told->before.memory + kSlack);
  std::printf("%d pauses, memory %+lld kB\n", told->pauses,
              static_cast<long long>((told->after.memory - told->before.memory) / 1024));
  munmap(told, sizeof(Told));
}

}  // namespace
