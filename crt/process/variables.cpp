#include "variables.h"

#include <stdlib.h>
#include <string.h>

#include "../images/shared_block.h"

#undef __p__environ

namespace crt {

char** environment;
void (*on_change_of_variables)();

}  // namespace crt

extern "C" char*** __p__environ(void) { return &crt::environment; }

namespace {

struct ImageVariables {
  ImageVariables* next;
  char*** table;  // the image's _environ
  void (**on_change)();
};

struct SharedVariables {
  SRWLOCK lock;
  bool is_made, table_is_own;
  char** table;
  ImageVariables* images;
};

SharedVariables* shared;
ImageVariables own = {nullptr, &crt::environment, &crt::on_change_of_variables};

void hand_out_table() {
  for (ImageVariables* image = shared->images; image; image = image->next) {
    *image->table = shared->table;
    if (*image->on_change) (*image->on_change)();
  }
}

// A program may have put another table into its _environ.
void adopt_table() {
  for (ImageVariables* image = shared->images; image; image = image->next) {
    if (*image->table == shared->table) continue;
    shared->table = *image->table;
    shared->table_is_own = false;
    return hand_out_table();
  }
}

// What the system calls a block of strings, as a table that leads into a copy. The entries
// that begin with '=' are the command processor's own.
char** read_variables() {
  char* const block = GetEnvironmentStringsA();
  if (!block) abort();
  size_t count = 0, size = 0;
  for (; block[size] != '\0'; size += strlen(block + size) + 1) ++count;
  char** const table = static_cast<char**>(malloc((count + 1) * sizeof(char*) + size));
  if (!table) abort();
  char* const strings = reinterpret_cast<char*>(table + count + 1);
  memcpy(strings, block, size);
  FreeEnvironmentStringsA(block);
  char** next = table;
  for (size_t at = 0; at < size; at += strlen(strings + at) + 1) {
    if (strings[at] != '=') *next++ = strings + at;
  }
  *next = nullptr;
  return table;
}

// By the constructors, or sooner: a TLS callback may ask for a variable.
__attribute__((constructor(101))) void join_variables() {
  if (shared) return;
  shared =
      static_cast<SharedVariables*>(crt::shared_block("HOSTED ENVIRON", sizeof(SharedVariables)));
  AcquireSRWLockExclusive(&shared->lock);
  adopt_table();
  if (!shared->is_made) shared->table = read_variables();
  shared->is_made = true;
  crt::environment = shared->table;
  own.next = shared->images;
  shared->images = &own;
  ReleaseSRWLockExclusive(&shared->lock);
}

}  // namespace

char** crt::find_variable(const char* name, size_t length) {
  for (char** entry = environment; entry && *entry; ++entry) {
    if (_strnicmp(*entry, name, length) == 0 && (*entry)[length] == '=') return entry;
  }
  return nullptr;
}

crt::VariablesLocked::VariablesLocked() {
  join_variables();
  AcquireSRWLockExclusive(&shared->lock);
  adopt_table();
}

crt::VariablesLocked::~VariablesLocked() { ReleaseSRWLockExclusive(&shared->lock); }

void crt::VariablesLocked::replace_table(char** table) {
  if (shared->table_is_own) free(shared->table);
  shared->table = table;
  shared->table_is_own = true;
  hand_out_table();
}

void crt::VariablesLocked::note_change() { hand_out_table(); }

void crt::leave_variables() {
  const VariablesLocked locked;
  ImageVariables** place = &shared->images;
  while (*place != &own) place = &(*place)->next;
  *place = own.next;
}
