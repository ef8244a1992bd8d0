// The names of routines as reports show them.
#pragma once

#include <string>

namespace finisher {

// What the source calls the routine that the linker knows by `symbol`, as far as
// the symbol says.
std::string shown_name(std::string symbol);

}  // namespace finisher
