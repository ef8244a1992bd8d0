// Where the library and the compiler are.
#pragma once

#include <filesystem>
#include <string>

struct Places {
  std::filesystem::path include, parts, finish_image, compiler;
  std::filesystem::path runner;   // which need not be there
  std::filesystem::path fortran;  // which also links Fortran programs
};

// Returns an empty string, or what is missing. `argument` is the name that this program
// was called by.
std::string find_places(const char* argument, Places* places);

// Likewise, for the compiler of Fortran.
std::string find_fortran(Places* places);
