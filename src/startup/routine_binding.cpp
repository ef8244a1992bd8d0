// Routines that an image binds by name at start-up.

#include "failure/runtime_error.h"
#include "platform/platform.h"
#include "startup/start_up.h"
#include "strings/c_string.h"

namespace tarn {

void* ProcessDynt(const char* routine, const char* library) {
  platform::Module module = platform::GetModuleHandleA(library);
  if (!module) {
    if (!platform::LoadLibraryA(library)) return nullptr;
    module = platform::GetModuleHandleA(library);
    if (!module) return nullptr;
  }
  return reinterpret_cast<void*>(platform::GetProcAddress(module, routine));
}

void rlo_error() { text_error("Attempt to call a function in an rlo library failed"); }

extern "C" const char* __attempt_rlo_load(Routine* slot, const char* texts) {
  const char* const routine = strend(texts) + 1;
  const auto found = reinterpret_cast<Routine>(ProcessDynt(routine, texts));
  *slot = found ? found : rlo_error;
  return strend(routine) + 1;
}

}  // namespace tarn
