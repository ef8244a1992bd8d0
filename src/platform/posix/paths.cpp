// Paths of the caller's and paths of the host. Names keep their case and all
// their bytes: a blank or a dot at the end of a name is part of it.

#include <string.h>
#include <sys/stat.h>

#include "platform/posix/system.h"

namespace tarn::platform {
namespace {

constexpr char kLongPathPrefix[] = "\\\\?\\";
constexpr char kInNoName[] = "<>|\":";
constexpr char kWildcards[] = "*?";

bool is_separator(char c) { return c == '\\' || c == '/'; }

bool is_letter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

// A host path as it grows by names.
struct HostPath {
  char* text;
  std::size_t length;
  std::size_t names;  // at the end that ".." takes away again
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

bool translate(const char* path, bool last_may_be_pattern, char (&host)[kPathSize]) {
  if (path == nullptr || *path == '\0') return fail(kErrorPathNotFound) != 0;
  if (strncmp(path, kLongPathPrefix, sizeof kLongPathPrefix - 1) == 0) {
    path += sizeof kLongPathPrefix - 1;
  }
  if (is_letter(path[0]) && path[1] == ':') {
    if ((path[0] | 0x20) != 'z') return fail(kErrorPathNotFound) != 0;
    path += 2;
  } else if (is_separator(path[0]) && is_separator(path[1])) {
    return fail(kErrorPathNotFound) != 0;  // another machine's
  }

  HostPath to{host, 0, 0, is_separator(path[0])};
  if (to.absolute) host[to.length++] = '/';
  host[to.length] = '\0';
  bool ends_in_separator = false;
  while (*path != '\0') {
    const std::size_t length = strcspn(path, "\\/");
    const bool last = path[length] == '\0';
    if (is_in(kInNoName, path, length) ||
        (!(last && last_may_be_pattern) && is_in(kWildcards, path, length))) {
      return fail(kErrorInvalidName) != 0;
    }
    if (length > 0 && !add_name(&to, path, length)) return fail(kErrorFileNameTooLong) != 0;
    ends_in_separator = !last;
    path += last ? length : length + 1;
  }
  if (to.length == 0) append(&to, ".", 1);
  if (ends_in_separator && host[to.length - 1] != '/') {
    host[to.length++] = '/';
    host[to.length] = '\0';
  }
  return true;
}

}  // namespace

bool to_host_path(const char* path, char (&host)[kPathSize]) {
  return translate(path, false, host);
}

bool to_host_pattern(const char* pattern, char (&host)[kPathSize]) {
  return translate(pattern, true, host);
}

std::size_t from_host_path(const char* host, char* buffer, std::size_t size) {
  const std::size_t length = strlen(host) + 2;
  if (length >= size || buffer == nullptr) return length;
  buffer[0] = 'Z';
  buffer[1] = ':';
  for (std::size_t i = 2; i <= length; ++i) {
    const char c = host[i - 2];
    buffer[i] = c;
    if (c == '/') buffer[i] = '\\';
  }
  return length;
}

std::uint32_t attributes_of(std::uint32_t mode) {
  constexpr std::uint32_t kAttributeArchive = 0x20;  // what Windows gives a plain file
  const std::uint32_t kind = S_ISDIR(mode)   ? kAttributeDirectory
                             : S_ISREG(mode) ? kAttributeArchive
                                             : kAttributeNormal;
  const bool read_only = (mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
  return read_only ? kind | kAttributeReadOnly : kind;
}

}  // namespace tarn::platform
