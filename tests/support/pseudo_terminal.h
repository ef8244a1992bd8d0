// A pseudo terminal, for tests, fuzzers and benchmarks on the host: the
// programs' side, and the side of whoever sits before it.
#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <latch>
#include <string>
#include <string_view>
#include <thread>

namespace tarn::test {

class PseudoTerminal {
 public:
  PseudoTerminal(int columns, int rows) {
    controller_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (controller_ < 0 || grantpt(controller_) != 0 || unlockpt(controller_) != 0) abort();
    path_ = ptsname(controller_);
    // Kept open: without any program there would be no terminal.
    programs_side_ = ::open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    set_size(columns, rows);
  }
  ~PseudoTerminal() {
    stop_watching();
    ::close(programs_side_);
    ::close(controller_);
  }
  PseudoTerminal(const PseudoTerminal&) = delete;
  PseudoTerminal& operator=(const PseudoTerminal&) = delete;

  const std::string& path() const { return path_; }
  int controller() const { return controller_; }

  void set_size(int columns, int rows) const {
    const winsize size{static_cast<unsigned short>(rows), static_cast<unsigned short>(columns), 0,
                       0};
    ioctl(controller_, TIOCSWINSZ, &size);
  }
  termios mode() const {
    termios now{};
    tcgetattr(programs_side_, &now);
    return now;
  }
  bool has_mode(const termios& wanted) const {
    const termios now = mode();
    return now.c_lflag == wanted.c_lflag && now.c_iflag == wanted.c_iflag &&
           now.c_oflag == wanted.c_oflag && memcmp(now.c_cc, wanted.c_cc, sizeof now.c_cc) == 0;
  }
  // As the user's hands do, and as a program does.
  void type(const std::string& bytes) const {
    if (::write(controller_, bytes.data(), bytes.size()) < 0) abort();
  }
  void print(const std::string& bytes) const {
    if (::write(programs_side_, bytes.data(), bytes.size()) < 0) abort();
  }

  // Gives what programs write to `take`, on a thread of its own. Not for a child
  // process, nor after something that `take` uses has gone.
  void watch(std::function<void(std::string_view)> take) {
    // A child of a fork while the thread starts would find a sanitizer's allocator
    // locked for ever, so it is waited for.
    std::latch started(1);
    watcher_ = std::thread([this, take = std::move(take), &started] {
      static thread_local char block[65536];
      started.count_down();
      ssize_t count;
      while ((count = ::read(controller_, block, sizeof block)) > 0 && !stopping_) {
        take({block, static_cast<std::size_t>(count)});
      }
    });
    started.wait();
  }
  void stop_watching() {
    if (!watcher_.joinable()) return;
    stopping_ = true;
    print({'\0'});  // wakes it
    watcher_.join();
  }

  // In a child process: makes it the leader of a session on this terminal, with
  // its standard handles.
  void lead_session() const {
    setsid();
    ioctl(programs_side_, TIOCSCTTY, 0);
    for (const int handle : {0, 1, 2}) dup2(programs_side_, handle);
  }

 private:
  int controller_ = -1, programs_side_ = -1;
  std::string path_;
  std::thread watcher_;
  std::atomic<bool> stopping_ = false;
};

// What a program sends to ask where the cursor is.
inline constexpr char kCursorQuestion[] = "\x1B[6n";

// Takes what comes as fast as it can, and says that its cursor is at the top.
class BlindTerminal : public PseudoTerminal {
 public:
  BlindTerminal(int columns, int rows) : PseudoTerminal(columns, rows) {
    watch([this](std::string_view bytes) {
      if (bytes.find(kCursorQuestion) != bytes.npos) type("\x1B[1;1R");
    });
  }
};

}  // namespace tarn::test
