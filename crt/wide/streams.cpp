// Wide characters on streams: bytes of the locale, whatever the mode. A character beyond
// 16 bits is read and written as the two of its pair.
#include <string.h>
#include <wchar.h>

#include "../streams/stream.h"
#include "../strings/checked.h"

using namespace crt;

namespace {

constexpr size_t kIncomplete = static_cast<size_t>(-2), kInvalid = static_cast<size_t>(-1);

wint_t get_wide(Stream& stream) {
  if (stream.wide_pushed != WEOF) {
    const wint_t character = stream.wide_pushed;
    stream.wide_pushed = WEOF;
    return character;
  }
  wchar_t character;
  // The second half of a pair consumes nothing.
  if (!mbsinit(&stream.wide_read) && mbrtowc(&character, "", 0, &stream.wide_read) == 0) {
    return character;
  }
  for (bool first = true;; first = false) {
    const int byte = get(stream);
    if (byte == EOF) {
      if (!first) errno = EILSEQ;
      return WEOF;
    }
    const char c = static_cast<char>(byte);
    const size_t length = mbrtowc(&character, &c, 1, &stream.wide_read);
    if (length == kIncomplete) continue;
    if (length == kInvalid) {
      stream.face._flag |= _IOERR;
      return WEOF;
    }
    return character;
  }
}

wint_t put_wide(Stream& stream, wchar_t character) {
  char bytes[8];
  const size_t length = wcrtomb(bytes, character, &stream.wide_write);
  if (length == kInvalid) {
    stream.face._flag |= _IOERR;
    return WEOF;
  }
  return write_block(stream, bytes, length) == length ? character : WEOF;
}

}  // namespace

#undef getwc
#undef putwc
#undef getwchar
#undef putwchar
CRT_API wint_t fgetwc(FILE* file) {
  const Locked locked(stream_of(file).lock);
  return get_wide(stream_of(file));
}
CRT_API wint_t fputwc(wchar_t character, FILE* file) {
  const Locked locked(stream_of(file).lock);
  return put_wide(stream_of(file), character);
}
extern "C" {
wint_t out_of_line_getwc(FILE*) __asm__("getwc");
wint_t out_of_line_putwc(wchar_t, FILE*) __asm__("putwc");
wint_t out_of_line_getwchar(void) __asm__("getwchar");
wint_t out_of_line_putwchar(wchar_t) __asm__("putwchar");
wint_t out_of_line_getwc(FILE* file) { return fgetwc(file); }
wint_t out_of_line_putwc(wchar_t character, FILE* file) { return fputwc(character, file); }
wint_t out_of_line_getwchar(void) { return fgetwc(stdin); }
wint_t out_of_line_putwchar(wchar_t character) { return fputwc(character, stdout); }
}

CRT_API wint_t ungetwc(wint_t character, FILE* file) {
  Stream& stream = stream_of(file);
  const Locked locked(stream.lock);
  if (character == WEOF || stream.wide_pushed != WEOF || !stream.can_read) return WEOF;
  stream.wide_pushed = character;
  stream.face._flag &= ~_IOEOF;
  return character;
}

CRT_API wchar_t* fgetws(wchar_t* line, int size, FILE* file) {
  Stream& stream = stream_of(file);
  const Locked locked(stream.lock);
  wchar_t* next = line;
  if (!line || size <= 0) return nullptr;
  const FreshError error(stream);
  while (next < line + size - 1) {
    const wint_t character = get_wide(stream);
    if (character == WEOF) {
      if (next == line || error.is_set()) return nullptr;
      break;
    }
    *next++ = character;
    if (character == L'\n') break;
  }
  *next = 0;
  return line;
}

// A line that does not fit is read to its end, and the result is null.
CRT_API wchar_t* _getws_s(wchar_t* line, size_t size) {
  if (!line || size == 0) return refuse(line, size, EINVAL), nullptr;
  Stream& stream = stream_of(stdin);
  const Locked locked(stream.lock);
  size_t length = 0;
  wint_t character;
  while ((character = get_wide(stream)) != WEOF && character != L'\n') {
    if (length < size) line[length++] = character;
  }
  if (length == size) return refuse(line, size, ERANGE), nullptr;
  line[length] = 0;
  return character == WEOF && length == 0 ? nullptr : line;
}
CRT_API wchar_t* _getws(wchar_t* line) { return _getws_s(line, SIZE_MAX); }

CRT_API int fputws(const wchar_t* string, FILE* file) {
  Stream& stream = stream_of(file);
  const Locked locked(stream.lock);
  for (; *string; ++string) {
    if (put_wide(stream, *string) == WEOF) return -1;
  }
  return 0;
}
CRT_API int _putws(const wchar_t* string) {
  return fputws(string, stdout) < 0 || fputwc(L'\n', stdout) == WEOF ? -1 : 0;
}
