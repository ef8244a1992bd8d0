// The console mode of a terminal, as its termios flags. Whatever way the
// process ends, short of SIGKILL, the terminal gets back the flags it had
// before the first change: ExitProcess, a return from main, and the signals
// that end a process all come to restore_terminal.

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include "platform/posix/system.h"

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

// A terminal refuses a process in the background by stopping it; at the end
// of the process that must not happen.
void set_without_stopping(int terminal, const termios& flags) {
  sigset_t stop, kept;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTTOU);
  pthread_sigmask(SIG_BLOCK, &stop, &kept);
  tcsetattr(terminal, TCSANOW, &flags);
  pthread_sigmask(SIG_SETMASK, &kept, nullptr);
}

// Installed with SA_RESETHAND: the second time the signal has its own effect.
void restore_and_end(int signal_number) {
  const int kept_errno = errno;
  restore_terminal();
  raise(signal_number);
  errno = kept_errno;
}

// What ends a process and has no handler yet gets ours; a handler that is
// there ends the process through ExitProcess, or passes the signal on.
void restore_at_end() {
  constexpr int kEnding[] = {SIGHUP,  SIGINT, SIGQUIT, SIGTERM, SIGABRT,
                             SIGSEGV, SIGBUS, SIGFPE,  SIGILL,  SIGTRAP};
  atexit(&restore_terminal);
  struct sigaction ours {};
  ours.sa_handler = &restore_and_end;
  ours.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER | SA_ONSTACK);
  sigemptyset(&ours.sa_mask);
  for (const int number : kEnding) {
    struct sigaction present;
    if (sigaction(number, nullptr, &present) == 0 && present.sa_handler == SIG_DFL) {
      sigaction(number, &ours, nullptr);
    }
  }
}

bool remember(int terminal, const termios& flags) {
  if (changed_terminal >= 0) return true;
  const int own = fcntl(terminal, F_DUPFD_CLOEXEC, static_cast<int>(kStandardHandles));
  if (own < 0) return false;
  original = flags;
  __atomic_store_n(&changed_terminal, own, __ATOMIC_RELEASE);
  restore_at_end();
  return true;
}

const OpenObject* find_terminal(Handle handle, termios* flags) {
  const OpenObject* const object = find_handle(handle, HandleKind::kFile);
  if (object == nullptr) return nullptr;
  if (tcgetattr(object->descriptor, flags) == 0) return object;
  SetLastError(kErrorInvalidHandle);
  return nullptr;
}

}  // namespace

void restore_terminal() {
  const int terminal = __atomic_load_n(&changed_terminal, __ATOMIC_ACQUIRE);
  if (terminal >= 0) set_without_stopping(terminal, original);
}

Status GetConsoleMode(Handle handle, std::uint32_t* mode) {
  termios flags;
  const OpenObject* const object = find_terminal(handle, &flags);
  if (object == nullptr) return 0;
  *mode = 0;
  if (object->screen) {
    *mode = kWrapAtLineEnd | ((flags.c_oflag & OPOST) != 0 ? kProcessedOutput : 0);
    return 1;
  }
  for (const auto& [windows, host] : kInputModes) {
    if ((flags.c_lflag & host) != 0) *mode |= windows;
  }
  return 1;
}

// A terminal always wraps and always understands its own sequences. Modes that
// no terminal has are refused.
Status SetConsoleMode(Handle handle, std::uint32_t mode) {
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
  }
  if ((mode & ~known) != 0) return fail(kErrorInvalidParameter);
  if (!remember(object->descriptor, before)) return fail_by_errno();
  int result;
  do {
    result = tcsetattr(object->descriptor, TCSANOW, &flags);
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 1 : fail_by_errno();
}

}  // namespace tarn::platform
