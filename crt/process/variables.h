// The environment as C programs see it: one table of "NAME=value" strings for all hosted images
// of the process, made when the first of them is loaded. What is set in the system alone does
// not come into it. Each image has the table's address under the name _environ, where a program
// may put a table of its own, for all.
#pragma once

#include "../crt.h"

namespace crt {

extern char** environment __asm__("_environ");

// The table's entry of that name, which may have small letters for capitals; null if there is none.
// Called with the table locked.
char** find_variable(const char* name, size_t length);

// While it lives, the calling thread has the table to itself, and each image's _environ leads to
// it. Not to be nested.
class VariablesLocked {
 public:
  VariablesLocked();
  ~VariablesLocked();
  VariablesLocked(const VariablesLocked&) = delete;
  VariablesLocked& operator=(const VariablesLocked&) = delete;

  // Puts an array from malloc in the place of the table, which is freed if it was such a one.
  void replace_table(char** table);
  // Called after a change within the table.
  void note_change();
};

// Called in this image after each change, with the table locked, if it is set.
extern void (*on_change_of_variables)();

// This image goes; no routine for the environment is called in it from now on.
void leave_variables();

}  // namespace crt
