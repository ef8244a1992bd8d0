#include <stdlib.h>
#include <string.h>

#include "stream.h"

using namespace crt;

CRT_API int fgetc(FILE* file) {
  Stream& stream = stream_of(file);
  const Locked locked(stream.lock);
  return get(stream);
}
CRT_API int getc(FILE* file) {
  Stream& stream = stream_of(file);
  const Locked locked(stream.lock);
  return get(stream);
}
CRT_API int getchar(void) { return fgetc(stdin); }
CRT_API int _fgetchar(void) { return fgetc(stdin); }
#undef _getc_nolock
#undef _putc_nolock
CRT_API int _getc_nolock(FILE* file) { return get(stream_of(file)); }

CRT_API int fputc(int character, FILE* file) {
  Stream& stream = stream_of(file);
  const Locked locked(stream.lock);
  return put(stream, static_cast<unsigned char>(character));
}
CRT_API int putc(int character, FILE* file) {
  Stream& stream = stream_of(file);
  const Locked locked(stream.lock);
  return put(stream, static_cast<unsigned char>(character));
}
CRT_API int putchar(int character) { return fputc(character, stdout); }
CRT_API int _fputchar(int character) { return fputc(character, stdout); }
CRT_API int _putc_nolock(int character, FILE* file) {
  return put(stream_of(file), static_cast<unsigned char>(character));
}

// Up to four characters, which come again the last one first.
CRT_API int ungetc(int character, FILE* file) {
  Stream& stream = stream_of(file);
  const Locked locked(stream.lock);
  if (character == EOF || !stream.can_read || stream.pushed_count == sizeof stream.pushed) {
    return EOF;
  }
  if (stream.writing && flush(stream) != 0) return EOF;
  stream.pushed[stream.pushed_count++] = static_cast<unsigned char>(character);
  stream.face._flag &= ~_IOEOF;
  return static_cast<unsigned char>(character);
}

CRT_API char* fgets(char* line, int size, FILE* file) {
  Stream& stream = stream_of(file);
  const Locked locked(stream.lock);
  if (!line || size <= 0) {
    errno = EINVAL;
    return nullptr;
  }
  char* next = line;
  const FreshError error(stream);
  while (next < line + size - 1) {
    const int character = get(stream);
    if (character == EOF) {
      if (next == line || error.is_set()) return nullptr;
      break;
    }
    *next++ = static_cast<char>(character);
    if (character == '\n') break;
  }
  *next = '\0';
  return line;
}

CRT_API char* gets(char* line) {
  const Locked locked(stream_of(stdin).lock);
  char* next = line;
  for (int character; (character = get(stream_of(stdin))) != '\n';) {
    if (character == EOF) {
      if (next == line) return nullptr;
      break;
    }
    *next++ = static_cast<char>(character);
  }
  *next = '\0';
  return line;
}

CRT_API int fputs(const char* string, FILE* file) {
  Stream& stream = stream_of(file);
  const Locked locked(stream.lock);
  const size_t length = strlen(string);
  return write_block(stream, string, length) == length ? 0 : EOF;
}

CRT_API int puts(const char* string) {
  Stream& stream = stream_of(stdout);
  const Locked locked(stream.lock);
  const size_t length = strlen(string);
  if (write_block(stream, string, length) != length) return EOF;
  return put(stream, '\n') == EOF ? EOF : 0;
}

CRT_API size_t fread(void* buffer, size_t size, size_t count, FILE* file) {
  Stream& stream = stream_of(file);
  const Locked locked(stream.lock);
  if (size == 0 || count == 0) return 0;
  if (count > SIZE_MAX / size) {
    fail_with(EINVAL);
    return 0;
  }
  return read_block(stream, buffer, size * count) / size;
}

CRT_API size_t fwrite(const void* bytes, size_t size, size_t count, FILE* file) {
  Stream& stream = stream_of(file);
  const Locked locked(stream.lock);
  if (size == 0 || count == 0) return 0;
  if (count > SIZE_MAX / size) {
    fail_with(EINVAL);
    return 0;
  }
  return write_block(stream, bytes, size * count) / size;
}
