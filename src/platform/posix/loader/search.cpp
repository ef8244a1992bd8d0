#include "platform/posix/loader/search.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "platform/posix/loader/loader.h"
#include "platform/posix/loader/module_list.h"

namespace tarn::platform {
namespace {

bool is_absolute(const char* name) {
  return is_separator(name[0]) || (name[0] != '\0' && name[1] == ':');
}

// Folders to search, one by one. The folders of PATH are host folders, and program folders
// where a program put some before them, as on Windows: `Z:\part;/usr/bin:/bin`.
struct Places {
  bool has_defaults;  // first the program's folder and the current one, then PATH
  int next_default;
  const char* list;  // null at its end
};

Places default_places() { return {true, 0, getenv("PATH")}; }

bool has_drive(const char* folder) {
  return (folder[0] == 'Z' || folder[0] == 'z') && folder[1] == ':' && is_separator(folder[2]);
}

bool program_folder(char (&folder)[kPathSize]) {
  if (!to_host_path(path_of(modules[kMainImage]), folder)) return false;
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
    const std::size_t drive = has_drive(start) ? 2 : 0;
    const std::size_t length = drive + strcspn(start + drive, places->has_defaults ? ":;" : ";");
    places->list = start[length] ? start + length + 1 : nullptr;
    if (length == 0 || length >= kPathSize) continue;
    memcpy(folder, start, length);
    folder[length] = '\0';
    if (places->has_defaults && drive == 0) return true;
    char host[kPathSize];
    if (!to_host_path(folder, host)) continue;
    strcpy(folder, host);
    return true;
  }
  return false;
}

bool is_file(const char* host_path) {
  struct stat facts;
  return stat(host_path, &facts) == 0 && !S_ISDIR(facts.st_mode);
}

bool find_in_any_case(char (&host_path)[kPathSize]) {
  if (is_file(host_path)) return true;
  match_names(host_path);
  return is_file(host_path);
}

// Apart, as most names are absolute and do not need so much of the stack.
[[gnu::noinline]] bool find_in_places(const char* relative, Places places,
                                      char (&found)[kPathSize]) {
  char folder[kPathSize];
  while (next_place(&places, folder)) {
    const int length = snprintf(found, kPathSize, "%s/%s", folder, relative);
    if (length < static_cast<int>(kPathSize) && find_in_any_case(found)) return true;
  }
  return false;
}

// Looks for `name`, to which the extension is added if it has no dot. The
// folders of a list that a caller gave are program paths.
bool find_file(const char* name, const char* extension, const Places& places,
               char (&found)[kPathSize]) {
  char host[kPathSize];
  const bool add = extension && !strchr(base_name(name), '.');
  if (!translate_path(name, host)) return false;
  if (add) {
    if (strlen(host) + strlen(extension) >= kPathSize) {
      fail(kErrorFileNameTooLong);
      return false;
    }
    strcat(host, extension);
  }
  if (!is_absolute(name)) {
    if (find_in_places(host, places, found)) return true;
  } else if (find_in_any_case(host)) {
    strcpy(found, host);
    return true;
  }
  fail(kErrorFileNotFound);
  return false;
}

std::uint32_t no_length(std::uint32_t code) {
  SetLastError(code);
  return 0;
}

}  // namespace

bool find_library_file(const char* name, char (&found)[kPathSize]) {
  return find_file(name, nullptr, default_places(), found);
}

bool find_to_start(const char* name, bool (*wanted)(const char* host_path),
                   char (&found)[kPathSize]) {
  const ModuleLock lock;
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

std::uint32_t SearchPathA(const char* path, const char* name, const char* extension,
                          std::uint32_t size, char* buffer, char** file_part) {
  const ModuleLock lock;
  name_main_image();
  char host_path[kPathSize];
  char full[kModulePathSize];
  if (!name || *name == '\0') return no_length(kErrorInvalidParameter);
  const Places places = path ? Places{false, 0, path} : default_places();
  if (!find_file(name, extension, places, host_path) ||
      !to_program_path(host_path, full, sizeof full)) {
    return 0;
  }
  const std::size_t length = strlen(full);
  if (length >= size || !buffer) return static_cast<std::uint32_t>(length + 1);
  memcpy(buffer, full, length + 1);
  if (file_part) *file_part = buffer + (base_name(full) - full);
  return static_cast<std::uint32_t>(length);
}

}  // namespace tarn::platform
