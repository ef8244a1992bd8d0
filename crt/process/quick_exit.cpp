#include <stdlib.h>

#include "../images/lock.h"

using namespace crt;

extern "C" {
int at_quick_exit(void (*routine)(void));
[[noreturn]] void quick_exit(int status);
}

namespace {

// ISO C asks for 32 at least.
void (*routines[64])(void);
int count;
Lock lock;

}  // namespace

CRT_API int at_quick_exit(void (*routine)(void)) {
  const Locked locked(lock);
  if (count == sizeof routines / sizeof routines[0]) return -1;
  routines[count++] = routine;
  return 0;
}

// It keeps the lock: another thread that calls it waits for the end, one that calls
// at_quick_exit too.
CRT_API void quick_exit(int status) {
  lock.acquire();
  while (count > 0) routines[--count]();
  _exit(status);
}
