#include "loaded.h"

#include <process.h>

#include "../crt.h"
#include "../threads/callbacks.h"
#include "shared_block.h"
#include "variables.h"

extern "C" {
int __BrackenStartup();
extern IMAGE_DOS_HEADER __ImageBase;
BOOL WINAPI DllMain(HANDLE image, DWORD reason, void* process_ends) __attribute__((weak));
}

namespace {

struct Loaded {
  Loaded* before;
  void (*end)();
};

struct Images {
  void (*end_program)();  // null if the program is not hosted
  Loaded* last;           // the DLLs that came after it
};

Images* images;  // null before this image's constructors, of which one may call exit
Loaded own;

bool is_freed;

void detach() {
  crt::listener_of_threads = nullptr;
  DllMain(&__ImageBase, DLL_PROCESS_DETACH, is_freed ? nullptr : &images);
}

void leave_images() {
  Loaded** place = &images->last;
  while (*place && *place != &own) place = &(*place)->before;
  if (*place) *place = own.before;
}

}  // namespace

void crt::join_images() {
  images = static_cast<Images*>(shared_block("HOSTED IMAGES", sizeof(Images)));
  if (is_program()) {
    images->end_program = _cexit;
  } else if (images->end_program) {
    own = {images->last, tarn_end_of_image};
    images->last = &own;
  }
}

bool crt::has_hosted_program() { return !images || images->end_program; }

void crt::end_loaded() {
  while (Loaded* const last = images ? images->last : nullptr) {
    images->last = last->before;
    last->end();
  }
}

void crt::end_program() {
  if (images && images->end_program) {
    images->end_program();
  } else {
    _cexit();
  }
}

// finish_image makes it the entry point of a hosted DLL. When the process ends, exit has
// done what is to do here.
CRT_API int tarn_library_entry(void* image, DWORD reason, void* process_ends) {
  if (reason != DLL_PROCESS_DETACH) {
    const int is_started = __BrackenStartup();
    if (reason != DLL_PROCESS_ATTACH || !is_started || !DllMain) return is_started;
    tarn_before_end = detach;
    crt::listener_of_threads = DllMain;
    if (DllMain(image, reason, process_ends)) return TRUE;
    process_ends = nullptr;  // as if freed
  }
  if (images && !process_ends) {
    is_freed = true;
    leave_images();
    tarn_end_of_objects();
    crt::leave_variables();
  }
  return reason == DLL_PROCESS_DETACH;
}
