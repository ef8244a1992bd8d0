// The names of routines as reports show them.
#pragma once

#include <string>
#include <string_view>

namespace finisher {

// A Fortran main program that its source, or an object without debug data, has no name of.
inline constexpr char kNamelessProgram[] = "MAIN__", kShownNamelessProgram[] = "main program";

// What the source calls the routine that the linker knows by `symbol`, as far as
// the symbol says.
std::string shown_name(std::string symbol);

// Whether a shown name is reserved for the implementation of C and C++, or of something in
// such a scope: std::__sort<...>, std::thread::_State::_State().
bool is_reserved(std::string_view shown);

}  // namespace finisher
