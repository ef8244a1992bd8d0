// The console on pseudo terminals of many sizes, against its model.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "console/console_input.h"
#include "console/console_state.h"
#include "console/formatted_output.h"
#include "console/line_output.h"
#include "tests/support/console_model.h"
#include "tests/support/pseudo_terminal.h"
#include "tests/support/raised.h"

namespace {

using tarn::test::BlindTerminal;
using tarn::test::PseudoTerminal;

const PseudoTerminal* keyboard;

void type_keys(int count) { keyboard->type(std::string(static_cast<std::size_t>(count), 'k')); }

// In a child whose standard input and output are a terminal of this size.
std::string compare_on_terminal(int columns, int rows, unsigned seed, int streams) {
  const BlindTerminal terminal(columns, rows);
  keyboard = &terminal;
  int report[2];
  if (pipe(report)) return "no pipe";
  const pid_t child = fork();
  if (child == 0) {
    setenv("TERM", "xterm", 1);
    alarm(60);
    terminal.lead_session();
    tarn::test::initialise();
    std::string found = tarn::ConsoleRedirected()
                            ? "redirected"
                            : tarn::test::compare_with_model(seed, streams, type_keys);
    if (write(report[1], found.data(), found.size()) < 0) abort();
    tarn::platform::ExitProcess(found.empty() ? 0 : 1);
  }
  close(report[1]);
  std::string found;
  char block[4096];
  ssize_t got;
  while ((got = read(report[0], block, sizeof block)) > 0) {
    found.append(block, static_cast<std::size_t>(got));
  }
  int status = 0;
  waitpid(child, &status, 0);
  close(report[0]);
  if (found.empty() && status != 0) found = "ended with " + std::to_string(status);
  return found;
}

TEST(ConsoleModel, EveryCellIsThatOfTheModel) {
  const struct {
    int columns, rows, streams;
  } sizes[] = {
      {80, 25, 400}, {2, 6, 150},  {5, 2, 150},  {7, 9, 150},  {16, 8, 150},
      {40, 12, 150}, {55, 7, 120}, {56, 7, 120}, {57, 7, 120}, {132, 9, 120},
      {255, 6, 60},  {256, 6, 60}, {257, 6, 60}, {300, 6, 60}, {520, 6, 60},
  };
  unsigned seed = 1;
  for (const auto& size : sizes) {
    EXPECT_EQ(compare_on_terminal(size.columns, size.rows, seed, size.streams), "")
        << size.columns << " by " << size.rows;
    seed += 10'000;
  }
}

// A child that goes on when its terminal is gone.
TEST(ConsoleModel, ATerminalThatGoesAwayTakesNothingAndHoldsNobodyUp) {
  std::optional<PseudoTerminal> terminal(std::in_place, 80, 5);
  const pid_t child = fork();
  if (child == 0) {
    setenv("TERM", "xterm", 1);
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
  }
  terminal.reset();
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

}  // namespace
