#include "platform/posix/loader/module_list.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/loader/loader.h"
#include "platform/posix/system_library/system_library.h"

extern "C" {
// The linker's names for the bounds of this executable.
extern const char __executable_start[], _end[];
}

namespace tarn::platform {

ModuleRecord modules[kMostModules];

namespace {

constexpr std::uint32_t kUnchangedCount = 2;  // flag of GetModuleHandleEx
constexpr std::uint64_t kLargestOrdinal = 0xFFFF;

std::size_t listed;  // records that were ever used

int own_library = kMainImage;  // whose code this executable holds

constexpr int kMostNativeNames = 4;
const char* (*native_names[kMostNativeNames])(const void*);

// Recursive, as a DLL's initialisers may load further DLLs.
pthread_mutex_t list_mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

void set_native(ModuleRecord* record, void* (*find)(const char* name)) {
  record->headers.dos.magic = pe::kDosMagic;
  record->headers.dos.pe_offset = offsetof(NativeHeaders, nt);
  record->headers.nt.magic = pe::kPeMagic;
  record->headers.nt.file.machine = pe::kMachineAmd64;
  record->headers.nt.optional.magic = pe::kOptionalMagic64;
  record->find = find;
  set_state(record, ModuleState::kNative);
}

int index_of(const ModuleRecord& record) { return static_cast<int>(&record - modules); }

void* find_nothing(const char*) { return nullptr; }

// There is room: native libraries come first, and are few.
int offer(const char* name, void* (*find)(const char*)) {
  const int index = free_module();
  ModuleRecord* const record = &modules[index];
  set_path(record, name);
  set_native(record, find);
  return index;
}

// Apart, as most callers do not need so much of the stack.
[[gnu::noinline]] void name_native_program() {
  offer_system_library();
  char own[kPathSize];
  const ssize_t length = readlink("/proc/self/exe", own, sizeof own - 1);
  own[length > 0 ? length : 0] = '\0';
  char path[kModulePathSize];
  ModuleRecord* const record = &modules[kMainImage];
  set_path(record, from_host_path(own, path, sizeof path) < sizeof path ? path : "");
  set_native(record, &find_nothing);
}

// Libraries of the system that are listed when somebody names them.
constexpr struct {
  const char* name;
  void* (*find)(const char* name);
} kOnDemand[] = {{"BCRYPT.DLL", &find_bcrypt_routine},
                 {"ADVAPI32.DLL", &find_advapi_routine},
                 {"SHELL32.DLL", &find_shell_routine},
                 {"SHLWAPI.DLL", &find_path_routine}};

std::uint32_t no_length(std::uint32_t code) {
  SetLastError(code);
  return 0;
}

std::uint32_t copy_name(const char* name, char* buffer, std::uint32_t size) {
  const std::size_t length = strlen(name);
  if (size == 0) return no_length(kErrorInsufficientBuffer);
  const std::size_t taken = length < size ? length : size - 1;
  memcpy(buffer, name, taken);
  buffer[taken] = '\0';
  if (taken == length) return static_cast<std::uint32_t>(length);
  SetLastError(kErrorInsufficientBuffer);
  return size;
}

}  // namespace

// ---- The list -----------------------------------------------------------------

std::span<ModuleRecord> listed_modules() {
  return {modules, __atomic_load_n(&listed, __ATOMIC_ACQUIRE)};
}

void set_state(ModuleRecord* record, ModuleState state) {
  __atomic_store(&record->state, &state, __ATOMIC_RELEASE);
  const auto end = static_cast<std::size_t>(record - modules) + 1;
  if (end > listed) __atomic_store_n(&listed, end, __ATOMIC_RELEASE);
}

bool set_path(ModuleRecord* record, const char* path) {
  char* const copy = strdup(path);
  if (copy == nullptr) return false;
  free(record->path);
  record->path = copy;
  return true;
}

const char* path_of(const ModuleRecord& record) { return record.path ? record.path : ""; }

ModuleLock::ModuleLock() { pthread_mutex_lock(&list_mutex); }

ModuleLock::~ModuleLock() { pthread_mutex_unlock(&list_mutex); }

int free_module() {
  for (int i = kMainImage + 1; i < kMostModules; ++i) {
    if (modules[i].state == ModuleState::kFree) return i;
  }
  return kNoModule;
}

void offer_system_library() {
  static bool offered;
  if (!offered) offer("KERNEL32.DLL", &find_system_routine);
  offered = true;
}

void name_main_image() {
  if (modules[kMainImage].state == ModuleState::kFree) name_native_program();
}

Module handle_of(ModuleRecord* record) {
  return record->state == ModuleState::kNative ? static_cast<void*>(&record->headers)
                                               : record->image.base;
}

int module_of(Module handle) {
  name_main_image();
  if (!handle) return kMainImage;
  for (ModuleRecord& record : listed_modules()) {
    if (record.state != ModuleState::kFree && handle_of(&record) == handle) return index_of(record);
  }
  return kNoModule;
}

int module_at(const void* address) {
  name_main_image();
  const auto value = reinterpret_cast<std::uint64_t>(address);
  for (const ModuleRecord& record : listed_modules()) {
    const auto base = reinterpret_cast<std::uint64_t>(record.image.base);
    const bool loaded =
        record.state == ModuleState::kLoading || record.state == ModuleState::kStarted;
    if (loaded && value >= base && value - base < record.image.size) return index_of(record);
  }
  const bool own = value >= reinterpret_cast<std::uint64_t>(__executable_start) &&
                   value < reinterpret_cast<std::uint64_t>(_end);
  return own ? own_library : kNoModule;
}

bool library_name(const char* name, char (&full)[kPathSize]) {
  const char* const dot = strrchr(base_name(name), '.');
  const std::size_t length = strlen(name);
  if (length == 0 || length + sizeof ".DLL" > kPathSize) return false;
  memcpy(full, name, length + 1);
  if (!dot) strcpy(full + length, ".DLL");
  if (dot && dot[1] == '\0') full[length - 1] = '\0';
  return true;
}

int module_named(const char* full) {
  name_main_image();
  char whole[kModulePathSize];
  char host[kPathSize];
  const bool folder = base_name(full) != full;
  if (folder && (!to_host_path(full, host) || !to_program_path(host, whole, sizeof whole))) {
    return kNoModule;
  }
  for (const ModuleRecord& record : listed_modules()) {
    if (record.state == ModuleState::kFree) continue;
    if (strcasecmp(folder ? path_of(record) : base_name(path_of(record)), folder ? whole : full) ==
        0) {
      return index_of(record);
    }
  }
  for (const auto& library : kOnDemand) {
    if (strcasecmp(full, library.name) == 0 && free_module() != kNoModule) {
      return offer(library.name, library.find);
    }
  }
  return kNoModule;
}

void* find_export(const ModuleRecord& record, const char* name, std::uint32_t ordinal) {
  if (record.state == ModuleState::kNative) return name ? record.find(name) : nullptr;
  return name ? find_image_export(record.image, name) : find_image_export(record.image, ordinal);
}

// ---- For the rest of the back end -----------------------------------------------

void offer_native_libraries(const NativeLibrary* libraries, int count) {
  const ModuleLock lock;
  offer_system_library();
  for (int i = 0; i < count; ++i) {
    const int index = offer(libraries[i].name, libraries[i].find);
    if (i == 0) own_library = index;
    if (i < kMostNativeNames) native_names[i] = libraries[i].name_of;
  }
}

bool find_code_image(std::uint64_t address, CodeImage* found) {
  for (ModuleRecord& record : listed_modules()) {
    ModuleState state;
    __atomic_load(&record.state, &state, __ATOMIC_ACQUIRE);
    if (state != ModuleState::kLoading && state != ModuleState::kStarted) continue;
    const auto base = reinterpret_cast<std::uint64_t>(record.image.base);
    if (address - base >= record.image.size) continue;
    *found = {base, &record.image, record.image.exceptions};
    return true;
  }
  return false;
}

const char* native_routine_name(const void* address) {
  for (const auto name_of : native_names) {
    const char* const name = name_of ? name_of(address) : nullptr;
    if (name) return name;
  }
  return nullptr;
}

bool has_program() {
  const ModuleLock lock;
  return modules[kMainImage].state == ModuleState::kLoading ||
         modules[kMainImage].state == ModuleState::kStarted;
}

// ---- Operations -----------------------------------------------------------------

Module GetModuleHandleA(const char* name) {
  const ModuleLock lock;
  int index = kMainImage;
  char full[kPathSize];
  if (name) index = library_name(name, full) ? module_named(full) : kNoModule;
  if (index == kNoModule) {
    SetLastError(kErrorModuleNotFound);
    return nullptr;
  }
  name_main_image();
  return handle_of(&modules[index]);
}

Bool GetModuleHandleExA(std::uint32_t flags, const void* name, Module* module) {
  const ModuleLock lock;
  if (flags & kModuleFromAddress) {
    const int index = module_at(name);
    *module = index != kNoModule ? handle_of(&modules[index]) : nullptr;
  } else {
    *module = GetModuleHandleA(static_cast<const char*>(name));
  }
  if (!*module) return fail(kErrorModuleNotFound);
  if (!(flags & kUnchangedCount)) ++modules[module_of(*module)].references;
  return 1;
}

Bool GetModuleHandleExW(std::uint32_t flags, const void* name, Module* module) {
  if (flags & kModuleFromAddress || !name) return GetModuleHandleExA(flags, name, module);
  // Names of modules are bytes here.
  char narrow[kPathSize];
  const auto* const wide = static_cast<const char16_t*>(name);
  std::size_t length = 0;
  for (; wide[length]; ++length) {
    if (length == kPathSize - 1 || wide[length] > 0xFF) return fail(kErrorModuleNotFound);
    narrow[length] = static_cast<char>(wide[length]);
  }
  narrow[length] = '\0';
  return GetModuleHandleExA(flags, narrow, module);
}

Module GetModuleHandleW(const char16_t* name) {
  Module module = nullptr;
  return GetModuleHandleExW(kUnchangedCount, name, &module) ? module : nullptr;
}

void* GetProcAddress(Module module, const char* name) {
  const ModuleLock lock;
  const int index = module_of(module);
  if (index == kNoModule) {
    SetLastError(kErrorModuleNotFound);
    return nullptr;
  }
  const auto value = reinterpret_cast<std::uint64_t>(name);
  const bool is_ordinal = value <= kLargestOrdinal;
  void* const found =
      find_export(modules[index], is_ordinal ? nullptr : name, static_cast<std::uint32_t>(value));
  if (!found) SetLastError(kErrorProcedureNotFound);
  return found;
}

std::uint32_t GetModuleFileNameA(Module module, char* buffer, std::uint32_t size) {
  const ModuleLock lock;
  const int index = module_of(module);
  if (index == kNoModule) return no_length(kErrorModuleNotFound);
  const char* const path = path_of(modules[index]);
  const char* const main_path = path_of(modules[kMainImage]);
  // A native library appears where Windows finds it: next to the program.
  if (index == kMainImage || modules[index].state != ModuleState::kNative)
    return copy_name(path, buffer, size);
  char beside[2 * kModulePathSize];
  snprintf(beside, sizeof beside, "%.*s%s", static_cast<int>(base_name(main_path) - main_path),
           main_path, path);
  return copy_name(beside, buffer, size);
}

std::uint32_t GetModuleFileNameW(Module module, char16_t* buffer, std::uint32_t size) {
  char path[2 * kModulePathSize];
  char16_t wide[sizeof path];
  if (GetModuleFileNameA(module, path, sizeof path) == 0) return 0;
  const std::uint32_t length = put_wide(path, wide, sizeof path);
  if (size == 0) return no_length(kErrorInsufficientBuffer);
  const std::uint32_t taken = length < size ? length : size - 1;
  memcpy(buffer, wide, taken * sizeof *wide);
  buffer[taken] = 0;
  if (taken == length) return length;
  SetLastError(kErrorInsufficientBuffer);
  return size;
}

Bool EnumProcessModules(Handle, Module* handles, std::uint32_t size, std::uint32_t* needed) {
  const ModuleLock lock;
  name_main_image();
  std::uint32_t used = 0;
  for (ModuleRecord& record : listed_modules()) {
    if (record.state == ModuleState::kFree) continue;
    if ((used + 1) * sizeof(Module) <= size) handles[used] = handle_of(&record);
    ++used;
  }
  *needed = static_cast<std::uint32_t>(used * sizeof(Module));
  return 1;
}

std::uint32_t GetModuleBaseNameA(Handle, Module module, char* buffer, std::uint32_t size) {
  const ModuleLock lock;
  const int index = module_of(module);
  if (index == kNoModule) return no_length(kErrorModuleNotFound);
  return copy_name(base_name(path_of(modules[index])), buffer, size);
}

}  // namespace tarn::platform
