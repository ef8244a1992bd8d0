// Programs that are started by name: _spawn and _exec in all their forms. The arguments make
// the command line as they are, with blanks between, as on Windows: one that contains blanks
// is quoted by the caller. The program's own name is the path. What runs in place of this
// process is its child, whose end it waits for and whose status it ends with. What the
// streams hold goes out first.
#include <process.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "../streams/stream.h"
#include "../strings/utf8.h"

using namespace crt;

namespace {

// A string that grows; it holds one NUL more than what was added. Not valid, with errno, once
// there was no memory or what was added is not Unicode.
class Text {
 public:
  ~Text() { free(bytes_); }
  void add(const char* string) { add(string, strlen(string)); }
  void add(const char* bytes, size_t size) {
    if (length_ + size + 1 > room_) {
      const size_t room = 2 * (length_ + size + 1);
      char* const larger = static_cast<char*>(realloc(bytes_, room));
      if (!larger) {
        valid_ = false;
        return;
      }
      bytes_ = larger;
      room_ = room;
    }
    memcpy(bytes_ + length_, bytes, size);
    length_ += size;
    bytes_[length_] = '\0';
  }
  void add(const wchar_t* wide) {
    const NarrowText narrow(wide);
    valid_ &= narrow.valid();
    if (valid_) add(static_cast<const char*>(narrow));
  }
  char* bytes() { return bytes_; }
  bool valid() const { return valid_; }

 private:
  char* bytes_ = nullptr;
  size_t length_ = 0, room_ = 0;
  bool valid_ = true;
};

template <class Char>
bool has_folder(const Char* path) {
  for (; *path; ++path) {
    if (*path == '/' || *path == '\\' || *path == ':') return true;
  }
  return false;
}

int end_of(HANDLE child, int* status) {
  DWORD code = 0;
  const bool told =
      WaitForSingleObject(child, INFINITE) == WAIT_OBJECT_0 && GetExitCodeProcess(child, &code);
  if (!told) return fail();
  CloseHandle(child);
  *status = static_cast<int>(code);
  return 0;
}

template <class Char>
intptr_t run(int mode, const Char* path, const Char* const* arguments,
             const Char* const* environment, bool searches) {
  if (!path || !*path || !arguments || !*arguments || mode < _P_WAIT || mode > _P_DETACH) {
    return fail_with(EINVAL);
  }
  Text line, block;
  line.add("\"");
  if (!searches && !has_folder(path)) line.add(".\\");
  line.add(path);
  line.add("\"");
  for (++arguments; *arguments; ++arguments) {
    line.add(" ");
    line.add(*arguments);
  }
  if (environment) {
    for (; *environment; ++environment) {
      block.add(*environment);
      block.add("", 1);
    }
    block.add("", 1);
  }
  if (!line.valid() || !block.valid()) return -1;
  flush_all();
  STARTUPINFOA how = {};
  how.cb = sizeof how;
  PROCESS_INFORMATION made = {};
  if (!CreateProcessA(nullptr, line.bytes(), nullptr, nullptr, TRUE, 0, block.bytes(), nullptr,
                      &how, &made)) {
    return fail();
  }
  CloseHandle(made.hThread);
  if (mode == _P_NOWAIT || mode == _P_NOWAITO) return reinterpret_cast<intptr_t>(made.hProcess);
  if (mode == _P_DETACH) {
    CloseHandle(made.hProcess);
    return 0;
  }
  int status = 0;
  if (end_of(made.hProcess, &status) != 0) return -1;
  if (mode == _P_OVERLAY) _exit(status);
  return status;
}

}  // namespace

CRT_API intptr_t _cwait(int* status, intptr_t child, int) {
  int own;
  if (end_of(reinterpret_cast<HANDLE>(child), status ? status : &own) == 0) return child;
  errno = ECHILD;
  return -1;
}

namespace {

// The arguments from `first` to the null, and what comes after it.
template <class Char>
size_t count_listed(const Char* first, va_list list) {
  size_t count = 0;
  for (; first; ++count) first = va_arg(list, const Char*);
  return count;
}

template <class Char>
intptr_t run_listed(int mode, const Char* path, const Char* first, va_list list,
                    bool has_environment, bool searches) {
  va_list again;
  va_copy(again, list);
  const size_t count = count_listed(first, again);
  va_end(again);
  const Char** const arguments = static_cast<const Char**>(malloc((count + 1) * sizeof(Char*)));
  if (!arguments) return -1;
  for (size_t i = 0; i <= count; ++i, first = i <= count ? va_arg(list, const Char*) : nullptr) {
    arguments[i] = first;
  }
  const Char* const* const environment =
      has_environment ? va_arg(list, const Char* const*) : nullptr;
  const intptr_t result = run(mode, path, arguments, environment, searches);
  free(arguments);
  return result;
}

}  // namespace

#define LISTED(Char, mode, path, has_environment, searches)                               \
  va_list list;                                                                           \
  va_start(list, first);                                                                  \
  const intptr_t result = run_listed(mode, path, first, list, has_environment, searches); \
  va_end(list);                                                                           \
  return result

#define FAMILY(Char, spawn, exec, suffix, searches)                                              \
  CRT_API intptr_t spawn##l##suffix(int mode, const Char* path, const Char* first, ...) {        \
    LISTED(Char, mode, path, false, searches);                                                   \
  }                                                                                              \
  CRT_API intptr_t spawn##l##suffix##e(int mode, const Char* path, const Char* first, ...) {     \
    LISTED(Char, mode, path, true, searches);                                                    \
  }                                                                                              \
  CRT_API intptr_t spawn##v##suffix(int mode, const Char* path, const Char* const* arguments) {  \
    return run<Char>(mode, path, arguments, nullptr, searches);                                  \
  }                                                                                              \
  CRT_API intptr_t spawn##v##suffix##e(int mode, const Char* path, const Char* const* arguments, \
                                       const Char* const* environment) {                         \
    return run(mode, path, arguments, environment, searches);                                    \
  }                                                                                              \
  CRT_API intptr_t exec##l##suffix(const Char* path, const Char* first, ...) {                   \
    LISTED(Char, _P_OVERLAY, path, false, searches);                                             \
  }                                                                                              \
  CRT_API intptr_t exec##l##suffix##e(const Char* path, const Char* first, ...) {                \
    LISTED(Char, _P_OVERLAY, path, true, searches);                                              \
  }                                                                                              \
  CRT_API intptr_t exec##v##suffix(const Char* path, const Char* const* arguments) {             \
    return run<Char>(_P_OVERLAY, path, arguments, nullptr, searches);                            \
  }                                                                                              \
  CRT_API intptr_t exec##v##suffix##e(const Char* path, const Char* const* arguments,            \
                                      const Char* const* environment) {                          \
    return run(_P_OVERLAY, path, arguments, environment, searches);                              \
  }

FAMILY(char, _spawn, _exec, , false)
FAMILY(char, _spawn, _exec, p, true)
FAMILY(wchar_t, _wspawn, _wexec, , false)
FAMILY(wchar_t, _wspawn, _wexec, p, true)
