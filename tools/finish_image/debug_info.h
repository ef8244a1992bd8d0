// Which code was inlined where, and what Fortran calls its routines, from the DWARF
// entries (versions 2 to 5).
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "line_program.h"

namespace finisher {

// Code of a routine, or code that was inlined into one. The ranges of one routine
// are nested.
struct CodeRange {
  std::uint64_t start, end;  // as linked; the end is not in it
  std::uint32_t depth;       // greater for what is within
  std::uint32_t file;        // that the routine is in, an index into LineTable::files
  std::uint32_t origin;      // the file of the routine that was inlined, or of this one
  // Of the innermost call in that file by which the code came to be inlined; 0 for
  // code of the routine itself.
  std::uint32_t line;
  std::uint32_t name;       // of the routine that was inlined, an index; 0: not inlined
  std::uint32_t call_line;  // of the call that it stands for
  std::uint32_t call_file;
};

struct DebugEntries {
  // Ascending by start, and by depth where they start together.
  std::vector<CodeRange> ranges;
  // Of routines that were inlined, as reports show them. The first is none's.
  std::vector<std::string> names;
  // The routines of Fortran units by their addresses, as their users know them: `solve`, in
  // a module `linear:solve`, in another routine `solve:step`; a main program by its name,
  // and kProgramStart for the routine that the compiler makes to call it.
  std::unordered_map<std::uint64_t, std::string> fortran_names;
};

inline constexpr char kProgramStart[] = "";

// Refuses damaged sections; leaves out units of versions that it does not know.
DebugEntries read_debug_entries(const DebugSections& sections, const LineTable& lines);

}  // namespace finisher
