// Console events, from signals.

#include <errno.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <unistd.h>

#include "platform/posix/base/base.h"
#include "platform/posix/terminal/terminal.h"
#include "platform/posix/threads/threads.h"

namespace tarn::platform {
namespace {

// ---- Console events -----------------------------------------------------------

constexpr int kMaxConsoleHandlers = 64;
ConsoleHandler console_handlers[kMaxConsoleHandlers];
int console_handler_count;
pthread_mutex_t console_lock = PTHREAD_MUTEX_INITIALIZER;

constexpr struct {
  int signal;
  std::uint32_t event;
} kEvents[] = {{SIGINT, kConsoleCtrlC}, {SIGQUIT, kConsoleCtrlBreak}};
constexpr int kEventCount = sizeof kEvents / sizeof kEvents[0];

// A signal handler may only post; a thread that waits runs the routines.
sem_t event_posted;
std::uint32_t pending[kEventCount];

void on_console_signal(int number) {
  const int kept_errno = errno;
  for (int i = 0; i < kEventCount; ++i) {
    if (kEvents[i].signal != number) continue;
    __atomic_add_fetch(&pending[i], 1, __ATOMIC_RELEASE);
    sem_post(&event_posted);
  }
  errno = kept_errno;
}

bool take(std::uint32_t* count) {
  std::uint32_t seen = __atomic_load_n(count, __ATOMIC_ACQUIRE);
  while (seen > 0) {
    if (__atomic_compare_exchange_n(count, &seen, seen - 1, false, __ATOMIC_ACQ_REL,
                                    __ATOMIC_ACQUIRE)) {
      return true;
    }
  }
  return false;
}

void dispatch(int index) {
  for (int i = kMaxConsoleHandlers; i-- > 0;) {
    pthread_mutex_lock(&console_lock);
    const ConsoleHandler handler = i < console_handler_count ? console_handlers[i] : nullptr;
    pthread_mutex_unlock(&console_lock);
    if (handler && handler(kEvents[index].event)) return;
  }
  // Nobody handled it: the signal has its ordinary effect on the process.
  restore_terminal();
  signal(kEvents[index].signal, SIG_DFL);
  kill(getpid(), kEvents[index].signal);
}

void* run_events(void*) {
  set_initial_modes();
  for (;;) {
    while (sem_wait(&event_posted) != 0) {
    }
    for (int i = 0; i < kEventCount; ++i) {
      if (take(&pending[i])) dispatch(i);
    }
  }
}

bool handle_signal(int number, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  return sigaction(number, &action, nullptr) == 0;
}

bool start_events() {
  static bool started;
  if (started) return true;
  if (sem_init(&event_posted, 0, 0) != 0) return false;
  sigset_t before;
  block_sent_signals(&before);
  pthread_t thread;
  const bool made = pthread_create(&thread, nullptr, &run_events, nullptr) == 0;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (!made) return false;
  pthread_detach(thread);
  for (const auto& event : kEvents) handle_signal(event.signal, &on_console_signal);
  started = true;
  return true;
}

bool remove_handler(ConsoleHandler handler) {
  for (int i = console_handler_count; i-- > 0;) {
    if (console_handlers[i] != handler) continue;
    --console_handler_count;
    for (; i < console_handler_count; ++i) console_handlers[i] = console_handlers[i + 1];
    return true;
  }
  return false;
}

}  // namespace

Bool SetConsoleCtrlHandler(ConsoleHandler handler, std::int32_t add) {
  if ((handler && !add) || start_events()) {
    const MutexLock lock(console_lock);
    bool done = false;
    if (!handler) {
      done = handle_signal(SIGINT, add ? SIG_IGN : &on_console_signal);
    } else if (!add) {
      done = remove_handler(handler);
    } else if (console_handler_count < kMaxConsoleHandlers) {
      console_handlers[console_handler_count++] = handler;
      done = true;
    }
    if (done) return 1;
  }
  SetLastError(!handler || add ? kErrorNotEnoughMemory : kErrorInvalidParameter);
  return 0;
}

}  // namespace tarn::platform
