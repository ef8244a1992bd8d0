#include "stream.h"

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "../images/loaded.h"
#include "../images/shared_block.h"

// A failure that the library reports, by its number.
extern "C" [[noreturn]] void __RuntimeError(int number);

namespace crt {
namespace {

constexpr int kInvalidFileStructure = 296;
constexpr size_t kBufferSize = 16384;
constexpr size_t kSmallBuffer = 512;  // of a stream without a buffer: one call's characters
constexpr unsigned char kEndMark = 0x1A;

Lock streams_lock;

void set_flag(Stream& stream, int flag) { stream.face._flag |= flag; }

// Program and DLLs have a buffer of standard output each. What they print keeps its order,
// since one at a time has anything there: who begins to write has the one before write it
// out.
using Yield = void (*)();
struct Output {
  Yield turn;  // null, or writes out what the image has whose turn it is
};
Output* output;  // of the process; null until this image's constructors run

__attribute__((constructor(101))) void share_output() {
  output = static_cast<Output*>(shared_block("STANDARD OUTPUT", sizeof(Output)));
}

// A program that is not hosted does not end the DLLs that it loads.
bool keeps_output() { return has_hosted_program(); }

bool take_buffer(Stream& stream) {
  if (stream.base) return true;
  Descriptor* const file = descriptor(stream.number);
  if (!file) return false;
  if (!stream.buffering_set) {
    const bool keeps = stream.number != 2 && (&stream != &standard_streams[1] || keeps_output());
    stream.buffering = !keeps          ? Buffering::kNone
                       : file->console ? Buffering::kLine
                                       : Buffering::kFull;
  }
  if (stream.size == 0) {
    stream.size = stream.buffering == Buffering::kNone ? kSmallBuffer : kBufferSize;
  }
  stream.own = static_cast<unsigned char*>(malloc(stream.size));
  if (!stream.own) {
    fail_with(ENOMEM);
    return false;
  }
  stream.base = stream.next = stream.last = stream.limit = stream.own;
  return true;
}

// The file's position goes back to the next character to come.
void leave_reading(Stream& stream) {
  if (!stream.reading) return;
  Descriptor* const file = descriptor(stream.number);
  const long long ahead = stream.last - stream.next + stream.pushed_count;
  if (file && ahead > 0 && !file->device && !file->pipe) seek_file(*file, -ahead, SEEK_CUR);
  stream.reading = false;
  stream.pushed_count = 0;
  stream.next = stream.last = stream.base;
}

bool begin_reading(Stream& stream) {
  if (stream.reading) return true;
  if (!is_open(stream) || !stream.can_read) {
    set_flag(stream, _IOERR);
    errno = EBADF;
    return false;
  }
  if (stream.writing && flush(stream) != 0) return false;
  if (!take_buffer(stream)) {
    set_flag(stream, _IOERR);
    return false;
  }
  stream.writing = false;
  stream.reading = true;
  stream.next = stream.last = stream.limit = stream.base;
  return true;
}

void yield_output() {
  Stream& stream = standard_streams[1];
  if (!stream.lock.try_acquire()) return;  // another thread prints here; it asks for the turn anew
  if (stream.writing) {
    flush(stream);
    stream.writing = false;
    stream.limit = stream.base;
  }
  stream.lock.release();
}

bool has_turn(const Stream& stream) {
  return !output || &stream != &standard_streams[1] || output->turn == yield_output;
}

void take_turn() {
  const Yield mine = keeps_output() ? &yield_output : nullptr;
  const Yield before = __atomic_exchange_n(&output->turn, mine, __ATOMIC_ACQ_REL);
  if (before) before();
}

bool begin_writing(Stream& stream) {
  if (!has_turn(stream)) take_turn();
  if (stream.writing) return true;
  if (!is_open(stream) || !stream.can_write) {
    set_flag(stream, _IOERR);
    errno = EBADF;
    return false;
  }
  leave_reading(stream);
  if (!take_buffer(stream)) {
    set_flag(stream, _IOERR);
    return false;
  }
  stream.writing = true;
  stream.next = stream.last = stream.base;
  stream.limit = stream.buffering == Buffering::kFull ? stream.base + stream.size : stream.base;
  return true;
}

// Before input from a console: a prompt without a line end has to be seen.
void show_questions(const Descriptor& asked) {
  if (!asked.console) return;
  for (Stream& stream : standard_streams) {
    if (stream.writing && stream.buffering == Buffering::kLine) flush(stream);
  }
}

// Fills the buffer after the bytes that are still in it. Result: false at the end
// of the file or on failure, with the indicator set. Until that is cleared, an end stays
// the end, though the file may have grown.
bool fill(Stream& stream) {
  Descriptor* const file = descriptor(stream.number);
  const size_t kept = static_cast<size_t>(stream.last - stream.next);
  if (!file || (stream.face._flag & _IOEOF)) return false;
  show_questions(*file);
  memmove(stream.base, stream.next, kept);
  stream.next = stream.base;
  stream.last = stream.base + kept;
  const long long count = read_bytes(*file, stream.last, stream.size - kept);
  if (count <= 0) {
    set_flag(stream, count == 0 ? _IOEOF : _IOERR);
    return false;
  }
  stream.last += count;
  return true;
}

int next_raw(Stream& stream) {
  if (stream.next == stream.last && !fill(stream)) return EOF;
  return *stream.next++;
}

// Writes bytes to the file. What cannot be written is discarded, so that a full disk does not
// fill the memory too.
int send(Stream& stream, const unsigned char* bytes, size_t size) {
  if (size == 0) return 0;
  Descriptor* const file = descriptor(stream.number);
  if (file && write_bytes(*file, bytes, size) >= 0) return 0;
  set_flag(stream, _IOERR);
  return EOF;
}

// Appends a byte as it is.
int keep(Stream& stream, unsigned char byte) {
  if (stream.next == stream.base + stream.size && flush(stream) != 0) return EOF;
  *stream.next++ = byte;
  return 0;
}

}  // namespace

Stream standard_streams[3] = {
    {.face = {._file = 0}, .number = 0, .can_read = true, .text = true},
    {.face = {._file = 1}, .number = 1, .can_write = true, .text = true},
    {.face = {._file = 2}, .number = 2, .can_write = true, .text = true},
};

Stream* other_streams;

bool is_open(const Stream& stream) {
  if (stream.number >= 0) return true;
  for (const Stream& standard : standard_streams) {
    if (&stream == &standard) {
      errno = EBADF;
      return false;
    }
  }
  __RuntimeError(kInvalidFileStructure);
}

Stream* new_stream() {
  const Locked locked(streams_lock);
  Stream* stream = other_streams;
  while (stream && __atomic_load_n(&stream->taken, __ATOMIC_ACQUIRE)) stream = stream->following;
  if (!stream) {
    stream = static_cast<Stream*>(calloc(1, sizeof(Stream)));
    if (!stream) {
      errno = ENOMEM;
      return nullptr;
    }
    stream->number = -1;
    stream->following = other_streams;
    other_streams = stream;
  }
  stream->taken = true;
  return stream;
}

void release_stream(Stream& stream) { __atomic_store_n(&stream.taken, false, __ATOMIC_RELEASE); }

bool read_mode(const char* mode, int* flags) {
  int result;
  switch (mode ? *mode : 0) {
    case 'r':
      result = _O_RDONLY;
      break;
    case 'w':
      result = _O_WRONLY | _O_CREAT | _O_TRUNC;
      break;
    case 'a':
      result = _O_WRONLY | _O_CREAT | _O_APPEND;
      break;
    default:
      errno = EINVAL;
      return false;
  }
  for (const char* letter = mode + 1; *letter && *letter != ','; ++letter) {
    switch (*letter) {
      case '+':
        result = (result & ~_O_WRONLY) | _O_RDWR;
        break;
      case 'b':
        result |= _O_BINARY;
        break;
      case 't':
        result |= _O_TEXT;
        break;
      case 'x':
        result |= _O_EXCL;
        break;
      case 'N':
        result |= _O_NOINHERIT;
        break;
      case 'D':
        result |= _O_TEMPORARY;
        break;
      case 'S':
        result |= _O_SEQUENTIAL;
        break;
      case 'R':
        result |= _O_RANDOM;
        break;
      case 'T':
        result |= _O_SHORT_LIVED;
        break;
      default:  // unknown letters are ignored, as in other libraries
        break;
    }
  }
  *flags = result;
  return true;
}

void set_up(Stream& stream, int number, int flags) {
  Stream* const following = stream.following;
  stream = {};
  stream.following = following;
  stream.taken = true;
  stream.number = stream.face._file = number;
  stream.can_read = !(flags & _O_WRONLY);
  stream.can_write = flags & (_O_WRONLY | _O_RDWR);
  stream.text = descriptor(number) && descriptor(number)->text;
}

int flush(Stream& stream) {
  if (stream.reading) {
    const Descriptor* const file = descriptor(stream.number);
    if (!file || !file->pipe) leave_reading(stream);  // a pipe's bytes do not come again
    return 0;
  }
  if (!stream.writing) return 0;
  const size_t size = static_cast<size_t>(stream.next - stream.base);
  stream.next = stream.base;
  return send(stream, stream.base, size);
}

int close(Stream& stream) {
  int result = flush(stream);
  const int number = stream.number;
  if (stream.own) free(stream.own);
  stream.own = stream.base = stream.next = stream.last = stream.limit = nullptr;
  stream.reading = stream.writing = stream.can_read = stream.can_write = false;
  stream.number = -1;
  if (_close(number) != 0) result = EOF;
  return result;
}

int flush_all() {
  int result = 0;
  for_each_stream([&result](Stream& stream) {
    // One that is being read from stays locked for as long as its reader waits.
    if (!__atomic_load_n(&stream.writing, __ATOMIC_RELAXED)) return;
    const Locked locked(stream.lock);
    if (stream.writing && flush(stream) != 0) result = EOF;
  });
  return result;
}

// The last of an image's destructors, since the archive is linked after the program's own:
// what a DLL has printed is written too.
__attribute__((destructor)) static void write_streams() {
  flush_all();
  if (output && output->turn == yield_output) output->turn = nullptr;
}

int read_with_care(Stream& stream) {
  if (stream.pushed_count > 0) return stream.pushed[--stream.pushed_count];
  if (!begin_reading(stream)) return EOF;
  const int character = next_raw(stream);
  if (!stream.text || character == EOF) return character;
  if (character == '\r') {
    const Descriptor* const file = descriptor(stream.number);
    if (stream.next == stream.last && file && ends_lines(*file)) {
      --stream.next;  // fill keeps it
      const int flags = stream.face._flag;
      const bool filled = fill(stream);
      ++stream.next;
      if (!filled) stream.face._flag = flags;  // the next call meets the end again
    }
    if (stream.next < stream.last && *stream.next == '\n') return *stream.next++;
  }
  if (character == kEndMark) {
    --stream.next;
    set_flag(stream, _IOEOF);
    return EOF;
  }
  return character;
}

int write_with_care(Stream& stream, unsigned char character) {
  if (!begin_writing(stream)) return EOF;
  if (character == '\n' && stream.text && keep(stream, '\r') != 0) return EOF;
  if (keep(stream, character) != 0) return EOF;
  const bool goes = stream.buffering == Buffering::kNone ||
                    (stream.buffering == Buffering::kLine && character == '\n');
  if (goes && flush(stream) != 0) return EOF;
  return character;
}

size_t read_block(Stream& stream, void* buffer, size_t size) {
  unsigned char* to = static_cast<unsigned char*>(buffer);
  unsigned char* const end = to + size;
  while (to < end) {
    if (!stream.text && stream.reading && stream.pushed_count == 0) {
      const size_t wanted = static_cast<size_t>(end - to);
      size_t here = static_cast<size_t>(stream.last - stream.next);
      if (here == 0 && wanted >= stream.size) {  // past the buffer
        Descriptor* const file = descriptor(stream.number);
        if (!file || (stream.face._flag & _IOEOF)) break;
        show_questions(*file);
        const long long count = read_bytes(*file, to, wanted - wanted % stream.size);
        if (count <= 0) {
          set_flag(stream, count == 0 ? _IOEOF : _IOERR);
          break;
        }
        to += count;
        continue;
      }
      if (here == 0 && !fill(stream)) break;
      here = static_cast<size_t>(stream.last - stream.next);
      const size_t part = here < wanted ? here : wanted;
      memcpy(to, stream.next, part);
      stream.next += part;
      to += part;
      continue;
    }
    const int character = get(stream);
    if (character == EOF) break;
    *to++ = static_cast<unsigned char>(character);
  }
  return size - static_cast<size_t>(end - to);
}

size_t write_block(Stream& stream, const void* bytes, size_t size) {
  const unsigned char* from = static_cast<const unsigned char*>(bytes);
  const unsigned char* const end = from + size;
  if (size == 0 || !begin_writing(stream)) return 0;
  bool line_ended = false;
  while (from < end) {
    const size_t left = static_cast<size_t>(end - from);
    const unsigned char* const line =
        stream.text || stream.buffering == Buffering::kLine
            ? static_cast<const unsigned char*>(memchr(from, '\n', left))
            : nullptr;
    size_t part = line ? static_cast<size_t>(line - from) : left;
    const size_t room = static_cast<size_t>(stream.base + stream.size - stream.next);
    if (part > room && stream.next == stream.base) {
      if (send(stream, from, part) != 0) break;
    } else {
      if (part > room) part = room;
      memcpy(stream.next, from, part);
      stream.next += part;
      if (part == room && flush(stream) != 0) break;
    }
    from += part;
    if (from == line) {
      if (stream.text && keep(stream, '\r') != 0) break;
      if (keep(stream, '\n') != 0) break;
      line_ended = true;
      ++from;
    }
  }
  const bool goes =
      stream.buffering == Buffering::kNone || (stream.buffering == Buffering::kLine && line_ended);
  if (goes && flush(stream) != 0) return 0;
  return size - static_cast<size_t>(end - from);
}

}  // namespace crt
