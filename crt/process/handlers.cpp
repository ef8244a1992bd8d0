// What programs set for the run-time's own failures. The report comes instead, so these are
// only remembered: a program that asks gets what it set.
#include <stdlib.h>

#include "../crt.h"

namespace {

template <class Value>
Value exchange(Value* place, Value value) {
  return __atomic_exchange_n(place, value, __ATOMIC_RELAXED);
}

_invalid_parameter_handler invalid_parameter;
_purecall_handler pure_call;
int error_mode;
unsigned abort_flags;

}  // namespace

CRT_API _invalid_parameter_handler
_set_invalid_parameter_handler(_invalid_parameter_handler handler) {
  return exchange(&invalid_parameter, handler);
}
CRT_API _invalid_parameter_handler _get_invalid_parameter_handler(void) {
  return invalid_parameter;
}
CRT_API _purecall_handler _set_purecall_handler(_purecall_handler handler) {
  return exchange(&pure_call, handler);
}
CRT_API _purecall_handler _get_purecall_handler(void) { return pure_call; }
CRT_API int _set_error_mode(int mode) {
  constexpr int kAsk = 3;
  if (mode == kAsk) return error_mode;
  return mode < 0 || mode > 2 ? crt::fail_with(EINVAL) : exchange(&error_mode, mode);
}
CRT_API unsigned _set_abort_behavior(unsigned flags, unsigned mask) {
  return exchange(&abort_flags, (abort_flags & ~mask) | (flags & mask));
}
CRT_API void _sleep(unsigned long milliseconds) { Sleep(milliseconds); }
