// FILE streams: a buffer of the file's own bytes before a descriptor. Text mode is
// done as characters leave or enter the buffer, so positions are exact.
//
// One buffer serves both directions, one at a time: while reading, `next` to `last`
// are bytes to come; while writing, `base` to `next` are bytes to go. Changing the
// direction flushes, or moves the file's position back to the character reached.
// (ISO C asks programs for a positioning call there; without one nothing is lost.)
//
// Threads: each call locks its stream once there are threads.
#pragma once

#include <stdio.h>
#include <wchar.h>

#include "../files/descriptors.h"
#include "../images/lock.h"

namespace crt {

enum class Buffering : unsigned char { kFull, kLine, kNone };

// Begins as the FILE that programs know by name; of its members only _flag (which
// holds _IOEOF and _IOERR) and _file are in use.
struct Stream {
  FILE face;
  unsigned char* base;  // null until the first character
  unsigned char* next;
  unsigned char* last;   // reading: after the last byte to come
  unsigned char* limit;  // writing: where the buffer is full; next if a character needs care
  unsigned char* own;    // the buffer from malloc, or null
  size_t size;
  int number;  // the descriptor; -1: not open
  bool can_read, can_write, reading, writing;
  bool text;
  bool buffering_set;
  Buffering buffering;
  mbstate_t wide_read, wide_write;
  wint_t wide_pushed = WEOF;  // by ungetwc
  unsigned char pushed_count;
  unsigned char pushed[4];  // by ungetc, the last one first to come
  void* child;              // popen's process
  Stream* following;
  bool taken;  // of the list: open, or about to be
  Lock lock;
};

inline Stream& stream_of(FILE* file) { return *reinterpret_cast<Stream*>(file); }

// Whether a call fails itself, for streams whose indicator an earlier one may have set.
class FreshError {
 public:
  explicit FreshError(Stream& stream) : stream_(stream), before_(stream.face._flag & _IOERR) {
    stream.face._flag &= ~_IOERR;
  }
  ~FreshError() { stream_.face._flag |= before_; }
  FreshError(const FreshError&) = delete;
  FreshError& operator=(const FreshError&) = delete;
  bool is_set() const { return stream_.face._flag & _IOERR; }

 private:
  Stream& stream_;
  int before_;
};

// The standard streams are the first three.
extern Stream standard_streams[3];

// The others, in one list; entries stay when they are closed.
extern Stream* other_streams;

template <class Act>
void for_each_stream(Act act) {
  for (Stream& stream : standard_streams) act(stream);
  for (Stream* stream = other_streams; stream; stream = stream->following) act(*stream);
}

// False and EBADF for a standard stream that is closed: programs close these on purpose,
// and what their libraries print later fails. Any other that is used after it was closed
// ends the program in a report.
bool is_open(const Stream& stream);
// A free stream, or null and ENOMEM.
Stream* new_stream();
// Lets the next open have a closed stream, for one who does not hold its lock any more:
// the next one begins with a lock of its own.
void release_stream(Stream& stream);
// fopen's mode as flags of open; false and EINVAL if it is none.
bool read_mode(const char* mode, int* flags);
void set_up(Stream& stream, int number, int flags);
// Result: 0, or EOF and errno.
int flush(Stream& stream);
int close(Stream& stream);
// All streams; those that only read are left alone. Result: 0 or EOF.
int flush_all();

// What the fast paths leave over. Result: the character, or EOF.
int read_with_care(Stream& stream);
int write_with_care(Stream& stream, unsigned char character);

// A block of the file's bytes; text is translated. Result: bytes done.
size_t read_block(Stream& stream, void* buffer, size_t size);
size_t write_block(Stream& stream, const void* bytes, size_t size);

inline int get(Stream& stream) {
  if (stream.next < stream.last && stream.pushed_count == 0) {
    const unsigned char character = *stream.next;
    if (!stream.text || (character != '\r' && character != 0x1A)) {
      ++stream.next;
      return character;
    }
  }
  return read_with_care(stream);
}

inline int put(Stream& stream, unsigned char character) {
  if (stream.next < stream.limit && character != '\n') {
    *stream.next++ = character;
    return character;
  }
  return write_with_care(stream, character);
}

}  // namespace crt
