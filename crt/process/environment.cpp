// The environment: the table of the hosted images, and the system's, which children get.
#include <stdlib.h>
#include <string.h>

#include "../crt.h"
#include "../strings/checked.h"
#include "../strings/utf8.h"
#include "variables.h"

using namespace crt;

namespace {

// Strings that getenv has returned stay valid, so a replaced one is not freed.
bool set(VariablesLocked& variables, char* entry, size_t name_length) {
  if (char** const place = find_variable(entry, name_length)) {
    *place = entry;
    variables.note_change();
    return true;
  }
  size_t count = 0;
  while (environment && environment[count]) ++count;
  char** const table = static_cast<char**>(malloc((count + 2) * sizeof(char*)));
  if (!table) return false;
  memcpy(table, environment, count * sizeof(char*));
  table[count] = entry;
  table[count + 1] = nullptr;
  variables.replace_table(table);
  return true;
}

void remove_entry(VariablesLocked& variables, char** place) {
  do {
    place[0] = place[1];
  } while (*place++);
  variables.note_change();
}

}  // namespace

CRT_API char* getenv(const char* name) {
  const size_t length = strlen(name);
  const VariablesLocked locked;
  char** const entry = find_variable(name, length);
  return entry ? *entry + length + 1 : nullptr;
}

// "NAME=value"; without a value the variable goes.
CRT_API int _putenv(const char* assignment) {
  const char* const equals = assignment ? strchr(assignment, '=') : nullptr;
  if (!equals || equals == assignment) return fail_with(EINVAL);
  const size_t length = static_cast<size_t>(equals - assignment);
  char* const entry = _strdup(assignment);
  if (!entry) return -1;
  VariablesLocked variables;
  entry[length] = '\0';
  if (!SetEnvironmentVariableA(entry, equals[1] ? equals + 1 : nullptr) && equals[1]) {
    fail();
    free(entry);
    return -1;
  }
  entry[length] = '=';
  if (equals[1]) {
    if (set(variables, entry, length)) return 0;
  } else if (char** const place = find_variable(entry, length)) {
    remove_entry(variables, place);
  }
  free(entry);
  return equals[1] ? -1 : 0;
}

CRT_API errno_t _putenv_s(const char* name, const char* value) {
  if (!name || !value || strchr(name, '=')) return errno = EINVAL;
  char* const assignment = static_cast<char*>(malloc(strlen(name) + strlen(value) + 2));
  if (!assignment) return errno = ENOMEM;
  strcat(strcat(strcpy(assignment, name), "="), value);
  const int result = _putenv(assignment);
  free(assignment);
  return result == 0 ? 0 : errno;
}

CRT_API int _wputenv(const wchar_t* assignment) {
  const NarrowText narrow(assignment);
  return narrow.valid() ? _putenv(narrow) : -1;
}
CRT_API errno_t _wputenv_s(const wchar_t* name, const wchar_t* value) {
  const NarrowText narrow_name(name), narrow_value(value);
  if (!narrow_name.valid() || !narrow_value.valid()) return errno = EINVAL;
  return _putenv_s(narrow_name, narrow_value);
}

namespace {

const char* value_of(const char* name) { return getenv(name); }
const wchar_t* value_of(const wchar_t* name) { return _wgetenv(name); }

// *result is the size with the NUL, 0 if there is no such variable.
template <class Char>
errno_t copy_value(size_t* result, Char* to, size_t size, const Char* name) {
  if (!result || !name || (!to && size > 0)) return refuse(to, size, EINVAL);
  const Char* const value = value_of(name);
  *result = value ? length_within(value, SIZE_MAX) + 1 : 0;
  if (!to || size == 0) return 0;
  *to = 0;
  return !value ? 0 : *result > size ? ERANGE : copy_checked(to, size, 0, value);
}

template <class Char>
errno_t duplicate_value(Char** to, size_t* size, const Char* name) {
  if (!to || !name) return errno = EINVAL;
  size_t needed;
  *to = nullptr;
  copy_value(&needed, static_cast<Char*>(nullptr), 0, name);
  if (size) *size = needed;
  if (needed == 0) return 0;
  *to = static_cast<Char*>(malloc(needed * sizeof(Char)));
  return *to ? copy_value(&needed, *to, needed, name) : errno;
}

}  // namespace

CRT_API errno_t getenv_s(size_t* result, char* to, size_t size, const char* name) {
  return copy_value(result, to, size, name);
}
CRT_API errno_t _wgetenv_s(size_t* result, wchar_t* to, size_t size, const wchar_t* name) {
  return copy_value(result, to, size, name);
}
CRT_API errno_t _dupenv_s(char** to, size_t* size, const char* name) {
  return duplicate_value(to, size, name);
}
CRT_API errno_t _wdupenv_s(wchar_t** to, size_t* size, const wchar_t* name) {
  return duplicate_value(to, size, name);
}
