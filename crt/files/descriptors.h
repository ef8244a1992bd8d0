// File descriptors: small numbers for handles of the system, as open, read and
// the streams use them. A table of blocks that grows to kMost.
//
// State: the table, under one lock once there are threads. A descriptor that one
// thread closes while another uses it may be another file by then, as in any C
// library.
#pragma once

#include "../crt.h"

namespace crt {

constexpr int kMostDescriptors = 8192;

struct Descriptor {
  HANDLE handle;  // null: not open
  bool text;      // read and write translate line ends
  bool append;    // each write goes to the end
  bool device;    // a console, a printer or the null device: there is no position
  bool console;   // a device with a user
  bool pipe;
  bool at_end;  // of a text file: Ctrl-Z was read
  bool inherits;
  bool has_ahead;  // of a pipe or console in text mode: the byte after a carriage return was read
  unsigned char ahead;
};

// Null, and EBADF, if it is not open.
Descriptor* descriptor(int number);

// The lowest free number, with EMFILE and -1 if there is none. `flags` are those
// of open: _O_TEXT, _O_BINARY, _O_APPEND, _O_NOINHERIT. Without the first two
// _fmode decides.
int claim_descriptor(HANDLE handle, int flags);
// The same for a number that the caller names; what was open there is closed. A
// standard one becomes the process's standard handle too. False for a number out of
// range.
bool place_descriptor(int number, HANDLE handle, int flags);
// Forgets it without closing its handle.
void release_descriptor(int number);

// open's work. Result: the number, or -1 and errno.
int open_file(const char* path, int flags, int share, int mode);

// Sets errno after a failure of the system: a descriptor that was not opened for the
// operation is a bad one. Result: -1.
int fail_on_handle();

// Whether a line feed may follow a carriage return: on a console without lines Enter is that alone.
bool ends_lines(const Descriptor& file);

// Untranslated bytes. Result: how many, 0 at the end of a file; -1 and errno. A write that is not
// whole fails.
long long read_bytes(Descriptor& file, void* buffer, size_t size);
long long write_bytes(Descriptor& file, const void* bytes, size_t size);
// Result: the new position, or -1 and errno.
long long seek_file(Descriptor& file, long long distance, int whence);

// Of the routines for single keys, or null: called before bytes are read from a console.
extern void (*before_console_read)();

}  // namespace crt
