// A path's drive, folder, name and extension.
#include <stdlib.h>
#include <string.h>

#include "../crt.h"

namespace {

void take(char* to, const char* from, const char* end, size_t room) {
  if (!to) return;
  const size_t length = static_cast<size_t>(end - from);
  const size_t taken = length < room ? length : room - 1;
  memcpy(to, from, taken);
  to[taken] = '\0';
}

bool is_separator(char character) { return character == '/' || character == '\\'; }

}  // namespace

CRT_API void _splitpath(const char* path, char* drive, char* folder, char* name, char* extension) {
  const char* const after_drive = path[0] && path[1] == ':' ? path + 2 : path;
  const char* const end = path + strlen(path);
  const char* base = end;
  while (base > after_drive && !is_separator(base[-1])) --base;
  const char* point = end;
  for (const char* at = base; at < end; ++at) {
    if (*at == '.') point = at;
  }
  take(drive, path, after_drive, _MAX_DRIVE);
  take(folder, after_drive, base, _MAX_DIR);
  take(name, base, point, _MAX_FNAME);
  take(extension, point, end, _MAX_EXT);
}

CRT_API void _makepath(char* path, const char* drive, const char* folder, const char* name,
                       const char* extension) {
  char* to = path;
  if (drive && *drive) {
    *to++ = *drive;
    *to++ = ':';
  }
  if (folder && *folder) {
    to = strcpy(to, folder) + strlen(folder);
    if (!is_separator(to[-1])) *to++ = '\\';
  }
  if (name) to = strcpy(to, name) + strlen(name);
  if (extension && *extension) {
    if (*extension != '.') *to++ = '.';
    to = strcpy(to, extension) + strlen(extension);
  }
  *to = '\0';
}
