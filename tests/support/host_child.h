// Child processes for tests on the host: pieces of work that fork, on a terminal
// of their own if they need one.
#pragma once

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "tests/support/pseudo_terminal.h"

namespace tarn::test {

inline constexpr int kCameToItsEnd = 99;  // the status of a child whose work returns

inline pid_t start_child(const std::function<void()>& work,
                         const PseudoTerminal* terminal = nullptr) {
  const pid_t child = fork();
  if (child != 0) return child;
  if (terminal) terminal->lead_session();
  const rlimit no_core{0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
  for (const int number : {SIGSEGV, SIGABRT, SIGILL}) signal(number, SIG_DFL);  // no sanitizer's
  work();
  _exit(kCameToItsEnd);
}

// As waitpid tells it.
inline int status_of(pid_t child) {
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

inline int status_of(const std::function<void()>& work, const PseudoTerminal* terminal = nullptr) {
  return status_of(start_child(work, terminal));
}

}  // namespace tarn::test
