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

// ---- Opening and closing --------------------------------------------------

// A new record with everything but the magic 0, from operator_new.
TARNAPI FILE* __new_file_struct();

// Makes stdin, stdout and stderr, text streams on the process's standard
// handles. Part of initialisation.
TARNAPI void __init_c_io();

// Null on failure; errno is not touched. The letters of the mode act from
// left to right, each overruling the ones before it:
//   r  read an existing file          w  write, an existing file emptied
//   a  write at the end of a file that may exist or not
//   +  read and write                 t  text    b  binary
// r, w, a and t make the stream a text stream again, so "rb" and "r+b" are
// binary and "br" is text. Other letters are skipped; a mode without r, w or a
// fails. The file is open for this stream alone: until fclose a second fopen
// fails. For "a" the position is moved to the end once, not at each
// write; a file with contents whose end can't be reached is not opened.
TARNAPI FILE* fopen(const char* path, const char* mode);

// Always 0. Closing a standard stream leaves its handle open and its cell of
// __runtime_block null, so that a later use by way of the cell raises 296.
TARNAPI std::int32_t fclose(FILE* stream);

// Asks the platform to put the file's data on the medium: 0, or -1 with the
// platform's error code in errno (a console refuses). Does not check the
// stream.
TARNAPI std::int32_t fflush(FILE* stream);

// ---- Blocks ---------------------------------------------------------------

// Items read, whole ones only. A read of the system that fails or delivers less
// than was asked counts as end of file, of a pipe or console too. Carriage
// returns that a text stream drops are replaced by further reads; a character
// pushed back by ungetc is not read. No bytes wanted: the count. A total of
// 2 GiB or more fails: nothing is moved, the error indicator is set, the
// result is 0.
TARNAPI std::uint64_t fread(void* buffer, std::uint64_t size, std::uint64_t count, FILE* stream);

// The count, or 0 if there was nothing to write or any block failed; a failed
// block sets the error indicator and errno to 307, and the next one is tried.
// 2 GiB or more: as fread.
TARNAPI std::uint64_t fwrite(const void* buffer, std::uint64_t size, std::uint64_t count,
                             FILE* stream);

// ---- Characters and lines -------------------------------------------------

// 0, or -1 if the write failed, the text is empty, or the error indicator was
// set before.
TARNAPI std::int32_t fputs(const char* text, FILE* stream);
// fputs on stdout: writes no line feed of its own.
TARNAPI std::int32_t puts(const char* text);

// Returns the character even if the write fails; ferror reports that.
TARNAPI std::int32_t fputc(std::int32_t character, FILE* stream);
TARNAPI std::int32_t putc(std::int32_t character, FILE* stream);
TARNAPI std::int32_t putchar(std::int32_t character);

// The character as a signed byte (0xE9 is -23), or -1: a byte 0xFF and the
// end of the file return the same value; feof distinguishes them.
TARNAPI std::int32_t fgetc(FILE* stream);
TARNAPI std::int32_t getc(FILE* stream);
TARNAPI std::int32_t getchar();

// Pushes a character back for fgetc: one at most, and 0 is none. The end-of-file
// indicator is unchanged. Does not check the stream.
TARNAPI std::int32_t ungetc(std::int32_t character, FILE* stream);

// Reads a line, its line feed included, into `size` bytes with a NUL; bytes
// 0xFF are left out, and count. Null when the end of the file comes first (the
// buffer is unchanged), when a further call meets the end-of-file indicator
// (the error indicator is then set; stdin tries again instead), and on error.
// A size of 0 or less: null.
TARNAPI char* fgets(char* buffer, std::int32_t size, FILE* stream);

// A line from stdin without its line feed. `buffer` has 256 bytes; a longer
// line is delivered in pieces of 255.
TARNAPI char* gets(char* buffer);

// ---- Indicators -----------------------------------------------------------

TARNAPI std::int32_t ferror(FILE* stream);  // 1 or 0
TARNAPI std::int32_t feof(FILE* stream);    // 1 or 0
TARNAPI void clearerr(FILE* stream);

// ---- Position -------------------------------------------------------------
// Positions are bytes of the file from its start, in text mode too. Moving
// changes neither the indicators nor a character pushed back.

// Always 0. A failure leaves 0xF0F0F0F0F0F0F0F0 in the position. A null
// stream raises 343, "Invalid stream pointer (FILE*=NULL)".
TARNAPI std::int32_t fgetpos(FILE* stream, std::uint64_t* position);
// 0, or 1 on failure. Does not check the stream.
TARNAPI std::int32_t fsetpos(FILE* stream, const std::uint64_t* position);

// whence: 0 from the start, 1 from here, 2 from the end. 0, 1 on failure, -1
// for another whence. A null stream raises 343.
TARNAPI std::int32_t fseek(FILE* stream, std::int32_t offset, std::int32_t whence);
// The low 32 bits of the position. A null stream raises 343.
TARNAPI std::int32_t ftell(FILE* stream);
// To the start, and clears both indicators. A null stream raises 343.
TARNAPI void rewind(FILE* stream);

}  // namespace tarn
