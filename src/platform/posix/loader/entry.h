// The entry points of modules.
#pragma once

#include "platform/posix/loader/loader.h"
#include "platform/posix/loader/module_list.h"

namespace tarn::platform {

// Modules in the order in which their entries are called: what a module needs
// comes before it.
struct StartOrder {
  int count;
  int modules[kMostModules];
};

// Calls the entries of the DLLs. False, with the reason, at the first that fails.
bool start_modules(const StartOrder& order, LoadError* error);

// Tells a started DLL that it is being unloaded.
void stop_module(const ModuleRecord& record);

// The stack that run_program enters the program on.
bool make_stack(std::uint64_t wanted, LoadError* error);

// What run_program starts.
void set_program_order(const StartOrder& order);

}  // namespace tarn::platform
