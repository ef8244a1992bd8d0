// The entries of .debug_info (DWARF, versions 2 to 5), one after the other, as far as it
// takes to know routines and what was inlined into them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "dwarf_reader.h"

namespace finisher {

enum EntryTag : std::uint64_t {
  kClass = 0x02,
  kStructure = 0x13,
  kUnion = 0x17,
  kInlinedCall = 0x1D,
  kModule = 0x1E,
  kRoutine = 0x2E,
  kNamespace = 0x39,
};

struct Interval {
  std::uint64_t start, end;  // as linked; the end is not in it
};

struct DebugEntry {
  std::uint64_t offset = 0;  // in .debug_info, by which other entries refer to it
  std::uint64_t tag = 0;     // EntryTag, or another
  bool has_children = false;
  std::uint64_t origin = 0;           // the entry that has the rest; 0: none
  std::uint64_t line = 0;             // of the call
  std::optional<std::uint64_t> file;  // that declares it, or that calls, by its unit's numbers
  bool is_main_program = false;
  // Of a unit's first entry.
  std::uint64_t language = 0;
  std::optional<std::uint64_t> line_offset;  // in .debug_line
  // Of routines, calls and scopes; at most 4096 bytes of them.
  std::optional<std::string_view> name, linkage_name;
  std::vector<Interval> code;  // of routines and calls

  bool is_code() const { return tag == kRoutine || tag == kInlinedCall; }
  bool is_scope() const {
    return tag == kClass || tag == kStructure || tag == kUnion || tag == kModule ||
           tag == kNamespace;
  }
};

class EntryTaker {
 public:
  virtual ~EntryTaker() = default;
  // Before its first entry, this one, is entered.
  virtual void begin_unit(const DebugEntry& first) = 0;
  virtual void enter(DebugEntry& entry) = 0;
  // After the children of the last entry that was entered, has some and was not yet left.
  // Those that are open where a unit ends are not left.
  virtual void leave() = 0;
};

// Refuses damaged sections; leaves out units of versions that it does not know.
void read_entries(const DebugSections& sections, EntryTaker* taker);

}  // namespace finisher
