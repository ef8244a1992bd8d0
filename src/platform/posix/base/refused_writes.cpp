#include <signal.h>

#include "platform/posix/base/base.h"

namespace tarn::platform {

// Unlike an ignored signal, a handler that does nothing is not inherited by the
// programs that the process starts.
void survive_refused_writes() {
  static bool done;
  // Looked at first: each write of a stream comes here, and an exchange is slow.
  if (__atomic_load_n(&done, __ATOMIC_RELAXED)) return;
  if (__atomic_exchange_n(&done, true, __ATOMIC_RELAXED)) return;
  constexpr int kOfRefusedWrites[] = {SIGPIPE, SIGXFSZ};
  for (const int number : kOfRefusedWrites) {
    struct sigaction present;
    if (sigaction(number, nullptr, &present) != 0 || present.sa_handler != SIG_DFL) continue;
    struct sigaction nothing {};
    nothing.sa_handler = [](int) {};
    nothing.sa_flags = SA_RESTART;
    sigemptyset(&nothing.sa_mask);
    sigaction(number, &nothing, nullptr);
  }
}

}  // namespace tarn::platform
