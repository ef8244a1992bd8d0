// Program images and libraries: the list of modules as tarnrun fills it,
// loading, and the entry into a program. The operations on modules are declared
// in platform/platform.h. State: the list of modules, under one lock.
//
//   image_loader    an image file in memory, checked, bound and protected
//   module_list     the list and the look-ups in it
//   search          where files are looked for
//   carried         the files that a standalone program carries
//   load            a file and what it needs
//   entry           the entries of DLLs, the program's stack and its entry
//
// The list has the main image (this executable until a program is loaded), the
// native libraries whose routines this executable holds, and each DLL that was
// loaded from a file: at most 64. A handle is the address of image headers in
// memory, also for a native library.
//
// A DLL that is loaded at run time is unloaded when FreeLibrary was called
// as often as LoadLibraryA and no other image imports from it; DLLs that
// import from each other stay.
#pragma once

#include "platform/pe_format.h"
#include "platform/posix/base/base.h"

namespace tarn::platform {

// Why a file is not loaded: a line to put after the file's name.
struct LoadError {
  char text[1024];
  bool not_found;  // there is no such file
  bool is_folder;  // the name is a folder's
};

// Fills `error` as printf does; false, for the caller to return. Control
// characters, which may occur in a hostile file's names, become '?'.
[[gnu::format(printf, 2, 3)]] bool refuse(LoadError* error, const char* format, ...);

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

// The loaded image that holds `address`, and its unwind records. Takes no lock: an image
// on the stack stays. False if there is none.
struct Image;
struct CodeImage {
  std::uint64_t base;
  const Image* image;
  pe::DataDirectory exceptions;
};
bool find_code_image(std::uint64_t address, CodeImage* image);

// Whether an offset lies in an executable section of the image.
bool is_code(const Image& image, std::uint64_t offset);

// Loads a program and every DLL that it needs, and makes a stack of the size that
// it asks for. None of their code has run, and none stays loaded if one is
// refused.
bool load_program(const char* host_path, LoadError* error);

// This executable is a standalone program: a runner that carries an image, and runs that
// and no other.
bool carries_program();

// As load_program, of the image that this executable carries, whose path is then the
// executable's. It and its DLLs are looked for among what is carried first.
bool load_carried_program(LoadError* error);

// Calls the entries of the program's DLLs, then its own on its stack. Returns
// only if a DLL fails to start.
void run_program(LoadError* error);

// A program is loaded, so that this executable can run others.
bool has_program();

// True for the file of a program that load_program would take, as far as its
// headers show.
bool is_finished_program(const char* host_path);

// Searches for a file that `wanted` accepts where programs are looked for: in
// the program's folder, the current one, those on PATH. `name` is a host name.
bool find_to_start(const char* name, bool (*wanted)(const char* host_path),
                   char (&found)[kPathSize]);

}  // namespace tarn::platform
