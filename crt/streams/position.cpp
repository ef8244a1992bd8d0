#include "stream.h"

using namespace crt;

namespace {

long long tell(Stream& stream) {
  Descriptor* const file = is_open(stream) ? descriptor(stream.number) : nullptr;
  if (!file) return -1;
  // What an appending stream writes goes to the end, wherever the position is.
  if (stream.writing && file->append && crt::flush(stream) != 0) return -1;
  const long long position = seek_file(*file, 0, SEEK_CUR);
  if (position < 0) return -1;
  if (stream.writing) return position + (stream.next - stream.base);
  return position - (stream.last - stream.next) - stream.pushed_count;
}

int seek(Stream& stream, long long distance, int whence) {
  Descriptor* const file = is_open(stream) ? descriptor(stream.number) : nullptr;
  if (!file) return -1;
  if (whence < SEEK_SET || whence > SEEK_END) return fail_with(EINVAL);
  if (crt::flush(stream) != 0) return -1;
  stream.pushed_count = 0;
  stream.wide_pushed = WEOF;
  stream.wide_read = {};
  if (seek_file(*file, distance, whence) < 0) return -1;
  stream.face._flag &= ~_IOEOF;
  return 0;
}

}  // namespace

CRT_API int _fseeki64(FILE* file, long long distance, int whence) {
  const Locked locked(stream_of(file).lock);
  return seek(stream_of(file), distance, whence);
}
CRT_API int fseek(FILE* file, long distance, int whence) {
  return _fseeki64(file, distance, whence);
}

CRT_API long long _ftelli64(FILE* file) {
  const Locked locked(stream_of(file).lock);
  return tell(stream_of(file));
}
CRT_API long ftell(FILE* file) {
  const long long position = _ftelli64(file);
  if (position > LONG_MAX) return fail_with(EFBIG);
  return static_cast<long>(position);
}

CRT_API void rewind(FILE* file) {
  const Locked locked(stream_of(file).lock);
  seek(stream_of(file), 0, SEEK_SET);
  stream_of(file).face._flag &= ~(_IOERR | _IOEOF);
}

CRT_API int fgetpos(FILE* file, fpos_t* position) {
  const long long now = _ftelli64(file);
  if (now < 0) return -1;
  *position = now;
  return 0;
}
CRT_API int fsetpos(FILE* file, const fpos_t* position) {
  return _fseeki64(file, *position, SEEK_SET);
}

CRT_API int(feof)(FILE* file) { return stream_of(file).face._flag & _IOEOF; }
CRT_API int(ferror)(FILE* file) { return stream_of(file).face._flag & _IOERR; }
CRT_API void clearerr(FILE* file) { stream_of(file).face._flag &= ~(_IOERR | _IOEOF); }
