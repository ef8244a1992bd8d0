// What the system says about itself and about the program.
//
// State: the version and the memory, noted once on the first thread, when the
// console starts: it is the first to need them. Zeros until then.
#pragma once

#include "include/tarn/runtime.h"
#include "platform/platform.h"

namespace tarn {

struct SystemFacts {
  platform::VersionInfo version;
  std::uint64_t physical_memory;  // bytes; 0 if the system does not say
};
extern SystemFacts system_facts;

// Fills system_facts.
void note_system_facts();

// Total physical memory in bytes as the system reports it now; 0 if it does not.
std::uint64_t ask_physical_memory();

}  // namespace tarn
