// Loading: a file and every library that it needs are mapped and bound before
// anything of them runs.

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/loader/carried.h"
#include "platform/posix/loader/entry.h"
#include "platform/posix/loader/search.h"

extern "C" {
// Do nothing: debuggers break on them (tarnrun-gdb.py). `host_path` is where the image comes from,
// `difference` what its base is above the one that it was linked for.
[[gnu::noinline]] void tarn_image_loaded(const char* host_path, const void* base,
                                         std::uint64_t difference) {
  asm volatile("" ::"r"(host_path), "r"(base), "r"(difference));
}
[[gnu::noinline]] void tarn_image_unloaded(const void* base) { asm volatile("" ::"r"(base)); }
}

namespace tarn::platform {
namespace {

std::uint32_t last_load;

void drop_reference(int index) {
  ModuleRecord* const record = &modules[index];
  if (index == kMainImage || record->state == ModuleState::kNative ||
      record->state == ModuleState::kFree)
    return;
  if (record->references > 0) --record->references;
  if (record->references > 0) return;
  if (record->state == ModuleState::kStarted) stop_module(*record);
  set_state(record, ModuleState::kFree);
  tarn_image_unloaded(record->image.base);
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
  return record.state == ModuleState::kLoading && record.load == load.number;
}

// Unloads what a refused load has brought in.
void drop_load(const Load& load) {
  for (ModuleRecord& record : listed_modules()) {
    if (!belongs_to(record, load)) continue;
    for (int i = 0; i < kMostModules; ++i) {
      if ((record.needs >> i & 1) && !belongs_to(modules[i], load)) drop_reference(i);
    }
  }
  for (ModuleRecord& record : listed_modules()) {
    if (!belongs_to(record, load)) continue;
    set_state(&record, ModuleState::kFree);
    tarn_image_unloaded(record.image.base);
    unmap_image(&record.image);
  }
}

// The file `host_path`, or one that this executable carries and that counts as being there.
struct Source {
  char host_path[kPathSize];
  FileBytes carried;  // without bytes: none
};

int load_file(const Source& source, int index, Load* load, LoadError* error);

bool own_path(char (&host_path)[kPathSize]) {
  const ssize_t length = readlink("/proc/self/exe", host_path, kPathSize - 1);
  host_path[length > 0 ? length : 0] = '\0';
  return length > 0;
}

bool find_carried(const char* name, Source* source) {
  if (!carried_library(name, &source->carried) || !own_path(source->host_path)) return false;
  char* const file = strrchr(source->host_path, '/') + 1;
  const auto room = static_cast<std::size_t>(source->host_path + kPathSize - file);
  return snprintf(file, room, "%s", name) < static_cast<int>(room);
}

// The module of that name, which is loaded if necessary.
int open_library(const char* name, Load* load, LoadError* error) {
  char full[kPathSize];
  if (!library_name(name, full)) {
    refuse(error, "the library's name is empty or too long");
    return kNoModule;
  }
  const int loaded = module_named(full);
  if (loaded != kNoModule) return loaded;
  Source source{};
  if (!find_carried(full, &source) && !find_library_file(full, source.host_path)) {
    refuse(error, "it is neither beside the program nor in the current folder nor on PATH");
    error->not_found = true;
    return kNoModule;
  }
  const int index = free_module();
  if (index == kNoModule) {
    refuse(error, "there are more than %d modules", kMostModules);
    return kNoModule;
  }
  return load_file(source, index, load, error);
}

struct Importer {
  Load* load;
  ModuleRecord* record;
};

const void* open_needed(void* context, const char* library, LoadError* error) {
  auto* const importer = static_cast<Importer*>(context);
  LoadError reason;
  const int index = open_library(library, importer->load, &reason);
  if (index == kNoModule) {
    refuse(error, "needs %.200s: %s", library, reason.text);
    return nullptr;
  }
  const std::uint64_t bit = std::uint64_t{1} << index;
  if (!(importer->record->needs & bit)) ++modules[index].references;
  importer->record->needs |= bit;
  return &modules[index];
}

void* find_needed(const void* library, const char* name, std::uint32_t ordinal) {
  return find_export(*static_cast<const ModuleRecord*>(library), name, ordinal);
}

bool bind_record(ModuleRecord* record, Load* load, LoadError* error) {
  Importer importer{load, record};
  const ImportSource source{&importer, &open_needed, &find_needed};
  return bind_imports(record->image, source, error) && protect_image(record->image, error);
}

bool map_record(const Source& source, bool is_program, ModuleRecord* record, LoadError* error) {
  FileBytes file = source.carried;
  Image* const image = &record->image;
  std::uint8_t first[kFirstBytes];
  if (!file.bytes && !read_image_file(source.host_path, first, &file, error)) return false;
  bool good = check_image(file, image, error);
  if (good && image->is_dll == is_program) {
    good = refuse(error, is_program ? "is a DLL, not a program" : "is a program, not a DLL");
  }
  char path[kModulePathSize];
  if (good && !to_program_path(source.host_path, path, sizeof path)) {
    good =
        refuse(error, "has a path that cannot be a program's: too long, or with a wrong character");
  }
  if (good && !set_path(record, path))
    good = refuse(error, "there is not enough memory for its path");
  good = good && map_image(file, image, error);
  if (!source.carried.bytes) close_image_file(&file);
  return good;
}

// Into modules[index]; index, or kNoModule.
int load_file(const Source& source, int index, Load* load, LoadError* error) {
  ModuleRecord* const record = &modules[index];
  if (!map_record(source, index == kMainImage, record, error)) return kNoModule;
  record->needs = 0;
  record->references = 0;
  record->load = load->number;
  set_state(record, ModuleState::kLoading);
  if (!bind_record(record, load, error)) return kNoModule;
  const Image& image = record->image;
  tarn_image_loaded(source.host_path, image.base,
                    reinterpret_cast<std::uint64_t>(image.base) - image.preferred_base);
  load->order.modules[load->order.count++] = index;
  return index;
}

bool load_program_from(const Source& source, LoadError* error) {
  const ModuleLock lock;
  offer_system_library();
  ModuleRecord* const record = &modules[kMainImage];
  if (record->state == ModuleState::kLoading || record->state == ModuleState::kStarted) {
    return refuse(error, "another program is loaded");
  }
  Load load{++last_load, {}};
  if (load_file(source, kMainImage, &load, error) == kNoModule ||
      !make_stack(record->image.stack_reserve, error)) {
    drop_load(load);
    set_state(record, ModuleState::kFree);
    name_main_image();
    return false;
  }
  set_program_order(load.order);
  return true;
}

}  // namespace

bool load_program(const char* host_path, LoadError* error) {
  Source source{};
  if (strlen(host_path) >= kPathSize) return refuse(error, "%s", strerror(ENAMETOOLONG));
  strcpy(source.host_path, host_path);
  return load_program_from(source, error);
}

bool load_carried_program(LoadError* error) {
  Source source{};
  if (!open_carried(error)) return false;
  if (!own_path(source.host_path)) return refuse(error, "does not know its own path");
  return carried_program(&source.carried) && load_program_from(source, error);
}

bool is_finished_program(const char* host_path) {
  FileBytes file;
  Image image;
  LoadError error;
  std::uint8_t first[kFirstBytes];
  if (!read_image_file(host_path, first, &file, &error)) return false;
  const bool good = check_image(file, &image, &error) && !image.is_dll;
  close_image_file(&file);
  return good;
}

// How the library is looked for is always the same.
Module LoadLibraryExA(const char* name, Handle, std::uint32_t flags) {
  constexpr std::uint32_t kWithItsFolder = 8;  // LOAD_WITH_ALTERED_SEARCH_PATH
  if ((flags & ~kWithItsFolder) == 0) return LoadLibraryA(name);
  SetLastError(kErrorInvalidParameter);
  return nullptr;
}

Module LoadLibraryW(const char16_t* name) {
  char bytes[kPathSize];
  return to_narrow(name, bytes) ? LoadLibraryA(bytes) : nullptr;
}

Module LoadLibraryExW(const char16_t* name, Handle file, std::uint32_t flags) {
  char bytes[kPathSize];
  return to_narrow(name, bytes) ? LoadLibraryExA(bytes, file, flags) : nullptr;
}

Module LoadLibraryA(const char* name) {
  const ModuleLock lock;
  name_main_image();
  LoadError error;
  Load load{++last_load, {}};
  const int index = name ? open_library(name, &load, &error) : kNoModule;
  if (index == kNoModule) {
    drop_load(load);
    SetLastError(!name || error.not_found ? kErrorModuleNotFound : kErrorBadExeFormat);
    return nullptr;
  }
  ++modules[index].references;
  if (!start_modules(load.order, &error)) {
    drop_reference(index);
    SetLastError(kErrorDllInitFailed);
    return nullptr;
  }
  return handle_of(&modules[index]);
}

Bool FreeLibrary(Module module) {
  const ModuleLock lock;
  const int index = module ? module_of(module) : kNoModule;
  if (index == kNoModule) return fail(kErrorModuleNotFound);
  drop_reference(index);
  return 1;
}

}  // namespace tarn::platform
