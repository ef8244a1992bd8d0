// Program paths and host paths. A path is first translated by the rules of the
// other target, which drop spaces and dots at its end; then each name that does
// not exist is looked for in another case.

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

constexpr char kLongPathPrefix[] = "\\\\?\\";
constexpr char kInNoName[] = "<>|\":";
constexpr char kWildcards[] = "*?";

// A host path, built name by name.
struct HostPath {
  char* text;
  std::size_t length;
  std::size_t names;  // at the end that ".." can remove
  bool absolute;
};

bool append(HostPath* to, const char* name, std::size_t length) {
  const bool separated = to->length == 0 || to->text[to->length - 1] == '/';
  if (to->length + length + 2 >= kPathSize) return false;
  if (!separated) to->text[to->length++] = '/';
  memcpy(to->text + to->length, name, length);
  to->length += length;
  to->text[to->length] = '\0';
  return true;
}

void take_last_name(HostPath* from) {
  while (from->length > 0 && from->text[from->length - 1] != '/') --from->length;
  if (from->length > (from->absolute ? 1u : 0u)) --from->length;
  from->text[from->length] = '\0';
  --from->names;
}

bool add_name(HostPath* to, const char* name, std::size_t length) {
  if (length == 1 && name[0] == '.') return true;
  if (length == 2 && name[0] == '.' && name[1] == '.') {
    if (to->names > 0) {
      take_last_name(to);
      return true;
    }
    return to->absolute || append(to, name, length);
  }
  ++to->names;
  return append(to, name, length);
}

bool is_in(const char* set, const char* name, std::size_t length) {
  for (std::size_t i = 0; i < length; ++i) {
    if (strchr(set, name[i]) != nullptr) return true;
  }
  return false;
}

bool is_dots(const char* name, std::size_t length) {
  return (length == 1 && name[0] == '.') || (length == 2 && name[0] == '.' && name[1] == '.');
}

// Length of the name without what a path drops of it: all dots and spaces at
// the path's end, one dot before a separator.
std::size_t kept_length(const char* name, std::size_t length, bool last) {
  if (is_dots(name, length)) return length;
  if (!last) {
    return length > 1 && name[length - 1] == '.' && strspn(name, ".") < length ? length - 1
                                                                               : length;
  }
  while (length > 0 && (name[length - 1] == '.' || name[length - 1] == ' ')) --length;
  return length;
}

enum class LastName { kName, kPattern };

bool translate(const char* path, LastName kind, char (&host)[kPathSize]) {
  if (path == nullptr || path[strspn(path, " ")] == '\0') {
    fail(kErrorPathNotFound);
    return false;
  }
  const bool verbatim = strncmp(path, kLongPathPrefix, sizeof kLongPathPrefix - 1) == 0;
  if (verbatim) path += sizeof kLongPathPrefix - 1;
  if (!verbatim && find_device(path) != nullptr) {
    fail(kErrorAccessDenied);
    return false;
  }
  if (has_drive(path)) {
    if ((path[0] | 0x20) != 'z') {
      fail(kErrorPathNotFound);
      return false;
    }
    path += 2;
  } else if (is_separator(path[0]) && is_separator(path[1])) {
    fail(kErrorPathNotFound);
    return false;  // another machine's
  }

  HostPath to{host, 0, 0, is_separator(path[0])};
  if (to.absolute) host[to.length++] = '/';
  host[to.length] = '\0';
  bool ends_in_separator = false;
  while (*path != '\0') {
    const std::size_t length = strcspn(path, "\\/");
    const bool last = path[length] == '\0';
    const bool wild = is_in(kWildcards, path, length);
    if (is_in(kInNoName, path, length) || (wild && !(last && kind == LastName::kPattern))) {
      fail(kErrorInvalidName);
      return false;
    }
    const std::size_t kept = verbatim || wild ? length : kept_length(path, length, last);
    if (kept > 0 && !add_name(&to, path, kept)) {
      fail(kErrorFileNameTooLong);
      return false;
    }
    ends_in_separator = !last || kept == 0;
    path += last ? length : length + 1;
  }
  if (to.length == 0) append(&to, ".", 1);
  if (ends_in_separator && host[to.length - 1] != '/') {
    host[to.length++] = '/';
    host[to.length] = '\0';
  }
  return true;
}

// ---- Names in another case -----------------------------------------------------

bool exists(const char* host) {
  struct stat facts;
  return lstat(host, &facts) == 0;
}

// Puts the first of the names in `folder` that differ from `name` in case alone
// over it. They must have its length; few capitals have another.
bool find_spelling(const char* folder, char* name) {
  const int descriptor = keep_off_standard(open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  DIR* const entries = descriptor < 0 ? nullptr : fdopendir(descriptor);
  if (entries == nullptr) {
    if (descriptor >= 0) close(descriptor);
    return false;
  }
  const std::size_t length = strlen(name);
  char found[NAME_MAX + 1] = "";
  while (const dirent* const entry = readdir(entries)) {
    if (strlen(entry->d_name) != length || compare_in_any_case(entry->d_name, name) != 0) continue;
    if (found[0] == '\0' || strcmp(entry->d_name, found) < 0) strcpy(found, entry->d_name);
  }
  closedir(entries);
  if (found[0] != '\0') memcpy(name, found, length);
  return found[0] != '\0';
}

// ---- Devices --------------------------------------------------------------------

// A '#' stands for a digit from 1 to 9.
constexpr Device kDevices[] = {
    {"NUL", "/dev/null", DeviceSide::kByAccess}, {"CON", "/dev/tty", DeviceSide::kByAccess},
    {"CONIN$", "/dev/tty", DeviceSide::kInput},  {"CONOUT$", "/dev/tty", DeviceSide::kScreen},
    {"AUX", nullptr, DeviceSide::kByAccess},     {"PRN", nullptr, DeviceSide::kByAccess},
    {"COM#", nullptr, DeviceSide::kByAccess},    {"LPT#", nullptr, DeviceSide::kByAccess},
};

bool is_named(const Device& device, const char* name, std::size_t length) {
  if (strlen(device.name) != length) return false;
  const bool numbered = device.name[length - 1] == '#';
  if (numbered && (name[length - 1] < '1' || name[length - 1] > '9')) return false;
  return strncasecmp(name, device.name, numbered ? length - 1 : length) == 0;
}

// Apart, as most paths do not need so much of the stack.
[[gnu::noinline]] bool has_folder(const char* path, std::size_t size) {
  char folder[kPathSize], host[kPathSize];
  if (size >= sizeof folder) return false;
  memcpy(folder, path, size);
  folder[size] = '\0';
  return to_host_path(folder, host) && exists(host);
}

}  // namespace

const Device* find_device(const char* path) {
  if (path == nullptr || (is_separator(path[0]) && is_separator(path[1]))) return nullptr;
  const char* const name = base_name(path);
  std::size_t length = strcspn(name, ".:");
  while (length > 0 && name[length - 1] == ' ') --length;
  for (const Device& device : kDevices) {
    if (!is_named(device, name, length)) continue;
    if (name == (has_drive(path) ? path + 2 : path)) return &device;
    return has_folder(path, static_cast<std::size_t>(name - path)) ? &device : nullptr;
  }
  return nullptr;
}

bool translate_path(const char* path, char (&host)[kPathSize]) {
  return translate(path, LastName::kName, host);
}

bool to_host_path(const char* path, char (&host)[kPathSize]) {
  if (!translate(path, LastName::kName, host)) return false;
  match_names(host);
  return true;
}

bool to_host_pattern(const char* pattern, char (&host)[kPathSize]) {
  if (!translate(pattern, LastName::kPattern, host)) return false;
  char* const slash = strrchr(host, '/');
  if (slash == nullptr || slash == host) return true;
  *slash = '\0';
  match_names(host);
  *slash = '/';
  return true;
}

// Most paths exist as they are written, or lack the last name alone.
void match_names(char (&host)[kPathSize]) {
  if (exists(host) || (errno != ENOENT && errno != ENOTDIR)) return;
  std::size_t length = strlen(host);
  while (length > 1 && host[length - 1] == '/') --length;
  char folder[kPathSize];
  memcpy(folder, host, length);
  const std::size_t root = host[0] == '/' ? 1 : 0;
  std::size_t known = length;  // of the part that exists
  do {
    while (known > 0 && host[known - 1] != '/') --known;     // the name
    while (known > root && host[known - 1] == '/') --known;  // the separators before it
    folder[known] = '\0';
  } while (known > root && !exists(folder));
  while (known < length) {
    std::size_t begin = known;
    while (host[begin] == '/') ++begin;
    const std::size_t end = begin + strcspn(host + begin, "/");
    const char after = host[end];
    host[end] = '\0';
    memcpy(folder, host, known);
    strcpy(folder + known, known == 0 ? "." : "/");
    const bool found = exists(host) || find_spelling(folder, host + begin);
    host[end] = after;
    if (!found) return;
    known = end;
  }
}

std::size_t from_host_path(const char* host, char* buffer, std::size_t size) {
  const std::size_t length = strlen(host) + 2;
  if (length >= size || buffer == nullptr) return length;
  buffer[0] = 'Z';
  buffer[1] = ':';
  char* to = buffer + 2;
  for (const char* from = host; *from != '\0'; ++from) *to++ = *from == '/' ? '\\' : *from;
  *to = '\0';
  return length;
}

bool to_program_path(const char* host_path, char* path, std::size_t size) {
  constexpr char kAsItIs[] = "\\\\?\\";  // keeps dots and spaces at the end
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
  return translate_path(whole, resolved) && from_host_path(resolved, path, size) < size;
}

}  // namespace tarn::platform
