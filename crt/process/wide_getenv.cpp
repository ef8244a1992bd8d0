#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "../strings/utf8.h"
#include "variables.h"
#include "wide_variables.h"

using namespace crt;

namespace {

struct WideVariable {
  WideVariable* next;
  wchar_t text[2];  // and the rest of it
};

WideVariable* wide_variables;

}  // namespace

wchar_t* crt::wide_variable(const char* entry) {
  const size_t room = strlen(entry) + 2;
  auto* const made =
      static_cast<WideVariable*>(malloc(sizeof(WideVariable) + room * sizeof(wchar_t)));
  if (!made || !to_wide(entry, made->text, room)) {
    free(made);
    return nullptr;
  }
  for (WideVariable* known = wide_variables; known; known = known->next) {
    if (wcscmp(known->text, made->text) != 0) continue;
    free(made);
    return known->text;
  }
  made->next = wide_variables;
  wide_variables = made;
  return made->text;
}

CRT_API wchar_t* _wgetenv(const wchar_t* name) {
  const NarrowText narrow(name);
  if (!narrow.valid()) return nullptr;
  const VariablesLocked locked;
  char** const entry = find_variable(narrow, strlen(narrow));
  wchar_t* const wide = entry ? wide_variable(*entry) : nullptr;
  return wide ? wcschr(wide, L'=') + 1 : nullptr;
}
