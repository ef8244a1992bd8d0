// The routine table and the line tables of an image, which the library's
// traceback reads. docs/image-format.md describes their bytes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "image.h"

namespace finisher {

// A program's main and what comes after it, linked between the interpreter and
// the user's main; a traceback ends there as in the interpreter.
inline constexpr char kRunRoutine[] = "tarn_run_program";

// The name in the table at which a traceback ends.
inline constexpr char kStartRoutineInTable[] = "__brackenstartup";

// Whose a routine is.
enum class Owner : std::uint32_t {
  kProgram = 0,
  kRunTime = 1,        // one that programs call
  kInsideRunTime = 2,  // reports do not show it, unless the failure is in it
};

struct InlinedCode {
  std::uint32_t start, end;  // from the routine's start; the end is not in it
  std::string_view name;     // of the inlined routine
  std::uint32_t line;        // of the call
  std::uint32_t file;        // of the call, an index into RoutineTable::files
  Owner owner;
};

// Pairs of a value and the offset from the routine's start at which it begins, ascending.
using LinePairs = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

struct Routine {
  std::string name;
  std::uint32_t start = 0;
  std::uint32_t end = 0;         // of its last byte
  std::uint32_t frame_size = 0;  // 0 if its prologue is of neither known form
  LinePairs lines;
  // Those of the code, whichever file it is from, if they are others.
  LinePairs code_lines;
  // Of the files that those are of: indices into RoutineTable::files. Empty: not known.
  LinePairs files;
  // Code that came from other routines, what is within other such code before that.
  std::vector<InlinedCode> inlined;
  Owner owner = Owner::kProgram;
};

// The routines of an image.
struct RoutineTable {
  // Lines are those of calls, of the file that the code is from, and inlined code is a frame of
  // its own. Otherwise they are of the routine's own file, and what the code is from is
  // for the details alone.
  bool call_lines = false;
  std::vector<Routine> routines;   // ascending by start
  std::vector<std::string> names;  // of inlined routines
  std::vector<std::string> files;  // the first is none's
};

// From the function symbols, the import thunks and the debug data of an image that is
// being finished.
RoutineTable collect_routines(Image& image, bool call_lines);

// Of those, only what the image exports, under the shortest of each routine's
// exported names and without lines. Refuses a damaged export directory.
RoutineTable collect_public_routines(Image& image);

// The bytes of the section that holds the table and, after it, the debug
// records, line tables, inlined code and its names. `offset`: where in the image it will be.
Bytes build_routine_table(const RoutineTable& table, std::uint32_t offset);

// The table of a finished image.
std::vector<Routine> read_routine_table(Image& image);

}  // namespace finisher
