// Share modes. An opener states what it does with a file and what it denies to
// others; two openers of one file, in one process or two, may not contradict
// each other.
#pragma once

#include <cstdint>

namespace tarn::platform {

struct FileUse {
  bool reads, writes;
  bool denies_reading, denies_writing, denies_deletion;
};

// Claims the file that `descriptor` has open for this use until the descriptor
// is closed. False, with nothing claimed, if another opener's claim contradicts
// it. `descriptor` must allow reading or writing.
bool claim_file(int descriptor, const FileUse& use);

// True if somebody holds the file that `descriptor` has open and denies its
// deletion.
bool deletion_is_denied(int descriptor);

}  // namespace tarn::platform
