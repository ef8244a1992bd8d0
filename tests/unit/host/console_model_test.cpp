// The console on pseudo terminals of many sizes, against its model.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "console/console_input.h"
#include "console/console_state.h"
#include "console/formatted_output.h"
#include "console/line_output.h"
#include "tests/support/console_model.h"
#include "tests/support/raised.h"

namespace {

int keyboard;  // in the child: the terminal's own side

void type_keys(int count) {
  const std::string keys(static_cast<std::size_t>(count), 'k');
  if (write(keyboard, keys.data(), keys.size()) < 0) abort();
}

// In a child whose standard input and output are a terminal of this size.
std::string compare_on_terminal(int columns, int rows, unsigned seed, int streams) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  int report[2];
  if (terminal < 0 || grantpt(terminal) || unlockpt(terminal) || pipe(report)) return "no terminal";
  const winsize size{static_cast<unsigned short>(rows), static_cast<unsigned short>(columns), 0, 0};
  const pid_t child = fork();
  if (child == 0) {
    setenv("TERM", "xterm", 1);
    alarm(60);
    setsid();
    const int side = open(ptsname(terminal), O_RDWR);
    ioctl(side, TIOCSWINSZ, &size);
    dup2(side, 0);
    dup2(side, 1);
    close(side);
    keyboard = terminal;
    tarn::test::initialise();
    std::string found = tarn::ConsoleRedirected()
                            ? "redirected"
                            : tarn::test::compare_with_model(seed, streams, type_keys);
    if (write(report[1], found.data(), found.size()) < 0) abort();
    tarn::platform::ExitProcess(found.empty() ? 0 : 1);
  }
  close(report[1]);
  // The child holds the terminal's own side open, so its end is not the end of
  // what is read here; the pipe's is.
  std::string found;
  char block[65536];
  for (;;) {
    pollfd waiting[] = {{terminal, POLLIN, 0}, {report[0], POLLIN, 0}};
    if (poll(waiting, 2, -1) < 0) break;
    if (waiting[0].revents & POLLIN) {
      const ssize_t got = read(terminal, block, sizeof block);
      const std::string_view drawn(block, got > 0 ? static_cast<std::size_t>(got) : 0);
      if (drawn.find("\x1B[6n") != drawn.npos && write(terminal, "\x1B[1;1R", 6) < 0) break;
    } else if (waiting[1].revents) {
      const ssize_t got = read(report[0], block, sizeof block);
      if (got <= 0) break;
      found.append(block, static_cast<std::size_t>(got));
    }
  }
  int status = 0;
  waitpid(child, &status, 0);
  close(terminal);
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
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
  const winsize size{5, 80, 0, 0};
  ioctl(terminal, TIOCSWINSZ, &size);
  const pid_t child = fork();
  if (child == 0) {
    setenv("TERM", "xterm", 1);
    alarm(20);
    signal(SIGHUP, SIG_IGN);
    setsid();
    const int side = open(ptsname(terminal), O_RDWR);
    dup2(side, 0);
    dup2(side, 1);
    close(side);
    tarn::test::initialise();
    const bool was_screen = !tarn::ConsoleRedirected();
    close(terminal);  // the parent has closed it too, or does so now
    tarn::ConsolePauseMode(1);
    for (int i = 0; i < 20; ++i) tarn::ConsolePrintf("nobody sees %d\n", i);
    tarn::ConsoleBoxPrint(1, 2, 3, "nor this");
    std::int32_t count = 0, key = 0;
    char line[8];
    tarn::ConsoleRead(line, sizeof line, &count);
    tarn::get_key(&key);
    tarn::platform::ExitProcess(was_screen && count == -1 && key == 0 ? 0 : 1);
  }
  close(terminal);
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

}  // namespace
