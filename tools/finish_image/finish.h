// Turns what the linker made into a finished image. docs/image-format.md describes
// what a finished image is.
#pragma once

#include "image.h"

namespace finisher {

struct Options {
  bool must_be_dll = false;
  bool note = false;            // as TARN_NOTE_IMAGE
  bool undefined_fill = false;  // as TARN_UNDEFINED_FILL
  bool require_avx = false;     // as TARN_REQUIRE_AVX
  bool strip = false;           // leave out symbols and debug sections
  // An ordinary program or DLL, which gets the tables and stays as it is otherwise.
  bool report_only = false;
  // The routine table has only what the image exports, under the exported
  // names and without lines: for a library whose internals mean nothing to a program.
  bool public_routines = false;
  // Of a routine that has called another a report shows the line of the call, and not
  // that of the instruction after it: for hosted programs.
  bool call_lines = false;
};

struct Finished {
  Bytes file;
  std::string remark;  // something the user may want to know; empty if nothing
};

// The finished image of a linked one. Throws ImageError.
Finished finish(const Bytes& linked, const Options& options);

}  // namespace finisher
