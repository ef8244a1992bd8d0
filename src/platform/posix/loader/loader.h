// The module list, as tarnrun fills it. The module operations of
// platform/platform.h read it.
//
// In it stand the main image (this executable until a program is loaded), the
// native libraries whose routines this executable holds, and each DLL that was
// loaded from a file. At most 64; their handles lead to image headers in
// memory, also those of native ones.
//
// A DLL that is loaded at run time is given back when FreeLibrary was called
// as often as LoadLibraryA and no other image imports from it; DLLs that
// import from each other stay.
#pragma once

#include "platform/posix/base/base.h"
#include "platform/posix/loader/image_loader.h"

namespace tarn::platform {

struct NativeLibrary {
  const char* name;  // with its extension
  void* (*find)(const char* name);
  const char* (*name_of)(const void* routine) = nullptr;  // null: it names none
};

// From now on images may import from these. Addresses in this executable
// belong to the first of them. Called once, before load_program.
void offer_native_libraries(const NativeLibrary* libraries, int count);

// The exported name of the routine that begins at `address` in one of them, or
// null. Takes no lock.
const char* native_routine_name(const void* address);

// Loads a program and every DLL that it needs. Nothing of them has run, and
// none stays if one is refused.
bool load_program(const char* host_path, Refusal* refusal);

// Calls the entries of the program's DLLs, then its own, on a stack of the
// size that the image asks for. Comes back only if there is no such stack or
// a DLL fails to start.
void run_program(Refusal* refusal);

// A program is loaded, so that this executable can run others.
bool has_program();

// Looks for a file that `wanted` takes where programs are looked for: in the
// program's folder, the current one, those on PATH. `name` is one of the host.
bool find_to_start(const char* name, bool (*wanted)(const char* host_path),
                   char (&found)[kPathSize]);

}  // namespace tarn::platform
