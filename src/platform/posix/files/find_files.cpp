// Searches in one folder. The names are read, matched and sorted when a search
// begins, "." and ".." first and then by capitals, as the other target returns
// them; a file that is gone when its turn comes is left out.

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/base/base.h"
#include "platform/posix/files/files.h"

namespace tarn::platform {
namespace {

struct Search {
  char** names;
  std::size_t count, room, next;
};

// ---- Names ------------------------------------------------------------------

// '*' matches any characters, '?' one. After a mismatch the latest '*' takes
// one character more; earlier ones need not be tried again.
bool matches(const char* pattern, const char* name) {
  const char* after_star = nullptr;
  const char* star_end = nullptr;
  while (*name != '\0') {
    if (*pattern == '*') {
      after_star = ++pattern;
      star_end = name;
      continue;
    }
    const char* next = pattern;
    const std::uint32_t wanted = *pattern != '\0' ? take_capital(&next) : 0;
    const std::uint32_t letter = take_capital(&name);
    if (wanted != 0 && (wanted == '?' || wanted == letter)) {
      pattern = next;
    } else if (after_star != nullptr) {
      pattern = after_star;
      take_capital(&star_end);
      name = star_end;
    } else {
      return false;
    }
  }
  while (*pattern == '*') ++pattern;
  return *pattern == '\0';
}

bool is_dots(const char* name) { return strcmp(name, ".") == 0 || strcmp(name, "..") == 0; }

int by_capitals(const void* left, const void* right) {
  const char* const a = *static_cast<char* const*>(left);
  const char* const b = *static_cast<char* const*>(right);
  if (is_dots(a) != is_dots(b)) return is_dots(a) ? -1 : 1;
  const int order = compare_in_any_case(a, b);
  return order != 0 ? order : strcmp(a, b);
}

// ---- The search -------------------------------------------------------------

void free_search(Search* search) {
  if (search == nullptr) return;
  for (std::size_t i = 0; i < search->count; ++i) free(search->names[i]);
  free(search->names);
  free(search);
}

bool add_name(Search* search, const char* name) {
  if (search->count == search->room) {
    const std::size_t room = search->room * 2 + 16;
    void* const grown = realloc(search->names, room * sizeof(char*));
    if (grown == nullptr) return false;
    search->names = static_cast<char**>(grown);
    search->room = room;
  }
  char* const copy = strdup(name);
  if (copy == nullptr) return false;
  search->names[search->count++] = copy;
  return true;
}

// What matches in the folder of this descriptor; null, with errno, if it can't
// be read.
Search* read_names(int folder, const char* pattern) {
  const int own = fcntl(folder, F_DUPFD_CLOEXEC, static_cast<int>(kStandardHandles));
  DIR* const entries = own < 0 ? nullptr : fdopendir(own);
  if (entries == nullptr) {
    if (own >= 0) close(own);
    return nullptr;
  }
  auto* search = static_cast<Search*>(calloc(1, sizeof(Search)));
  while (search != nullptr) {
    errno = 0;
    const dirent* const entry = readdir(entries);
    if (entry == nullptr && errno == 0) break;
    const bool wanted = entry != nullptr && strlen(entry->d_name) < sizeof(FindData::name) &&
                        matches(pattern, entry->d_name);
    if (entry == nullptr || (wanted && !add_name(search, entry->d_name))) {
      free_search(search);
      search = nullptr;
    }
  }
  const int failure = errno;
  closedir(entries);
  if (search != nullptr && search->count > 0) {
    qsort(search->names, search->count, sizeof(char*), &by_capitals);
  }
  errno = failure;
  return search;
}

// The next name that still exists.
bool fill_next(Search* search, int folder, FindData* data) {
  for (; search->next < search->count; ++search->next) {
    const char* const name = search->names[search->next];
    struct stat facts;
    // A dangling symbolic link is reported as a link.
    if (fstatat(folder, name, &facts, 0) != 0 &&
        fstatat(folder, name, &facts, AT_SYMLINK_NOFOLLOW) != 0) {
      continue;
    }
    *data = FindData{};
    data->attributes = attributes_of(facts.st_mode);
    data->created = file_time_of(facts.st_ctim);  // the closest that the host has
    data->accessed = file_time_of(facts.st_atim);
    data->written = file_time_of(facts.st_mtim);
    if (S_ISREG(facts.st_mode)) {
      const auto size = static_cast<std::uint64_t>(facts.st_size);
      data->size_low = static_cast<std::uint32_t>(size);
      data->size_high = static_cast<std::uint32_t>(size >> 32);
    }
    memcpy(data->name, name, strlen(name) + 1);
    ++search->next;
    return true;
  }
  return false;
}

Handle fail_search(std::uint32_t code) {
  SetLastError(code);
  return invalid_handle();
}

// A search that has found the device and will find nothing more.
Handle find_one(const Device& device, FindData* data) {
  auto* const search = static_cast<Search*>(calloc(1, sizeof(Search)));
  if (search == nullptr) return fail_search(kErrorNotEnoughMemory);
  const Handle handle = add_handle({HandleKind::kFind, -1, false, false, false, search});
  if (handle == nullptr) {
    free_search(search);
    return invalid_handle();
  }
  *data = FindData{};
  data->attributes = kAttributeArchive;
  strcpy(data->name, device.name);
  return handle;
}

}  // namespace

Handle FindFirstFileA(const char* pattern, FindData* data) {
  char host[kPathSize];
  if (const Device* const device = find_device(pattern)) return find_one(*device, data);
  if (!to_host_pattern(pattern, host)) return invalid_handle();
  char* const slash = strrchr(host, '/');
  const char* name = slash != nullptr ? slash + 1 : host;
  if (*name == '\0') return fail_search(kErrorFileNotFound);  // a folder alone
  if (strcmp(name, "*.*") == 0) name = "*";                   // also what has no dot
  const char* const path = slash == nullptr ? "." : slash == host ? "/" : host;
  if (slash != nullptr && slash != host) *slash = '\0';

  const int folder = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) {
    return fail_search(errno == ENOENT    ? kErrorPathNotFound
                       : errno == ENOTDIR ? kErrorDirectory
                                          : windows_code(errno));
  }
  Search* const search = read_names(folder, name);
  const std::uint32_t failure = search == nullptr                  ? windows_code(errno)
                                : !fill_next(search, folder, data) ? kErrorFileNotFound
                                                                   : 0;
  const Handle handle =
      failure != 0 ? nullptr : add_handle({HandleKind::kFind, folder, false, false, false, search});
  if (handle != nullptr) return handle;
  free_search(search);
  close(folder);
  return failure != 0 ? fail_search(failure) : invalid_handle();
}

Bool FindNextFileA(Handle find, FindData* data) {
  const OpenObject* const object = find_handle(find, HandleKind::kFind);
  if (object == nullptr) return 0;
  return fill_next(static_cast<Search*>(object->record), object->descriptor, data)
             ? 1
             : fail(kErrorNoMoreFiles);
}

Bool FindClose(Handle find) {
  const OpenObject object = remove_handle(find, HandleKind::kFind);
  if (object.kind == HandleKind::kFree) return 0;
  free_search(static_cast<Search*>(object.record));
  close(object.descriptor);
  return 1;
}

}  // namespace tarn::platform
