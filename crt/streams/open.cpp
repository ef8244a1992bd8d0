#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "stream.h"

using namespace crt;

namespace {

constexpr size_t kLeastBuffer = 2;  // a carriage return and what comes after it

FILE* open_as(Stream* stream, int number, int flags) {
  set_up(*stream, number, flags);
  return &stream->face;
}

FILE* open_path(const char* path, const char* mode, int share) {
  int flags;
  if (!read_mode(mode, &flags)) return nullptr;
  Stream* const stream = new_stream();
  if (!stream) return nullptr;
  const int number = open_file(path, flags, share, _S_IREAD | _S_IWRITE);
  if (number < 0) {
    release_stream(*stream);
    return nullptr;
  }
  return open_as(stream, number, flags);
}

// The same file in another mode.
bool change_mode(Stream& stream, int flags) {
  Descriptor* const file = is_open(stream) ? descriptor(stream.number) : nullptr;
  if (!file) return false;
  if (!(flags & (_O_TEXT | _O_BINARY))) flags |= _O_TEXT;
  flush(stream);
  file->text = stream.text = flags & _O_TEXT;
  file->append = flags & _O_APPEND;
  stream.face._flag = 0;
  return true;
}

// Input that is in the stream alone: it cannot be read from the file again.
bool holds_input(const Stream& stream) {
  if (stream.pushed_count > 0 || stream.wide_pushed != WEOF) return true;
  if (!stream.reading || stream.next == stream.last) return false;
  const Descriptor* const file = descriptor(stream.number);
  return file && (file->pipe || file->device);
}

// Another file; without success the stream is closed.
bool reopen(Stream& stream, const char* path, int flags) {
  const int old_number = stream.number;
  if (is_open(stream)) close(stream);
  int number = open_file(path, flags, _SH_DENYNO, _S_IREAD | _S_IWRITE);
  if (number < 0) return false;
  // A standard stream keeps its number, which programs and child processes know.
  if (old_number >= 0 && old_number <= 2 && number != old_number) {
    _dup2(number, old_number);
    _close(number);
    number = old_number;
  }
  const Lock kept = stream.lock;
  set_up(stream, number, flags);
  stream.lock = kept;
  return true;
}

}  // namespace

CRT_API FILE* __acrt_iob_func(unsigned index) { return &standard_streams[index].face; }

CRT_API FILE* fopen(const char* path, const char* mode) {
  return open_path(path, mode, _SH_DENYNO);
}

CRT_API FILE* _fsopen(const char* path, const char* mode, int share) {
  return open_path(path, mode, share);
}

CRT_API FILE* _fdopen(int number, const char* mode) {
  int flags;
  if (!descriptor(number) || !read_mode(mode, &flags)) return nullptr;
  Stream* const stream = new_stream();
  if (!stream) return nullptr;
  Descriptor& file = *descriptor(number);
  if (flags & (_O_TEXT | _O_BINARY)) file.text = flags & _O_TEXT;
  if (flags & _O_APPEND) file.append = true;
  return open_as(stream, number, flags);
}

// With a null path the same file is kept, and only its mode changes.
CRT_API FILE* freopen(const char* path, const char* mode, FILE* file) {
  int flags;
  if (!read_mode(mode, &flags)) return nullptr;
  Stream& stream = stream_of(file);
  {
    const Locked locked(stream.lock);
    if (path ? reopen(stream, path, flags) : change_mode(stream, flags)) return file;
  }
  if (stream.number < 0) release_stream(stream);
  return nullptr;
}

CRT_API int fclose(FILE* file) {
  Stream& stream = stream_of(file);
  int result;
  {
    const Locked locked(stream.lock);
    if (!is_open(stream)) return EOF;
    result = crt::close(stream);
  }
  release_stream(stream);
  return result;
}

CRT_API int fflush(FILE* file) {
  if (!file) return flush_all();
  const Locked locked(stream_of(file).lock);
  return is_open(stream_of(file)) ? crt::flush(stream_of(file)) : EOF;
}

CRT_API int _flushall(void) { return flush_all() == 0 ? 3 : EOF; }

CRT_API int _fileno(FILE* file) {
  const int number = stream_of(file).number;
  return number >= 0 ? number : fail_with(EBADF);
}

CRT_API int setvbuf(FILE* file, char* buffer, int mode, size_t size) {
  Stream& stream = stream_of(file);
  const Locked locked(stream.lock);
  if ((mode != _IOFBF && mode != _IOLBF && mode != _IONBF) || size > INT_MAX ||
      holds_input(stream)) {
    return fail_with(EINVAL);
  }
  if (crt::flush(stream) != 0) return EOF;
  if (stream.own) free(stream.own);
  stream.own = stream.base = stream.next = stream.last = stream.limit = nullptr;
  stream.reading = stream.writing = false;
  stream.buffering_set = true;
  stream.buffering = mode == _IOFBF   ? Buffering::kFull
                     : mode == _IOLBF ? Buffering::kLine
                                      : Buffering::kNone;
  stream.size = mode == _IONBF || size < kLeastBuffer ? 0 : size;
  if (buffer && stream.size > 0) {
    stream.base = stream.next = stream.last = stream.limit =
        reinterpret_cast<unsigned char*>(buffer);
  }
  return 0;
}

CRT_API void setbuf(FILE* file, char* buffer) {
  setvbuf(file, buffer, buffer ? _IOFBF : _IONBF, BUFSIZ);
}

// Programs hold a stream over several calls by these.
CRT_API void _lock_file(FILE* file) { stream_of(file).lock.acquire(); }
CRT_API void _unlock_file(FILE* file) { stream_of(file).lock.release(); }

// What is in a stream's buffer was written in its former mode.
CRT_API int _setmode(int number, int mode) {
  Descriptor* const file = descriptor(number);
  if (!file) return -1;
  if (mode != _O_TEXT && mode != _O_BINARY) return fail_with(EINVAL);
  const int before = file->text ? _O_TEXT : _O_BINARY;
  file->text = mode == _O_TEXT;
  for_each_stream([number, file](Stream& stream) {
    if (stream.number == number) stream.text = file->text;
  });
  return before;
}
