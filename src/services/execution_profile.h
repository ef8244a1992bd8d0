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

#include "include/tarn/profile.h"
#include "platform/abi.h"
