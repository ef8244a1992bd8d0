// Line numbers from the DWARF line programs (versions 2 to 5) that GCC writes.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace finisher {

// From this address on, up to the next row, the code belongs to the line.
struct LineRow {
  std::uint64_t address;  // as linked, at the preferred base
  std::uint32_t file;     // number within its unit: only good for comparing
  std::uint32_t line;     // 0: code of no line
};

// The rows of all units of a .debug_line section, in ascending order of
// address; rows of one address stay in the order of the program. Rows that
// only end a sequence are left out. Refuses a damaged section.
std::vector<LineRow> read_line_rows(std::span<const std::uint8_t> section);

}  // namespace finisher
