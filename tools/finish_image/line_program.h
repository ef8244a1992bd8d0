// Line numbers from the DWARF line programs (versions 2 to 5) that GCC writes.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "dwarf_reader.h"

namespace finisher {

// From this address on, up to the next row, the code belongs to the line.
struct LineRow {
  std::uint64_t address;  // as linked, at the preferred base
  std::uint32_t file;     // an index into LineTable::files
  std::uint32_t line;     // 0: code of no line
};

struct LineTable {
  // Of all units, in ascending order of address; rows of one address stay in
  // the order of the program. Rows that only end a sequence are left out.
  std::vector<LineRow> rows;
  // Each path once, so that an index identifies a file. The first is no file's.
  std::vector<std::string> files;
  // For each unit, by its offset in .debug_line: its file numbers as indices.
  std::map<std::uint64_t, std::vector<std::uint32_t>> units;
};

// Refuses damaged sections.
LineTable read_line_table(const DebugSections& sections);

}  // namespace finisher
