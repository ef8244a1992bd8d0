// The routine table and the line tables of an image, which the library's
// traceback reads. docs/image-format.md describes their bytes.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "image.h"

namespace finisher {

// A program's main and what comes after it, linked between the interpreter and
// the user's main; a traceback ends there as in the interpreter.
inline constexpr char kRunRoutine[] = "tarn_run_program";

// The name in the table at which a traceback ends.
inline constexpr char kStartRoutineInTable[] = "__brackenstartup";

struct Routine {
  std::string name;
  std::uint32_t start = 0;
  std::uint32_t end = 0;         // of its last byte
  std::uint32_t frame_size = 0;  // 0 if its prologue is of neither known form
  // (line, offset from start), ascending by offset.
  std::vector<std::pair<std::uint32_t, std::uint32_t>> lines;
};

// From the function symbols, the import thunks and the line programs of an
// image that is being finished; ascending by start.
std::vector<Routine> collect_routines(Image& image);

// Of those, only what the image exports, under the shortest of each routine's
// exported names and without lines. Refuses a damaged export directory.
std::vector<Routine> collect_public_routines(Image& image);

// The bytes of the section that holds the table and, after it, the debug
// records and line tables. `offset`: where in the image it will be; `call_lines`: as
// Options has it.
Bytes build_routine_table(const std::vector<Routine>& routines, std::uint32_t offset,
                          bool call_lines);

// The table of a finished image.
std::vector<Routine> read_routine_table(Image& image);

}  // namespace finisher
