// The list of modules: the main image, the native libraries, and what was loaded
// from files. All but the lock is for callers that hold the lock.
#pragma once

#include <pthread.h>

#include <span>

#include "platform/posix/base/base.h"
#include "platform/posix/loader/image_loader.h"

namespace tarn::platform {

inline constexpr int kMostModules = 64;  // one bit each in ModuleRecord::needs
inline constexpr int kMainImage = 0;
inline constexpr int kNoModule = -1;
inline constexpr std::size_t kModulePathSize = kPathSize + 2;  // with "Z:" before it

// What a caller may read at the handle of a module without an image.
struct NativeHeaders {
  pe::DosHeader dos;
  pe::NtHeaders nt;
};

enum class ModuleState {
  kFree,
  kNative,   // its routines lie in this executable
  kLoading,  // mapped; nothing of it has run
  kStarted,
};

struct ModuleRecord {
  ModuleState state;
  char* path;             // set_path, path_of
  NativeHeaders headers;  // of a native module
  void* (*find)(const char* name);
  std::uint64_t needs;       // the modules that it imports from
  std::uint32_t references;  // LoadLibraryA's, and one for each module that needs it
  std::uint32_t load;        // the load that brought it in
  Image image;               // of a loaded module; last, so that the rest shares pages
};
extern ModuleRecord modules[kMostModules];

// Those that were ever used: the others are free, and their memory has never been touched.
// Needs no lock.
std::span<ModuleRecord> listed_modules();

// Its path as programs see it. It is copied; false if there is no memory for that, and then a
// module that had none has an empty one.
bool set_path(ModuleRecord* record, const char* path);
const char* path_of(const ModuleRecord& record);

// Of a record in `modules`. What it says besides is there before and as long as its image
// counts as loaded (find_code_image).
void set_state(ModuleRecord* record, ModuleState state);

class ModuleLock {
 public:
  ModuleLock();
  ~ModuleLock();
  ModuleLock(const ModuleLock&) = delete;
  ModuleLock& operator=(const ModuleLock&) = delete;
};

// Once. It comes before all other modules.
void offer_system_library();

// Until there is a program, this executable is the main image. Called before the
// list is used, but for loading a program: to find this executable's name takes longer
// than the rest of it.
void name_main_image();

// The index of a module in the list, or kNoModule.
int free_module();
int module_of(Module handle);  // null: the main image
int module_at(const void* address);
int module_named(const char* full);  // as library_name makes it; a path is compared whole

Module handle_of(ModuleRecord* record);

// The address of an export; by `ordinal` if `name` is null. Null if there is none.
void* find_export(const ModuleRecord& record, const char* name, std::uint32_t ordinal);

// The name with ".DLL" if it has no extension; a dot at the end stands for none.
// False for an empty name and for one that is too long.
bool library_name(const char* name, char (&full)[kPathSize]);

}  // namespace tarn::platform
