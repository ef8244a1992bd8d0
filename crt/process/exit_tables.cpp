// A program's own lists of routines to call at an end, such as those of what it unloads.
#include <corecrt_startup.h>
#include <stdlib.h>

#include "../images/lock.h"

using namespace crt;

namespace {
Lock tables_lock;
}

// One that is in use keeps its routines.
CRT_API int _initialize_onexit_table(_onexit_table_t* table) {
  if (!table) return -1;
  if (table->_first == table->_end) *table = {};
  return 0;
}

CRT_API int _register_onexit_function(_onexit_table_t* table, _onexit_t routine) {
  if (!table) return -1;
  const Locked locked(tables_lock);
  if (table->_last == table->_end) {
    const size_t count = static_cast<size_t>(table->_end - table->_first);
    const size_t room = count < 16 ? 32 : count * 2;
    auto* const first = static_cast<_PVFV*>(realloc(table->_first, room * sizeof(_PVFV)));
    if (!first) return -1;
    *table = {first, first + count, first + room};
  }
  *table->_last++ = reinterpret_cast<_PVFV>(routine);
  return 0;
}

// The last one first; so are those that a routine registers meanwhile. The table is empty then.
CRT_API int _execute_onexit_table(_onexit_table_t* table) {
  if (!table) return -1;
  const Locked locked(tables_lock);
  while (table->_last != table->_first) {
    if (const _PVFV routine = *--table->_last) routine();
  }
  free(table->_first);
  *table = {};
  return 0;
}
