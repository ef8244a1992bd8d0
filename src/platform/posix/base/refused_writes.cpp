#include <signal.h>

#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

bool done;

}  // namespace

bool survives_refused_writes() { return __atomic_load_n(&done, __ATOMIC_RELAXED); }

// Unlike an ignored signal, a handler that does nothing is not inherited by the
// programs that the process starts.
void survive_refused_writes() {
  // Looked at first: many writes come here, and an exchange is slow.
  if (survives_refused_writes() || __atomic_exchange_n(&done, true, __ATOMIC_RELAXED)) return;
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
