// The ends of a program. exit runs what the end of an image runs in any program
// (src/startup/program_support/end.cpp: atexit, destructors, then the DLLs) after the
// objects of its thread, writes what the streams hold and ends the process; _exit only ends it.
// DLLs that were loaded by name end before those that the program is linked to.
#include <stdlib.h>

#include "../crt.h"
#include "../images/loaded.h"
#include "../streams/stream.h"
#include "../threads/objects.h"

CRT_API _onexit_t _onexit(_onexit_t routine) {
  return atexit(reinterpret_cast<void (*)()>(routine)) == 0 ? routine : nullptr;
}

CRT_API void _exit(int status) { ExitProcess(static_cast<UINT>(status)); }

CRT_API void _cexit(void) {
  crt::end_thread_objects();
  tarn_end_of_objects();
  crt::end_loaded();
  tarn_end_of_image();
  crt::flush_all();
}
CRT_API void _c_exit(void) {}

// Ends the program, whichever image calls it; if the program is not hosted, what the calling image
// has to end.
CRT_API void exit(int status) {
  auto* const end = crt::end_of_program();
  end ? end() : _cexit();
  ExitProcess(static_cast<UINT>(status));
}
