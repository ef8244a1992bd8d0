#include "platform/posix/loader/loader.h"

#include <errno.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/platform.h"
#include "platform/posix/base/base.h"
#include "platform/posix/threads/thread_slots.h"

extern "C" {
// The linker's names for the bounds of this executable.
extern const char __executable_start[], _end[];
[[noreturn]] void tarn_enter_program(void* stack_end, const void* entry);
}

namespace tarn::platform {
namespace {

constexpr int kMostModules = 64;  // one bit each in ModuleRecord::needs
constexpr int kNone = -1;
constexpr std::size_t kModulePathSize = kPathSize + 2;  // "Z:" in front
constexpr std::uint32_t kUnchangedCount = 2;            // flag of GetModuleHandleEx
constexpr std::uint32_t kErrorDllInitFailed = 1114;
constexpr std::uint32_t kProcessDetach = 0, kProcessAttach = 1;
constexpr std::uint64_t kLargestOrdinal = 0xFFFF;

// The host's routines that a program calls need more stack than Windows'.
constexpr std::uint64_t kSmallestStack = std::uint64_t{1} << 20;
constexpr std::uint64_t kStackGuard = std::uint64_t{1} << 20;

// What a caller may read at the handle of a module without an image.
struct NativeHeaders {
  pe::DosHeader dos;
  pe::NtHeaders nt;
};

enum State {
  kFree,
  kNative,   // its routines lie in this executable
  kLoading,  // mapped; nothing of it has run
  kStarted,
};

struct ModuleRecord {
  State state;
  char path[kModulePathSize];  // as programs see it
  Image image;                 // of a loaded module
  NativeHeaders headers;       // of a native one
  void* (*find)(const char* name);
  std::uint64_t needs;       // the modules that it imports from
  std::uint32_t references;  // LoadLibraryA's, and one for each module that needs it
  std::uint32_t load;        // the load that brought it in
};

constexpr int kMainImage = 0;
ModuleRecord modules[kMostModules];
int own_library = kMainImage;  // whose code this executable holds
std::uint32_t last_load;

constexpr int kMostNativeNames = 4;
const char* (*native_names[kMostNativeNames])(const void*);

// Modules in the order in which their entries are called: what a module needs
// comes before it.
struct StartOrder {
  int count;
  int modules[kMostModules];
};
StartOrder program_order;

// Recursive, as a DLL's initialisers may load further DLLs.
pthread_mutex_t list_mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

struct ListLock {
  ListLock() { pthread_mutex_lock(&list_mutex); }
  ~ListLock() { pthread_mutex_unlock(&list_mutex); }
};

// ---- Names and places ---------------------------------------------------------

const char* base_name(const char* path) {
  const char* base = path;
  for (const char* p = path; *p; ++p) {
    if (*p == '\\' || *p == '/' || *p == ':') base = p + 1;
  }
  return base;
}

bool has_folder(const char* name) { return base_name(name) != name; }

bool is_absolute(const char* name) {
  return name[0] == '\\' || name[0] == '/' || (name[0] != '\0' && name[1] == ':');
}

// With ".DLL" if it has no extension; a dot at the end stands for none.
bool library_name(const char* name, char (&full)[kPathSize]) {
  const char* const dot = strrchr(base_name(name), '.');
  const std::size_t length = strlen(name);
  if (length == 0 || length + sizeof ".DLL" > kPathSize) return false;
  memcpy(full, name, length + 1);
  if (!dot) strcpy(full + length, ".DLL");
  if (dot && dot[1] == '\0') full[length - 1] = '\0';
  return true;
}

// The form in which programs see a file of the host: absolute, from "Z:".
bool program_path(const char* host_path, char* path, std::size_t size) {
  constexpr char kAsItIs[] = "\\\\?\\";  // keeps dots and blanks at the end
  char whole[2 * kPathSize + sizeof kAsItIs];
  char resolved[kPathSize];
  std::size_t used = sizeof kAsItIs - 1;
  memcpy(whole, kAsItIs, sizeof kAsItIs);
  if (host_path[0] != '/') {
    if (!getcwd(whole + used, kPathSize)) {
      fail_by_errno();
      return false;
    }
    used = strlen(whole);
    if (whole[used - 1] != '/') whole[used++] = '/';
  }
  // Two at the start would name another machine.
  while (host_path[0] == '/' && host_path[1] == '/') ++host_path;
  const std::size_t length = strnlen(host_path, kPathSize);
  memcpy(whole + used, host_path, length);
  whole[used + length] = '\0';
  return to_host_path(whole, resolved) && from_host_path(resolved, path, size) < size;
}

// Folders to search, one by one. `list` has host folders.
struct Places {
  bool has_defaults;  // first the program's folder and the current one
  int next_default;
  const char* list;  // null at its end
  char separator;
};

Places default_places() { return {true, 0, getenv("PATH"), ':'}; }

bool program_folder(char (&folder)[kPathSize]) {
  if (!to_host_path(modules[kMainImage].path, folder)) return false;
  char* const slash = strrchr(folder, '/');
  if (!slash) return false;
  slash[slash == folder ? 1 : 0] = '\0';
  return true;
}

bool next_place(Places* places, char (&folder)[kPathSize]) {
  if (places->has_defaults && places->next_default == 0) {
    ++places->next_default;
    if (program_folder(folder)) return true;
  }
  if (places->has_defaults && places->next_default == 1) {
    ++places->next_default;
    strcpy(folder, ".");
    return true;
  }
  while (places->list) {
    const char* const start = places->list;
    const char* const end = strchr(start, places->separator);
    const std::size_t length = end ? static_cast<std::size_t>(end - start) : strlen(start);
    places->list = end ? end + 1 : nullptr;
    if (length == 0 || length >= kPathSize) continue;
    memcpy(folder, start, length);
    folder[length] = '\0';
    return true;
  }
  return false;
}

bool is_file(const char* host_path) {
  struct stat facts;
  return stat(host_path, &facts) == 0 && !S_ISDIR(facts.st_mode);
}

bool find_in_any_case(char (&host_path)[kPathSize]) {
  match_names(host_path);
  return is_file(host_path);
}

// Looks for `name`, to which the extension is added if it has no dot. A folder
// of a list that a caller gave is a path of the caller's.
bool find_file(const char* name, const char* extension, Places places, char (&found)[kPathSize]) {
  char relative[kPathSize];
  const bool add = extension && !strchr(base_name(name), '.');
  if (!translate_path(name, relative)) return false;
  if (add) {
    if (strlen(relative) + strlen(extension) >= kPathSize) {
      fail(kErrorFileNameTooLong);
      return false;
    }
    strcat(relative, extension);
  }
  if (is_absolute(name)) {
    strcpy(found, relative);
    if (find_in_any_case(found)) return true;
    fail(kErrorFileNotFound);
    return false;
  }
  char folder[kPathSize];
  while (next_place(&places, folder)) {
    if (!places.has_defaults) {
      char host[kPathSize];
      if (!to_host_path(folder, host)) continue;
      strcpy(folder, host);
    }
    const int length = snprintf(found, kPathSize, "%s/%s", folder, relative);
    if (length < static_cast<int>(kPathSize) && find_in_any_case(found)) return true;
  }
  fail(kErrorFileNotFound);
  return false;
}

// ---- The list -----------------------------------------------------------------

void set_native(ModuleRecord* record, void* (*find)(const char* name)) {
  record->headers.dos.magic = pe::kDosMagic;
  record->headers.dos.pe_offset = offsetof(NativeHeaders, nt);
  record->headers.nt.magic = pe::kPeMagic;
  record->headers.nt.file.machine = pe::kMachineAmd64;
  record->headers.nt.optional.magic = pe::kOptionalMagic64;
  record->find = find;
  record->state = kNative;
}

void* find_nothing(const char*) { return nullptr; }

// What the script interpreter and the program support in each image call of the
// system.
void* find_system_routine(const char* name) {
  if (strcmp(name, "ExitProcess") == 0) return reinterpret_cast<void*>(&ExitProcess);
  if (strcmp(name, "GlobalAlloc") == 0) return reinterpret_cast<void*>(&GlobalAlloc);
  if (strcmp(name, "TlsAlloc") == 0) return reinterpret_cast<void*>(&TlsAlloc);
  if (strcmp(name, "TlsGetValue") == 0) return reinterpret_cast<void*>(&TlsGetValue);
  if (strcmp(name, "TlsSetValue") == 0) return reinterpret_cast<void*>(&TlsSetValue);
  if (strcmp(name, "VirtualProtect") == 0) return reinterpret_cast<void*>(&VirtualProtect);
  return nullptr;
}

int free_module() {
  for (int i = kMainImage + 1; i < kMostModules; ++i) {
    if (modules[i].state == kFree) return i;
  }
  return kNone;
}

// There is room: native libraries come first, and are few.
int offer(const char* name, void* (*find)(const char*)) {
  const int index = free_module();
  ModuleRecord* const record = &modules[index];
  snprintf(record->path, sizeof record->path, "%s", name);
  set_native(record, find);
  return index;
}

// Until there is a program, this executable is the main image. The system's
// library is there from the start.
void name_main_image() {
  static bool system_offered;
  ModuleRecord* const record = &modules[kMainImage];
  if (record->state != kFree) return;
  if (!system_offered) offer("KERNEL32.DLL", &find_system_routine);
  system_offered = true;
  char own[kPathSize];
  const ssize_t length = readlink("/proc/self/exe", own, sizeof own - 1);
  own[length > 0 ? length : 0] = '\0';
  if (!from_host_path(own, record->path, sizeof record->path)) record->path[0] = '\0';
  set_native(record, &find_nothing);
}

Module handle_of(ModuleRecord* record) {
  return record->state == kNative ? static_cast<void*>(&record->headers) : record->image.base;
}

int module_of(Module handle) {
  name_main_image();
  if (!handle) return kMainImage;
  for (int i = 0; i < kMostModules; ++i) {
    if (modules[i].state != kFree && handle_of(&modules[i]) == handle) return i;
  }
  return kNone;
}

int module_at(const void* address) {
  name_main_image();
  const auto value = reinterpret_cast<std::uint64_t>(address);
  for (int i = 0; i < kMostModules; ++i) {
    const ModuleRecord& record = modules[i];
    const auto base = reinterpret_cast<std::uint64_t>(record.image.base);
    const bool loaded = record.state == kLoading || record.state == kStarted;
    if (loaded && value >= base && value - base < record.image.size) return i;
  }
  const bool own = value >= reinterpret_cast<std::uint64_t>(__executable_start) &&
                   value < reinterpret_cast<std::uint64_t>(_end);
  return own ? own_library : kNone;
}

// `full` as library_name gives it. A name with a folder is compared whole.
int module_named(const char* full) {
  name_main_image();
  char whole[kModulePathSize];
  char host[kPathSize];
  const bool folder = has_folder(full);
  if (folder && (!to_host_path(full, host) || !program_path(host, whole, sizeof whole))) {
    return kNone;
  }
  for (int i = 0; i < kMostModules; ++i) {
    const ModuleRecord& record = modules[i];
    if (record.state == kFree) continue;
    if (strcasecmp(folder ? record.path : base_name(record.path), folder ? whole : full) == 0) {
      return i;
    }
  }
  return kNone;
}

std::int32_t call_entry(const Image& image, std::uint32_t reason) {
  using DllEntry = std::int32_t(TARNAPI*)(void* base, std::uint32_t reason, void* reserved);
  return reinterpret_cast<DllEntry>(image.base + image.entry)(image.base, reason, nullptr);
}

// ---- Loading and giving back --------------------------------------------------

void drop_reference(int index) {
  ModuleRecord* const record = &modules[index];
  if (index == kMainImage || record->state == kNative || record->state == kFree) return;
  if (record->references > 0) --record->references;
  if (record->references > 0) return;
  if (record->state == kStarted) call_entry(record->image, kProcessDetach);
  record->state = kFree;
  unmap_image(&record->image);
  for (int i = 0; i < kMostModules; ++i) {
    if (record->needs >> i & 1) drop_reference(i);
  }
}

// One load: a file and what it needs. Nothing of it runs before all is bound.
struct Load {
  std::uint32_t number;
  StartOrder order;
};

bool belongs_to(const ModuleRecord& record, const Load& load) {
  return record.state == kLoading && record.load == load.number;
}

// Takes back what a refused load has brought in.
void drop_load(const Load& load) {
  for (ModuleRecord& record : modules) {
    if (!belongs_to(record, load)) continue;
    for (int i = 0; i < kMostModules; ++i) {
      if ((record.needs >> i & 1) && !belongs_to(modules[i], load)) drop_reference(i);
    }
  }
  for (ModuleRecord& record : modules) {
    if (!belongs_to(record, load)) continue;
    record.state = kFree;
    unmap_image(&record.image);
  }
}

int load_file(const char* host_path, int index, Load* load, Refusal* refusal);

// The module of that name, which is loaded if need be.
int open_library(const char* name, Load* load, Refusal* refusal) {
  char full[kPathSize];
  if (!library_name(name, full)) {
    refuse(refusal, "the name of the library has no length or too much of it");
    return kNone;
  }
  const int loaded = module_named(full);
  if (loaded != kNone) return loaded;
  char host_path[kPathSize];
  if (!find_file(full, nullptr, default_places(), host_path)) {
    refuse(refusal, "it is neither beside the program nor in the current folder nor on PATH");
    refusal->not_found = true;
    return kNone;
  }
  const int index = free_module();
  if (index == kNone) {
    refuse(refusal, "there are more than %d modules", kMostModules);
    return kNone;
  }
  return load_file(host_path, index, load, refusal);
}

struct Importer {
  Load* load;
  ModuleRecord* record;
};

const void* open_needed(void* context, const char* library, Refusal* refusal) {
  auto* const importer = static_cast<Importer*>(context);
  Refusal reason;
  const int index = open_library(library, importer->load, &reason);
  if (index == kNone) {
    refuse(refusal, "needs %.200s: %s", library, reason.text);
    return nullptr;
  }
  const std::uint64_t bit = std::uint64_t{1} << index;
  if (!(importer->record->needs & bit)) ++modules[index].references;
  importer->record->needs |= bit;
  return &modules[index];
}

void* find_needed(const void* library, const char* name, std::uint32_t ordinal) {
  const auto* const record = static_cast<const ModuleRecord*>(library);
  if (record->state == kNative) return name ? record->find(name) : nullptr;
  return name ? find_image_export(record->image, name) : find_image_export(record->image, ordinal);
}

bool bind_record(ModuleRecord* record, Load* load, Refusal* refusal) {
  Importer importer{load, record};
  const ImportSource source{&importer, &open_needed, &find_needed};
  return bind_imports(record->image, source, refusal) && protect_image(record->image, refusal);
}

bool map_record(const char* host_path, bool is_program, ModuleRecord* record, Refusal* refusal) {
  FileBytes file;
  Image* const image = &record->image;
  if (!read_image_file(host_path, &file, refusal)) return false;
  bool good = check_image(file, image, refusal);
  if (good && image->is_dll == is_program) {
    good = refuse(refusal, is_program ? "is a DLL, not a program" : "is a program, not a DLL");
  }
  if (good && !program_path(host_path, record->path, sizeof record->path)) {
    good = refuse(refusal, "has a path that a program cannot name");
  }
  good = good && map_image(file, image, refusal);
  release_image_file(&file);
  return good;
}

// Into modules[index]; index, or kNone.
int load_file(const char* host_path, int index, Load* load, Refusal* refusal) {
  ModuleRecord* const record = &modules[index];
  if (!map_record(host_path, index == kMainImage, record, refusal)) return kNone;
  record->needs = 0;
  record->references = 0;
  record->load = load->number;
  record->state = kLoading;
  if (!bind_record(record, load, refusal)) return kNone;
  load->order.modules[load->order.count++] = index;
  return index;
}

bool start_modules(const StartOrder& order, Refusal* refusal) {
  for (int i = 0; i < order.count; ++i) {
    ModuleRecord* const record = &modules[order.modules[i]];
    record->state = kStarted;
    if (order.modules[i] == kMainImage) continue;
    if (call_entry(record->image, kProcessAttach) == 0) {
      return refuse(refusal, "%s failed to start", record->path);
    }
  }
  return true;
}

// A stack between guards that fault; its upper end, or null.
void* make_stack(std::uint64_t wanted) {
  const std::uint64_t least = wanted > kSmallestStack ? wanted : kSmallestStack;
  const std::uint64_t size = ((least + kStackGuard - 1) & ~(kStackGuard - 1)) + 2 * kStackGuard;
  void* const all =
      mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (all == MAP_FAILED) return nullptr;
  auto* const stack = static_cast<char*>(all) + kStackGuard;
  const std::uint64_t usable = size - 2 * kStackGuard;
  if (mprotect(stack, usable, PROT_READ | PROT_WRITE) != 0) {
    munmap(all, size);
    return nullptr;
  }
  set_stack_low(stack);
  return stack + usable;
}

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

void offer_native_libraries(const NativeLibrary* libraries, int count) {
  const ListLock lock;
  name_main_image();
  for (int i = 0; i < count; ++i) {
    const int index = offer(libraries[i].name, libraries[i].find);
    if (i == 0) own_library = index;
    if (i < kMostNativeNames) native_names[i] = libraries[i].name_of;
  }
}

const char* native_routine_name(const void* address) {
  for (const auto name_of : native_names) {
    const char* const name = name_of ? name_of(address) : nullptr;
    if (name) return name;
  }
  return nullptr;
}

bool load_program(const char* host_path, Refusal* refusal) {
  const ListLock lock;
  name_main_image();
  ModuleRecord* const record = &modules[kMainImage];
  if (record->state != kNative) return refuse(refusal, "another program is loaded");
  Load load{++last_load, {}};
  if (load_file(host_path, kMainImage, &load, refusal) == kNone) {
    drop_load(load);
    record->state = kFree;
    name_main_image();
    return false;
  }
  program_order = load.order;
  return true;
}

void run_program(Refusal* refusal) {
  const Image& image = modules[kMainImage].image;
  void* const stack_end = make_stack(image.stack_reserve);
  if (!stack_end) {
    refuse(refusal, "there is not enough memory for its stack of %llu bytes",
           static_cast<unsigned long long>(image.stack_reserve));
    return;
  }
  {
    const ListLock lock;
    if (!start_modules(program_order, refusal)) return;
  }
  tarn_enter_program(stack_end, image.base + image.entry);
}

bool has_program() {
  const ListLock lock;
  return modules[kMainImage].state == kLoading || modules[kMainImage].state == kStarted;
}

bool find_to_start(const char* name, bool (*wanted)(const char* host_path),
                   char (&found)[kPathSize]) {
  const ListLock lock;
  name_main_image();
  char folder[kPathSize];
  for (int pass = 0; pass < 2; ++pass) {  // an exact match anywhere comes first
    Places places = default_places();
    while (next_place(&places, folder)) {
      const int length = snprintf(found, kPathSize, "%s/%s", folder, name);
      if (length >= static_cast<int>(kPathSize)) continue;
      if (pass == 1) match_names(found);
      if (wanted(found)) return true;
    }
  }
  return false;
}

Module GetModuleHandleA(const char* name) {
  const ListLock lock;
  int index = kMainImage;
  char full[kPathSize];
  if (name) index = library_name(name, full) ? module_named(full) : kNone;
  if (index == kNone) {
    SetLastError(kErrorModuleNotFound);
    return nullptr;
  }
  name_main_image();
  return handle_of(&modules[index]);
}

Status GetModuleHandleExA(std::uint32_t flags, const void* name, Module* module) {
  const ListLock lock;
  if (flags & kModuleFromAddress) {
    const int index = module_at(name);
    *module = index != kNone ? handle_of(&modules[index]) : nullptr;
  } else {
    *module = GetModuleHandleA(static_cast<const char*>(name));
  }
  if (!*module) return fail(kErrorModuleNotFound);
  if (!(flags & kUnchangedCount)) ++modules[module_of(*module)].references;
  return 1;
}

Status GetModuleHandleExW(std::uint32_t flags, const void* name, Module* module) {
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

Module LoadLibraryA(const char* name) {
  const ListLock lock;
  name_main_image();
  Refusal refusal;
  Load load{++last_load, {}};
  const int index = name ? open_library(name, &load, &refusal) : kNone;
  if (index == kNone) {
    drop_load(load);
    SetLastError(!name || refusal.not_found ? kErrorModuleNotFound : kErrorBadExeFormat);
    return nullptr;
  }
  ++modules[index].references;
  if (!start_modules(load.order, &refusal)) {
    drop_reference(index);
    SetLastError(kErrorDllInitFailed);
    return nullptr;
  }
  return handle_of(&modules[index]);
}

Status FreeLibrary(Module module) {
  const ListLock lock;
  const int index = module ? module_of(module) : kNone;
  if (index == kNone) return fail(kErrorModuleNotFound);
  drop_reference(index);
  return 1;
}

void* GetProcAddress(Module module, const char* name) {
  const ListLock lock;
  const int index = module_of(module);
  if (index == kNone) {
    SetLastError(kErrorModuleNotFound);
    return nullptr;
  }
  const auto value = reinterpret_cast<std::uint64_t>(name);
  const bool is_ordinal = value <= kLargestOrdinal;
  void* const found =
      find_needed(&modules[index], is_ordinal ? nullptr : name, static_cast<std::uint32_t>(value));
  if (!found) SetLastError(kErrorProcedureNotFound);
  return found;
}

std::uint32_t GetModuleFileNameA(Module module, char* buffer, std::uint32_t size) {
  const ListLock lock;
  const int index = module_of(module);
  if (index == kNone) return no_length(kErrorModuleNotFound);
  const char* const path = modules[index].path;
  const char* const main_path = modules[kMainImage].path;
  // A native library stands where Windows finds it: beside the program.
  if (index == kMainImage || modules[index].state != kNative) return copy_name(path, buffer, size);
  char beside[2 * kModulePathSize];
  snprintf(beside, sizeof beside, "%.*s%s", static_cast<int>(base_name(main_path) - main_path),
           main_path, path);
  return copy_name(beside, buffer, size);
}

std::uint32_t GetModuleBaseNameA(Handle, Module module, char* buffer, std::uint32_t size) {
  const ListLock lock;
  const int index = module_of(module);
  if (index == kNone) return no_length(kErrorModuleNotFound);
  return copy_name(base_name(modules[index].path), buffer, size);
}

std::uint32_t SearchPathA(const char* path, const char* name, const char* extension,
                          std::uint32_t size, char* buffer, char** file_part) {
  const ListLock lock;
  name_main_image();
  char host_path[kPathSize];
  char full[kModulePathSize];
  if (!name || *name == '\0') return no_length(kErrorInvalidParameter);
  const Places places = path ? Places{false, 0, path, ';'} : default_places();
  if (!find_file(name, extension, places, host_path) ||
      !program_path(host_path, full, sizeof full)) {
    return 0;
  }
  const std::size_t length = strlen(full);
  if (length >= size || !buffer) return static_cast<std::uint32_t>(length + 1);
  memcpy(buffer, full, length + 1);
  if (file_part) *file_part = buffer + (base_name(full) - full);
  return static_cast<std::uint32_t>(length);
}

}  // namespace tarn::platform
