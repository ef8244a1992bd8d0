// Overview of the streams module: FILE streams. On them sit the formatting
// engine (streams/format.h) and the scanning engine (streams/scan.h), which take
// numbers to and from text by streams/conversion/conversion.h.
//
// A stream is a thin record around one platform handle. It has no data
// buffer: each read and each write reaches the platform at once, in blocks of
// at most 8 kB, and nothing is ever left to flush. Streams are text streams
// unless opened with "b": output puts a carriage return before each line feed,
// input drops every carriage return. Reads and writes may be mixed freely.
//
// State: none but the records. The standard streams are in cells 1 to 3 of
// __runtime_block, which only this module writes.
//
// Errors: a stream pointer that is null or not a live stream raises run-time
// error 296, "Invalid FILE structure", in every routine that does not say
// otherwise. A closed stream must not be used; its memory may have been reused.
//
// Threads: no locks. Two threads on one stream mix by blocks.
#pragma once

#include "include/stdio.h"
#include "platform/abi.h"
#include "platform/platform.h"
#include "process/process_state.h"

namespace tarn {

inline constexpr std::uint32_t kFileMagic = 0x46494C47;

enum FileFlag : std::uint8_t {
  kFileReadMark = 0x01,        // "+" modes and stdin; recorded, not tested
  kFileWriteMark = 0x02,       // write, append and "+" modes, stdout, stderr; recorded, not tested
  kFileStandardStream = 0x04,  // fclose leaves the handle open
  kFileBinary = 0x08,
  kFileError = 0x10,
  kFileEndOfFile = 0x20,
};

struct FILE {
  std::uint32_t magic;  // kFileMagic while the stream is alive, 0 once closed
  platform::Handle handle;
  std::int32_t pushback;  // character pushed back by ungetc; 0: none
  std::uint8_t flags;
};
static_assert(sizeof(FILE) == 24);

inline constexpr std::int32_t kEndOfFile = -1;

inline FILE* standard_stream(RuntimeCell cell) {
  return reinterpret_cast<FILE*>(runtime_cell(cell));
}

// A new record with everything but the magic 0, from operator_new.
TARNAPI FILE* __new_file_struct();

// Makes stdin, stdout and stderr, text streams on the process's standard
// handles. Part of initialisation.
TARNAPI void __init_c_io();

}  // namespace tarn
