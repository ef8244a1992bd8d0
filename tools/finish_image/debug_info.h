// Which code was inlined where, from the DWARF entries (versions 2 to 5).
#pragma once

#include <cstdint>
#include <vector>

#include "line_program.h"

namespace finisher {

// Code of a routine, or code that was inlined into one. The ranges of one routine
// are nested.
struct CodeRange {
  std::uint64_t start, end;  // as linked; the end is not in it
  std::uint32_t depth;       // greater for what is within
  std::uint32_t file;        // that the routine is in, an index into LineTable::files
  // Of the innermost call in that file by which the code came to be inlined; 0 for
  // code of the routine itself.
  std::uint32_t line;
};

// Ascending by start, and by depth where they start together. Refuses damaged
// sections; leaves out units of versions that it does not know.
std::vector<CodeRange> read_code_ranges(const DebugSections& sections, const LineTable& lines);

}  // namespace finisher
