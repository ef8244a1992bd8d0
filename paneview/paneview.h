// The sibling library, PANEVIEW64.DLL: what the run-time library and compiled
// programs import from it. On Windows it is a DLL of its own, without any C
// run-time; on the host it is linked into the program runner. One source makes
// both; it asks the system only through platform/platform.h and windows_ui.h.
//
// What it is for: dialogs described by format strings, the Fortran output and
// character entries, the elementary functions, a few C functions over files
// and time, and memory shared by the processes of one run.
//
// State it owns: the pending dialog (dialog.cpp), the open windows (the
// platform's, windows_ui.h), the formatted write in progress
// (formatted_write.cpp), the text of ctime. None of it is locked:
// these families are for one thread at a time. The elementary functions, the
// character entries and the file functions have no state.
//
// Errors: a routine that says "raises n" traps with number n of the library's
// error catalogue (raise.h) and doesn't return.
//
// Text written to the standard handles ends its lines with CR LF, as the
// library's own text streams do on both targets.
#pragma once

#include "platform/abi.h"

namespace paneview {

// ---- Start and program control -----------------------------------------------

// Called once while the library starts; `avx` is 1 if the processor has AVX.
TARNAPI void __init_paneview64(std::int32_t avx);

// Lets the program's windows handle what is pending, then yields the
// rest of the time slice. `mode` 1 is the only one in use; others do the same.
TARNAPI void __yield_program_control(std::int32_t mode);

// Memory shared by all processes of one run: this process, and the processes
// that inherit its environment after the first call. Two runs never meet, and
// nothing is left once the last process has ended, however it ended.
// `name` 1 to 63 bytes without '\', `size` 1 to 2^30 bytes. All zero when new. A name keeps
// the address in one process; the first caller's size, in whole pages, applies,
// and asking for more returns null, as any other failure does. After the last page an
// access faults.
TARNAPI void* __create_interprocess_shared_memory(const char* name, std::uint64_t size);

// ---- Dialogs -------------------------------------------------------------------

// Adds to the pending dialog what `format` says; a format that doesn't end in
// "&" (the empty string is one) also shows it and waits until it closes. Result:
// 0 while adding, else the number of the button that closed it, from 1, or 0.
//
// In a format, plain text is shown, "\n" begins a line, "\f" too, "%%" is a
// per cent sign. A code is % [marks and numbers] two letters [name in square
// brackets]; each takes its arguments in the order of the table:
//
//   %ca[title]  %ca@      title; with @ from a text argument
//   %bg                   background: colour argument, 0xBBGGRR
//   %fn[font] %ww[style] %ex %cn %nl %ff
//                         font, window style, layout: no argument
//   %si# %si!             icon of an error, a warning
//   %ws                   text argument, copied
//   %rd                   address of a 32-bit integer, shown as it is at this call
//   %w.heb[options]       box of w by h characters: address of its text, its size.
//                         Always read only; "vscrollbar", "no_frame"
//   %wbt[label]           button, its letter after a '&'; without a callback it
//                         closes the dialog
//   %sc                   callback, run once the dialog is shown
//   %ac[key] %pm[a,b]     accelerator, popup menu: for each entry the name of a
//                         standard callback ("COPY"), or with ^ a callback
//   %lc                   address of a cell for the handle of the box or button
//                         before; null in a text dialog
//   %hw                   handle of the owner window; null: the dialog around
//
// Marks: ^ the code has a callback argument, after its others; ? a second
// pair of brackets holds help; ` a button is the default (else the last is).
// A callback takes nothing; its result 0 closes the dialog, else it stays. It
// may build and show dialogs itself.
//
// "COPY" copies what the user selected in a box, else all the dialog's strings.
//
// Limits: 128 items, 16 buttons, 32 kB of text, 64 arguments a call, 4,096
// bytes a format. What is malformed or beyond them is left out, with one line
// in the dialog.
//
// Where it is shown: on Windows with a desktop in a window, also if the program
// has a console; Enter presses the default button, Esc and the window's corner
// the last one. Else, if standard input and output are both a terminal, as
// text, answered by single keys; Ctrl+C and end of input are the last button.
// Otherwise the text goes to standard output and the last button's callback runs
// once; of a dialog with the sign of an error the text goes to standard error
// after an empty line, for nobody knows where the program's own output appears, and
// no callback runs, as it might hide the error. The result is kNobodyAnswered, as
// it is if the text could not be written. So a dialog never waits for someone who
// isn't there. There is a desktop if the process belongs to a visible window station
// and a window can be made, which is tried once.
inline constexpr std::int32_t kNobodyAnswered = -1;
TARNAPI std::int32_t __winio(const char* format, ...);

// Drops the pending dialog and closes the windows that are open; a dialog that
// is being shown ends with result 0. Before the process ends.
TARNAPI void __close_all_windows();

struct FileNameRecord {
  std::int32_t size;  // of the result, without its NUL; also bounds default_path
  char default_path[];
};
// Asks for the name of a file to write. Result: 1 with the path in `buffer`
// (record->size + 1 bytes), or 0 with an empty string if the user declined or
// there is nobody to ask. With a desktop in the system's dialog, which offers
// the default path with ".txt" after it; `owner` null is the innermost open
// dialog. On a terminal an empty line takes that path; end of input, or Escape
// and then Enter, declines. `zero` is unused.
TARNAPI std::int32_t get_filename(void* owner, const char* title, std::int64_t zero, char* buffer,
                                  const FileNameRecord* record);

// ---- Fortran characters and output ----------------------------------------------

// Code of the character, 0 to 255.
TARNAPI std::int32_t ICHAR$(const char* character);
// Length of the text without its trailing spaces. Lengths below 0 count as 0.
TARNAPI std::int64_t LENG8$(const char* text, std::int64_t length);
// Fortran assignment: copies, cuts on the right, pads with spaces. The two
// may overlap.
TARNAPI void CCOPY$(const char* source, char* destination, std::int64_t source_length,
                    std::int64_t destination_length);

// A formatted write: WSF1$$ begins it, CH$WSF and I4$WSF add the items in
// order, WSF2$ ends it and writes the last record.
// `unit`: address of the unit number: 6 (also for null) standard output, 0
// standard error; others raise 60. A compiled format block is a row of
// descriptors, each one byte, all but '/' followed by a 16-bit little-endian n:
//   'T' n, n bytes  the bytes themselves      'A' n  character item, n wide; 0 its length
//   'X' n           n spaces                  'I' n  integer item, n wide; 0 its digits
//   '/'             begins a record
// When items remain at the block's end, it starts over with a new record. A
// field too narrow for an integer is filled with '*'; a longer character item
// is cut on the right. The block must live until WSF2$.
// The first character of each record says how it begins: '1' with a form feed,
// '0' with an empty line; ' ' and '+' with nothing; all four are not written
// themselves, any other character is kept. Records are cut at 4,096 bytes.
// Raises 74 (malformed block), 51 (item of the other type), 59 (items, but no
// descriptor for one).
TARNAPI void WSF1$$(const std::int32_t* unit, const void* block, std::uint64_t block_length);
TARNAPI void CH$WSF(const char* text, std::uint64_t length);
TARNAPI void I4$WSF(const std::int32_t* value);
TARNAPI void WSF2$();

// Shows the text as one line on standard error and ends the process with
// status 0: a Fortran STOP is an orderly end.
[[noreturn]] TARNAPI void STOP$(const char* text, std::uint64_t length);

// ---- Elementary functions ---------------------------------------------------------
//
// Computed in SSE2 arithmetic by the same steps on every processor: the same
// bits on both targets. The error stays below 0.52 units in the last place in
// double and 0.503 in single precision. Whatever the SSE control register says,
// results are those of rounding to the nearest, subnormal arguments and
// results count as they are, and no exception is raised but the loss of
// precision. The result of a NaN is a quiet NaN.

TARNAPI float EXP$$(float x);   // raises 25 if the result overflows; 0 on underflow
TARNAPI float ALOG$$(float x);  // natural, raises 34 for x <= 0
TARNAPI float AL10$$(float x);  // base 10, likewise
TARNAPI float ALG2$$(float x);  // base 2, likewise
TARNAPI float ASIN$$(float x);  // raises 26 for |x| > 1
TARNAPI float ACOS$$(float x);  // likewise
TARNAPI float SINH$$(float x);  // raises 20 if the result overflows
TARNAPI float COSH$$(float x);  // likewise
TARNAPI float TANH$$(float x);
TARNAPI float AINT$$(float x);  // toward zero; the sign of x stays
// x - y * trunc(x / y), exact, with the sign of x. Raises 32 for y = 0; NaN
// for infinite x.
TARNAPI float MOD$$(float x, float y);
TARNAPI float ATAN2V$(float y, float x);  // raises 33 if both are zero

TARNAPI double DEXP$$(double x);
TARNAPI double DALOG$$(double x);
TARNAPI double DAL10$$(double x);
TARNAPI double DALG2$$(double x);
TARNAPI double DASIN$$(double x);
TARNAPI double DACOS$$(double x);
TARNAPI double DSINH$$(double x);
TARNAPI double DCOSH$$(double x);
TARNAPI double DTANH$$(double x);
TARNAPI double DAINT$$(double x);
TARNAPI double DMOD$$(double x, double y);
TARNAPI double DATAN2V$(double y, double x);
TARNAPI double DSIGN$(double magnitude, double sign);
// x to the power y. Raises 21 for x = 0 and y <= 0, 36 for x < 0 and y not
// integral, 439 on overflow. 0 on underflow.
TARNAPI double XX$DD(double x, double y);

// Modulus of {real, imaginary}. Raises 171 if finite parts overflow.
TARNAPI float CABS$$(const float* complex);
TARNAPI double ZABS$$(const double* complex);

// ---- C functions --------------------------------------------------------------------

// 0 on success, -1 on failure. remove deletes a file, not a directory.
TARNAPI std::int32_t mkdir(const char* path);
TARNAPI std::int32_t remove(const char* path);
TARNAPI std::int32_t chdir(const char* path);

struct FindRecord {
  std::uint32_t attributes;  // the system's; 16 a directory
  std::uint32_t reserved;
  std::uint64_t size;     // bytes
  std::uint64_t written;  // last write, units of 100 ns since 1601 UTC
  char name[488];         // without its folder
};
static_assert(sizeof(FindRecord) == 512);
inline constexpr std::int32_t kFindDirectories = 16;
// First entry that matches the pattern ('*' and '?' in its last component);
// directories count only with kFindDirectories. Result 0 with the record
// filled (it may be null), or -1.
TARNAPI std::int32_t findfirst(const char* pattern, FindRecord* record, std::int32_t flags);

// Seconds since 1970-01-01 UTC, whole, as a floating value; also stored at
// `store` unless it is null.
TARNAPI double time(double* store);
// Local time as "Tue Nov 24 15:46:20 2026\n", valid until the next call. A
// time outside the years 1601 to 9999 is written as question marks in the same places.
TARNAPI const char* ctime(const double* time);

}  // namespace paneview
