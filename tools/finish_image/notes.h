// The notes that a program's sources leave in section .tarnimg, through the
// macros of include/tarn/image.h.
#pragma once

#include <cstdint>
#include <set>

#include "script.h"

namespace finisher {

// Adds what the notes say to the script, takes the notes' own cells out of
// `relocations` (cells that hold addresses), and removes their section.
void read_notes(Image& image, std::set<std::uint32_t>& relocations, Script& script);

}  // namespace finisher
