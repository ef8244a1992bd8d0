// A path's drive, folder, name and extension, of both kinds of characters.
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "../strings/checked.h"

using namespace crt;

namespace {

template <class Char>
struct Part {
  Char* to;
  size_t room;
};

// Result: false if the part was cut.
template <class Char>
bool take(const Part<Char>& part, const Char* from, const Char* end) {
  if (!part.to) return true;
  const size_t length = static_cast<size_t>(end - from);
  if (part.room == 0) return false;
  const size_t taken = length < part.room ? length : part.room - 1;
  memcpy(part.to, from, taken * sizeof(Char));
  part.to[taken] = 0;
  return taken == length;
}

template <class Char>
bool is_separator(Char character) {
  return character == '/' || character == '\\';
}

template <class Char>
bool split(const Char* path, const Part<Char>& drive, const Part<Char>& folder,
           const Part<Char>& name, const Part<Char>& extension) {
  const Char* const after_drive = path[0] && path[1] == ':' ? path + 2 : path;
  const Char* const end = path + length_within(path, SIZE_MAX);
  const Char* base = end;
  while (base > after_drive && !is_separator(base[-1])) --base;
  const Char* point = end;
  for (const Char* at = base; at < end; ++at) {
    if (*at == '.') point = at;
  }
  const bool whole[] = {take(drive, path, after_drive), take(folder, after_drive, base),
                        take(name, base, point), take(extension, point, end)};
  return whole[0] && whole[1] && whole[2] && whole[3];
}

template <class Char>
errno_t split_checked(const Char* path, const Part<Char>& drive, const Part<Char>& folder,
                      const Part<Char>& name, const Part<Char>& extension) {
  const Part<Char>* const parts[] = {&drive, &folder, &name, &extension};
  bool valid = path;
  for (const Part<Char>* part : parts) valid = valid && !part->to == (part->room == 0);
  if (valid && split(path, drive, folder, name, extension)) return 0;
  for (const Part<Char>* part : parts) refuse(part->to, part->room, 0);
  return errno = valid ? ERANGE : EINVAL;
}

// Without room for all of it the path is empty.
template <class Char>
errno_t make(Char* path, size_t size, const Char* drive, const Char* folder, const Char* name,
             const Char* extension) {
  if (!path || size == 0) return errno = EINVAL;
  size_t length = 0;
  const auto put = [path, size, &length](Char character) {
    if (length < size) path[length] = character;
    ++length;
  };
  const auto add = [&put](const Char* text) {
    for (; text && *text; ++text) put(*text);
  };
  if (drive && *drive) {
    put(*drive);
    put(':');
  }
  add(folder);
  if (folder && *folder && !is_separator(folder[length_within(folder, SIZE_MAX) - 1])) put('\\');
  add(name);
  if (extension && *extension && *extension != '.') put('.');
  add(extension);
  put(0);
  return length <= size ? 0 : refuse(path, size, ERANGE);
}

}  // namespace

#define PATH_PARTS(Char, splitpath, makepath)                                                      \
  CRT_API void splitpath(const Char* path, Char* drive, Char* folder, Char* name,                  \
                         Char* extension) {                                                        \
    split<Char>(path, {drive, _MAX_DRIVE}, {folder, _MAX_DIR}, {name, _MAX_FNAME},                 \
                {extension, _MAX_EXT});                                                            \
  }                                                                                                \
  CRT_API errno_t splitpath##_s(const Char* path, Char* drive, size_t drive_size, Char* folder,    \
                                size_t folder_size, Char* name, size_t name_size, Char* extension, \
                                size_t extension_size) {                                           \
    return split_checked<Char>(path, {drive, drive_size}, {folder, folder_size},                   \
                               {name, name_size}, {extension, extension_size});                    \
  }                                                                                                \
  CRT_API void makepath(Char* path, const Char* drive, const Char* folder, const Char* name,       \
                        const Char* extension) {                                                   \
    make(path, SIZE_MAX, drive, folder, name, extension);                                          \
  }                                                                                                \
  CRT_API errno_t makepath##_s(Char* path, size_t size, const Char* drive, const Char* folder,     \
                               const Char* name, const Char* extension) {                          \
    return make(path, size, drive, folder, name, extension);                                       \
  }
PATH_PARTS(char, _splitpath, _makepath)
PATH_PARTS(wchar_t, _wsplitpath, _wmakepath)
