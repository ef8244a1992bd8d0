// A child process on a terminal of its own, and the user at it, for tests on the
// host: the terminal tells where its cursor is when asked, and the user presses
// the space bar at a pause and Enter whenever nothing happens.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <string>

namespace tarn::test {

class UsersTerminal {
 public:
  UsersTerminal() {
    controller_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    grantpt(controller_);
    unlockpt(controller_);
    const winsize size{24, 80, 0, 0};
    terminal_ = ::open(ptsname(controller_), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ioctl(terminal_, TIOCSWINSZ, &size);
    tcgetattr(terminal_, &before_);
  }
  ~UsersTerminal() {
    ::close(terminal_);
    ::close(controller_);
  }
  UsersTerminal(const UsersTerminal&) = delete;
  UsersTerminal& operator=(const UsersTerminal&) = delete;

  int controller() const { return controller_; }

  // In the child, the leader of a session: its standard handles.
  void take() const {
    ioctl(terminal_, TIOCSCTTY, 0);
    for (const int descriptor : {0, 1, 2}) dup2(terminal_, descriptor);
  }

  bool is_as_before() const {
    termios now{};
    tcgetattr(terminal_, &now);
    return now.c_lflag == before_.c_lflag && now.c_iflag == before_.c_iflag &&
           now.c_oflag == before_.c_oflag;
  }

 private:
  int controller_ = -1, terminal_ = -1;
  termios before_{};
};

inline constexpr int kHangs = -1;

// Plays the user at the terminal (null: there is none) until the child, the
// leader of its session, ends: its status. kHangs if it still ran after `limit`
// milliseconds; it and its children are then ended.
inline int attend(pid_t child, const UsersTerminal* terminal, int limit) {
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
      if (text.find("\x1B[6n") != std::string::npos) typed += "\x1B[5;1R";
      if (text.find("PAUSED") != std::string::npos) typed += " ";
    }
    if (!typed.empty() && ::write(controller, typed.data(), typed.size()) < 0) abort();
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
