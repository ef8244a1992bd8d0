// The console mode of a terminal, as its termios flags. Whatever way the
// process ends, short of SIGKILL, the terminal gets back the flags it had
// before the first change, and the screen is finished: ExitProcess, a return
// from main, and the signals that end a process all call restore_terminal.

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/terminal/progress_row.h"
#include "platform/posix/terminal/screen.h"
#include "platform/posix/terminal/terminal.h"
#include "platform/posix/terminal/terminal_mode.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kProcessedOutput = 1;
constexpr std::uint32_t kWrapAtLineEnd = 2;
constexpr std::uint32_t kTerminalSequences = 4;

constexpr struct {
  std::uint32_t windows;
  tcflag_t host;
} kInputModes[] = {
    {1, ISIG},    // processed
    {2, ICANON},  // line
    {4, ECHO},    // echo
};

// The terminal to restore, on a descriptor of our own: the caller may close
// the one it came by.
int changed_terminal = -1;
termios original;
termios current;

unsigned quiet_device;  // 0: no terminal is quiet
bool lines_refused;
bool echo_wanted;  // by the program's mode, on the quiet terminal
int children;      // that may use the terminal
unsigned continued;

// Installed with SA_RESETHAND: the second time the signal has its own effect.
void restore_and_end(int signal_number) {
  const int kept_errno = errno;
  restore_terminal();
  raise(signal_number);
  errno = kept_errno;
}

// Others in the foreground have the terminal as they want it.
bool may_set(int terminal) { return terminal >= 0 && !in_background(terminal); }

// The shell that takes over gets its flags and a cursor; afterwards others have used
// the terminal.
void on_stop(int number) {
  const int kept_errno = errno;
  give_back_row();
  show_cursor(true);
  if (may_set(changed_terminal)) tcsetattr(changed_terminal, TCSANOW, &original);
  struct sigaction ours, default_action{};
  default_action.sa_handler = SIG_DFL;
  sigemptyset(&default_action.sa_mask);
  sigset_t stop, kept;
  sigemptyset(&stop);
  sigaddset(&stop, number);
  sigaction(number, &default_action, &ours);
  raise(number);
  pthread_sigmask(SIG_UNBLOCK, &stop, &kept);  // stops here
  pthread_sigmask(SIG_SETMASK, &kept, nullptr);
  sigaction(number, &ours, nullptr);
  errno = kept_errno;
}

void on_continue(int) {
  const int kept_errno = errno;
  lose_screen();
  __atomic_add_fetch(&continued, 1, __ATOMIC_RELEASE);
  if (may_set(changed_terminal)) tcsetattr(changed_terminal, TCSANOW, &current);
  if (changed_terminal < 0 || !in_background(changed_terminal)) show_cursor(false);
  errno = kept_errno;
}

void on_resize(int) { note_size(); }

void handle_default(int number, void (*handler)(int), int flags) {
  struct sigaction present;
  if (sigaction(number, nullptr, &present) != 0 || present.sa_handler != SIG_DFL) return;
  struct sigaction ours {};
  ours.sa_handler = handler;
  ours.sa_flags = flags;
  sigemptyset(&ours.sa_mask);
  sigaction(number, &ours, nullptr);
}

const OpenObject* find_terminal(Handle handle, termios* flags) {
  const OpenObject* const object = find_handle(handle, HandleKind::kFile);
  if (object == nullptr) return nullptr;
  if (tcgetattr(object->descriptor, flags) == 0) return object;
  SetLastError(kErrorInvalidHandle);
  return nullptr;
}

}  // namespace

// What ends a process and has no handler yet gets ours; a handler that is
// there ends the process through ExitProcess, or passes the signal on.
void restore_at_every_end() {
  static bool listed;
  constexpr int kEnding[] = {SIGHUP, SIGINT,  SIGQUIT, SIGTERM, SIGABRT, SIGSEGV, SIGBUS, SIGFPE,
                             SIGILL, SIGTRAP, SIGALRM, SIGUSR1, SIGUSR2, SIGXCPU, SIGSYS};
  if (!__atomic_exchange_n(&listed, true, __ATOMIC_RELAXED)) atexit(&restore_terminal);
  constexpr auto kOnce = static_cast<int>(SA_RESETHAND | SA_NODEFER | SA_ONSTACK);
  for (const int number : kEnding) handle_default(number, &restore_and_end, kOnce);
  handle_default(SIGTSTP, &on_stop, SA_RESTART | SA_ONSTACK);
  handle_default(SIGCONT, &on_continue, SA_RESTART | SA_ONSTACK);
}

bool remember_terminal(int terminal, const termios& flags) {
  if (changed_terminal >= 0) return true;
  const int own = fcntl(terminal, F_DUPFD_CLOEXEC, static_cast<int>(kStandardHandles));
  if (own < 0) return false;
  original = current = flags;
  __atomic_store_n(&changed_terminal, own, __ATOMIC_RELEASE);
  restore_at_every_end();
  return true;
}

bool set_terminal(int terminal, const termios& flags) {
  current = flags;
  int result;
  do {
    result = tcsetattr(terminal, TCSANOW, &flags);
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

// Others may have set the flags since; the program's wish is older.
void quieten_terminal(int terminal) {
  termios flags;
  const unsigned device = terminal_device(terminal);
  if (__atomic_load_n(&children, __ATOMIC_ACQUIRE) > 0 || in_background(terminal) ||
      tcgetattr(terminal, &flags) != 0 || !remember_terminal(terminal, flags) ||
      terminal_device(changed_terminal) != device) {
    return;
  }
  if (quiet_device != device) echo_wanted = (flags.c_lflag & ECHO) != 0;
  __atomic_store_n(&quiet_device, device, __ATOMIC_RELEASE);
  if ((flags.c_lflag & ECHO) == 0) return;
  flags.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  set_terminal(terminal, flags);
}

bool is_quiet_anywhere() { return __atomic_load_n(&quiet_device, __ATOMIC_ACQUIRE) != 0; }

bool is_quiet(unsigned device) {
  return device != 0 && __atomic_load_n(&quiet_device, __ATOMIC_ACQUIRE) == device;
}

bool lines_were_refused() { return __atomic_load_n(&lines_refused, __ATOMIC_RELAXED); }

bool echoes_lines(int terminal) {
  termios flags;
  if (is_quiet(terminal_device(terminal))) return echo_wanted;
  return tcgetattr(terminal, &flags) != 0 || (flags.c_lflag & ECHO) != 0;
}

void lend_terminal() {
  __atomic_add_fetch(&children, 1, __ATOMIC_ACQ_REL);
  termios flags;
  if (!is_quiet_anywhere() || !echo_wanted || !may_set(changed_terminal) ||
      tcgetattr(changed_terminal, &flags) != 0) {
    return;
  }
  flags.c_lflag |= ECHO;
  set_terminal(changed_terminal, flags);
}

// The next use of the cells makes the terminal quiet again.
void take_terminal_back() {
  __atomic_sub_fetch(&children, 1, __ATOMIC_ACQ_REL);
  lose_screen();
}

unsigned times_continued() { return __atomic_load_n(&continued, __ATOMIC_ACQUIRE); }

// A terminal refuses a process in the background by stopping it; at the end
// of the process that must not happen.
void restore_terminal() {
  sigset_t stop, kept;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTTOU);
  pthread_sigmask(SIG_BLOCK, &stop, &kept);
  give_back_row();
  finish_screen();
  const int terminal = __atomic_exchange_n(&changed_terminal, -1, __ATOMIC_ACQ_REL);
  if (terminal >= 0) {
    tcsetattr(terminal, TCSANOW, &original);
    close(terminal);
  }
  __atomic_store_n(&quiet_device, 0, __ATOMIC_RELEASE);
  pthread_sigmask(SIG_SETMASK, &kept, nullptr);
}

unsigned terminal_device(int descriptor) {
  unsigned device = 0;
  return ioctl(descriptor, TIOCGDEV, &device) == 0 ? device : 0;
}

bool in_background(int terminal) {
  const pid_t foreground = tcgetpgrp(terminal);
  return foreground > 0 && foreground != getpgrp();
}

bool hears_of_size(int terminal) {
  handle_default(SIGWINCH, &on_resize, SA_RESTART | SA_ONSTACK);
  struct sigaction present;
  return sigaction(SIGWINCH, nullptr, &present) == 0 && present.sa_handler == &on_resize &&
         tcgetsid(terminal) == getsid(0) && !in_background(terminal);
}

bool write_terminal(int terminal, const char* bytes, std::size_t count, int milliseconds) {
  while (count > 0) {
    const ssize_t put = write(terminal, bytes, count);
    if (put >= 0) {
      bytes += put;
      count -= static_cast<std::size_t>(put);
      continue;
    }
    if (errno == EINTR) continue;
    pollfd room{terminal, POLLOUT, 0};
    if (errno != EAGAIN || poll(&room, 1, milliseconds) == 0) return false;
  }
  return true;
}

std::uint32_t GetConsoleCP() { return kUtf8; }
std::uint32_t GetConsoleOutputCP() { return kUtf8; }
Bool SetConsoleCP(std::uint32_t page) { return page == kUtf8 ? 1 : fail(kErrorInvalidParameter); }
Bool SetConsoleOutputCP(std::uint32_t page) { return SetConsoleCP(page); }

Bool GetConsoleMode(Handle handle, std::uint32_t* mode) {
  termios flags;
  const OpenObject* const object = find_terminal(handle, &flags);
  if (object == nullptr) return 0;
  *mode = 0;
  if (object->screen) {
    *mode = kWrapAtLineEnd | ((flags.c_oflag & OPOST) != 0 ? kProcessedOutput : 0);
    return 1;
  }
  if (is_quiet(terminal_device(object->descriptor)) && echo_wanted) flags.c_lflag |= ECHO;
  for (const auto& [windows, host] : kInputModes) {
    if ((flags.c_lflag & host) != 0) *mode |= windows;
  }
  return 1;
}

Bool ReadConsoleA(Handle handle, void* text, std::uint32_t size, std::uint32_t* read, void*) {
  std::uint32_t mode;
  return GetConsoleMode(handle, &mode) && ReadFile(handle, text, size, read, nullptr);
}

// A byte is at most a unit, so what is read has room; the rest of a character that the room cuts
// waits already. One that is two units has a byte's place more than it needs, unless `size` is 1.
Bool ReadConsoleW(Handle handle, void* text, std::uint32_t size, std::uint32_t* read, void*) {
  constexpr std::uint32_t kPart = 1024, kLongest = 4;  // bytes of a character
  constexpr char16_t kReplacement = 0xFFFD;
  std::uint8_t bytes[kPart + kLongest];
  std::uint32_t count, mode, code;
  if (read != nullptr) *read = 0;
  if (!GetConsoleMode(handle, &mode)) return 0;
  const std::uint32_t room = size < kPart ? size : kPart;
  if (!ReadFile(handle, bytes, room > 1 ? room - 1 : room, &count, nullptr)) return 0;
  for (std::uint32_t back = 1, more; back < kLongest && back <= count; ++back) {
    if (bytes[count - back] < 0xC0) continue;
    while (take_utf8(bytes + count - back, back, &code) == -1 &&
           ReadFile(handle, bytes + count, 1, &more, nullptr) && more == 1) {
      ++count;
      ++back;
    }
    break;
  }
  if (count == 0) return 1;
  auto stored = static_cast<std::uint32_t>(MultiByteToWideChar(
      kUtf8, 0, reinterpret_cast<const char*>(bytes), static_cast<std::int32_t>(count),
      static_cast<char16_t*>(text), static_cast<std::int32_t>(size)));
  if (stored == 0) {
    memcpy(text, &kReplacement, sizeof kReplacement);
    stored = 1;
  }
  if (read != nullptr) *read = stored;
  return 1;
}

// A terminal always wraps and always understands its own sequences. Modes that
// no terminal has are refused.
Bool SetConsoleMode(Handle handle, std::uint32_t mode) {
  termios flags;
  const OpenObject* const object = find_terminal(handle, &flags);
  if (object == nullptr) return 0;
  const termios before = flags;
  std::uint32_t known = 0;
  if (object->screen) {
    known = kProcessedOutput | kWrapAtLineEnd | kTerminalSequences;
    constexpr tcflag_t kProcess = OPOST;
    flags.c_oflag = mode & kProcessedOutput ? flags.c_oflag | kProcess : flags.c_oflag & ~kProcess;
    if ((mode & kWrapAtLineEnd) == 0) return fail(kErrorInvalidParameter);
  } else {
    for (const auto& [windows, host] : kInputModes) {
      known |= windows;
      flags.c_lflag = mode & windows ? flags.c_lflag | host : flags.c_lflag & ~host;
    }
    flags.c_cc[VMIN] = 1;  // without lines: each byte as it comes
    flags.c_cc[VTIME] = 0;
    if ((flags.c_lflag & ICANON) == 0) __atomic_store_n(&lines_refused, true, __ATOMIC_RELAXED);
  }
  if ((mode & ~known) != 0) return fail(kErrorInvalidParameter);
  if (!remember_terminal(object->descriptor, before)) return fail_by_errno();
  if (!object->screen && is_quiet(terminal_device(object->descriptor))) {
    echo_wanted = (flags.c_lflag & ECHO) != 0;
    flags.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  }
  return set_terminal(object->descriptor, flags) ? 1 : fail_by_errno();
}

}  // namespace tarn::platform
