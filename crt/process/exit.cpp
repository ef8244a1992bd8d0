// The ends of a program. exit runs what atexit, the compiler and the destructors of
// static objects have registered, the last one first, flushes the streams and ends
// the process; _exit only ends it.
#include <stdlib.h>

#include "../crt.h"
#include "../streams/stream.h"
#include "lock.h"

extern "C" {
extern const unsigned char image_base[] __asm__("__ImageBase");
// The linker's list of routines of attribute `destructor`: a mark, their image
// offsets, which finish_image puts there, and a 0.
extern const unsigned long long destructor_list[] __asm__("__DTOR_LIST__");
}

namespace {

using Destructor = void (*)(void*);

struct Registration {
  Registration* before;
  Destructor routine;
  void* argument;
};

Registration* registrations;
crt::Lock registrations_lock;
bool ending;

int add(Destructor routine, void* argument) {
  auto* const made = static_cast<Registration*>(malloc(sizeof(Registration)));
  if (!made) return -1;
  const crt::Locked locked(registrations_lock);
  *made = {registrations, routine, argument};
  registrations = made;
  return 0;
}

void run_registrations() {
  while (Registration* const last = registrations) {
    registrations = last->before;  // it may register more
    last->routine(last->argument);
  }
}

void run_destructors() {
  if (ending) return;
  ending = true;
  run_registrations();
  for (const auto* offset = destructor_list + 1; *offset != 0; ++offset) {
    reinterpret_cast<void (*)()>(const_cast<unsigned char*>(image_base) + *offset)();
  }
  run_registrations();
}

}  // namespace

CRT_API int atexit(void (*routine)(void)) {
  return add(reinterpret_cast<Destructor>(routine), nullptr);
}
CRT_API int __cxa_atexit(Destructor routine, void* argument, void*) {
  return add(routine, argument);
}
CRT_API _onexit_t _onexit(_onexit_t routine) {
  return add(reinterpret_cast<Destructor>(reinterpret_cast<void*>(routine)), nullptr) == 0
             ? routine
             : nullptr;
}

CRT_API void _exit(int status) { ExitProcess(static_cast<UINT>(status)); }

CRT_API void _cexit(void) {
  run_destructors();
  crt::flush_all();
}
CRT_API void _c_exit(void) {}

CRT_API void exit(int status) {
  _cexit();
  ExitProcess(static_cast<UINT>(status));
}

CRT_API void tarn_end_of_image(void) { run_destructors(); }
