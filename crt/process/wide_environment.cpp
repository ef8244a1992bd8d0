// _wenviron, which follows the table in the images that name it.
#include <stdlib.h>

#include "variables.h"
#include "wide_variables.h"

#undef __p__wenviron

namespace crt {

extern wchar_t** wide_environment __asm__("_wenviron");
wchar_t** wide_environment;

}  // namespace crt

extern "C" wchar_t*** __p__wenviron(void) { return &crt::wide_environment; }

namespace {

// Keeps the last table if there is no memory for another.
void follow_table() {
  size_t count = 0;
  while (crt::environment && crt::environment[count]) ++count;
  auto** const table = static_cast<wchar_t**>(malloc((count + 1) * sizeof(wchar_t*)));
  if (!table) return;
  wchar_t** next = table;
  for (size_t i = 0; i < count; ++i) {
    if (wchar_t* const wide = crt::wide_variable(crt::environment[i])) *next++ = wide;
  }
  *next = nullptr;
  free(crt::wide_environment);
  crt::wide_environment = table;
}

__attribute__((constructor(102))) void begin_to_follow() {
  const crt::VariablesLocked locked;
  crt::on_change_of_variables = follow_table;
  follow_table();
}

}  // namespace
