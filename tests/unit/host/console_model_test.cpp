// The console on pseudo terminals of many sizes, against its model.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include <cstdio>
#include <optional>
#include <string>

#include "console/console_input.h"
#include "console/console_state.h"
#include "console/formatted_output.h"
#include "console/line_output.h"
#include "tests/support/console_model.h"
#include "tests/support/host_child.h"
#include "tests/support/raised.h"

namespace {

using tarn::test::BlindTerminal;
using tarn::test::compare_random_streams;
using tarn::test::PseudoTerminal;
using tarn::test::start_child;
using tarn::test::status_of;

const PseudoTerminal* keyboard;

void type_keys(int count) { keyboard->type(std::string(static_cast<std::size_t>(count), 'k')); }

// In a child whose standard input and output are a terminal of this size. The
// difference is told on standard error.
int compare_on_terminal(int columns, int rows, unsigned seed, int streams) {
  const BlindTerminal terminal(columns, rows);
  keyboard = &terminal;
  const int output = dup(2);
  const int status = status_of(
      [&] {
        dup2(output, 2);
        alarm(60);
        tarn::test::initialise();
        const std::string found = tarn::ConsoleRedirected()
                                      ? "redirected"
                                      : compare_random_streams(seed, streams, type_keys);
        std::fprintf(stderr, "%s", found.c_str());
        tarn::platform::ExitProcess(found.empty() ? 0 : 1);
      },
      &terminal);
  close(output);
  return status;
}

TEST(ConsoleModel, EveryCellIsThatOfTheModel) {
  setenv("TERM", "xterm", 1);
  const struct {
    int columns, rows, streams;
  } sizes[] = {
      {80, 25, 400}, {2, 6, 150},  {5, 2, 150},  {7, 9, 150},  {16, 8, 150},
      {40, 12, 150}, {55, 7, 120}, {56, 7, 120}, {57, 7, 120}, {132, 9, 120},
      {255, 6, 60},  {256, 6, 60}, {257, 6, 60}, {300, 6, 60}, {520, 6, 60},
  };
  unsigned seed = 1;
  for (const auto& size : sizes) {
    EXPECT_EQ(compare_on_terminal(size.columns, size.rows, seed, size.streams), 0)
        << size.columns << " by " << size.rows;
    seed += 10'000;
  }
}

// A child that goes on when its terminal is gone.
TEST(ConsoleModel, ATerminalThatGoesAwayTakesNothingAndHoldsNobodyUp) {
  std::optional<PseudoTerminal> terminal(std::in_place, 80, 5);
  const pid_t child = start_child([&] {
    alarm(20);
    signal(SIGHUP, SIG_IGN);
    terminal->lead_session();
    tarn::test::initialise();
    const bool was_screen = !tarn::ConsoleRedirected();
    terminal.reset();  // the parent has closed it too, or does so now
    tarn::ConsolePauseMode(1);
    for (int i = 0; i < 20; ++i) tarn::ConsolePrintf("nobody sees %d\n", i);
    tarn::ConsoleBoxPrint(1, 2, 3, "nor this");
    std::int32_t count = 0, key = 0;
    char line[8];
    tarn::ConsoleRead(line, sizeof line, &count);
    tarn::get_key(&key);
    tarn::platform::ExitProcess(was_screen && count == -1 && key == 0 ? 0 : 1);
  });
  terminal.reset();
  EXPECT_EQ(status_of(child), 0);
}

}  // namespace
