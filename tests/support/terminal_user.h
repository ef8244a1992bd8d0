// A child process on a terminal of its own, and the user at it, for tests on the
// host: the terminal tells where its cursor is when asked, and the user presses
// the space bar at a pause and Enter whenever nothing happens.
#pragma once

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>

#include <chrono>
#include <string>

#include "tests/support/pseudo_terminal.h"

namespace tarn::test {

inline constexpr int kHangs = -1;

// Plays the user at the terminal (null: there is none) until the child, the
// leader of its session, ends: its status. kHangs if it still ran after `limit`
// milliseconds; it and its children are then ended.
inline int attend(pid_t child, const PseudoTerminal* terminal, int limit) {
  constexpr int kIdle = 4, kLook = 1000;  // milliseconds
  const int process = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
  const int controller = terminal ? terminal->controller() : -1;
  const auto start = std::chrono::steady_clock::now();
  bool in_time = true;
  for (;;) {
    pollfd wanted[] = {{process, POLLIN, 0}, {controller, POLLIN, 0}};
    const int count = poll(wanted, 2, terminal ? kIdle : kLook);
    if (wanted[0].revents != 0) break;
    std::string typed = terminal && count == 0 ? "\r" : "";
    if (wanted[1].revents & POLLIN) {
      char bytes[4096];
      const ssize_t length = ::read(controller, bytes, sizeof bytes);
      const std::string text(bytes, static_cast<std::size_t>(length < 0 ? 0 : length));
      if (text.find(kCursorQuestion) != std::string::npos) typed += "\x1B[5;1R";
      if (text.find("PAUSED") != std::string::npos) typed += " ";
    }
    if (!typed.empty()) terminal->type(typed);
    if (in_time && std::chrono::steady_clock::now() - start > std::chrono::milliseconds(limit)) {
      in_time = false;
      kill(-child, SIGKILL);
      kill(child, SIGKILL);
    }
  }
  ::close(process);
  int status = 0;
  waitpid(child, &status, 0);
  return in_time ? status : kHangs;
}

}  // namespace tarn::test
