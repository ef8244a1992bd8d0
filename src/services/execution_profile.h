// The execution profile: what compiled code counted in its profile block, as
// two files beside the source.
//
// The block, which is in the program's image and whose address the start-up
// script passes to __record_profile_address (startup/start_up.h):
//
//   offset      bytes
//   0           8        n, signed: the number of source lines
//   8           8 * n    counters, signed, the first for line 1; a negative
//                        one marks a line without code
//   8 + 8 * n   to a NUL path of the source, with an extension of three letters
//
// Errors: nothing is raised. State: the text of num_layout. One thread.
#pragma once

#include "platform/abi.h"

namespace tarn {

// For who ends a profiled program, once the counters are final. With the
// source's path ending in .LIS and .PROFILE: writes the summary, and rewrites
// the compiler's listing with a count after each numbered line, and as a last
// line which line ran most. A numbered line begins with a space, and then has a
// first word of at least four characters, digits in places 1 and 4 and no ';'
// in place 3. Prints a line for each file. The path in the block then ends in
// .LIS.
//
// Does nothing without a block, or with one whose n is below 0 or above
// 2^31 - 1 or whose path has fewer than four characters. A listing that cannot
// be read whole or opened for writing, or for which the disk has no room, stays
// as it is, without a word; to find out it is first written under the extension
// .LI$, and that file deleted. Where the listing then can neither be written nor
// put back, that file stays, and a line says so. Lines whose number is not from
// 1 to n are treated as lines without code: they get a space, no count. A last
// line for which fewer than three bytes are left, its line feed included, is not
// written back.
TARNAPI void __use_profile_data();

// The summary: a line for each of the `n` counters that is not negative. If the
// file cannot be opened nothing is written, and the line printed says so.
TARNAPI void generate_profile_summary(const std::int64_t* counters, std::int32_t n,
                                      const char* file_name);

// The value with a comma before each group of three digits, and as wide as
// three digits where it is shorter: "  7", " 42", "1,234". Valid until the next
// call.
TARNAPI char* num_layout(std::int64_t value);

// The first character that is not white space.
TARNAPI char* skip_blanks(const char* text);

}  // namespace tarn
