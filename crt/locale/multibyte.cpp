// Bytes to and from wide characters, which are UTF-16. A character beyond 16 bits is
// two of them: the first call consumes its bytes and returns the high half, the next
// one returns the low half and consumes nothing (the result is then 0 bytes for a
// character that is not the NUL, as in other libraries with 16-bit wchar_t; the string
// routines pass over it).
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <uchar.h>
#include <wchar.h>

#include "../crt.h"
#include "../strings/utf8.h"
#include "locale.h"

namespace {

constexpr size_t kInvalid = static_cast<size_t>(-1);
constexpr size_t kIncomplete = static_cast<size_t>(-2);

bool is_high(unsigned unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool is_low(unsigned unit) { return unit >= 0xDC00 && unit < 0xE000; }

// What a state holds between calls: bytes of a character so far and their number, or
// the half of a pair that is still to come.
struct State {
  unsigned char bytes[3];
  unsigned char count;  // 1 to 3, or kPair
};
constexpr unsigned char kPair = 0xFF;
static_assert(sizeof(State) <= sizeof(mbstate_t));

State* state_of(mbstate_t* state, State* own) {
  return state ? reinterpret_cast<State*>(state) : own;
}

size_t invalid() {
  errno = EILSEQ;
  return kInvalid;
}

// The code point that the next bytes and those of the state make. Result: the bytes that it
// took of `from`, 0 for the NUL.
size_t to_code(unsigned* code, const char* from, size_t size, State* state) {
  if (size == 0) return kIncomplete;
  if (!crt::is_utf8) {
    *code = static_cast<unsigned char>(*from);
    return *from != '\0';
  }
  unsigned char bytes[4];
  const size_t before = state->count;
  memcpy(bytes, state->bytes, before);
  size_t all = before;
  for (size_t i = 0; all < sizeof bytes && i < size; ++i) {
    bytes[all++] = static_cast<unsigned char>(from[i]);
    if (from[i] == '\0') break;  // a string may end with its page
  }
  const int length = crt::decode_utf8(bytes, all, code);
  if (length < 0) {
    *state = {};
    return invalid();
  }
  if (length == 0) {
    memcpy(state->bytes, bytes, all);
    state->count = static_cast<unsigned char>(all);
    return kIncomplete;
  }
  *state = {};
  return *code == 0 ? 0 : static_cast<size_t>(length) - before;
}

// `second_half` is the result for the second half of a pair.
size_t to_wide(wchar_t* to, const char* from, size_t size, State* state, size_t second_half = 0) {
  if (!from) {
    *state = {};
    return 0;
  }
  if (state->count == kPair) {
    if (to) *to = static_cast<wchar_t>(state->bytes[0] | state->bytes[1] << 8);
    *state = {};
    return second_half;
  }
  unsigned code;
  const size_t length = to_code(&code, from, size, state);
  if (length == kInvalid || length == kIncomplete) return length;
  if (code >= 0x10000) {
    const unsigned low = 0xDC00 | (code & 0x3FF);
    *state = {{static_cast<unsigned char>(low), static_cast<unsigned char>(low >> 8)}, kPair};
    code = 0xD800 + ((code - 0x10000) >> 10);
  }
  if (to) *to = static_cast<wchar_t>(code);
  return length;
}

size_t to_bytes(char* to, wchar_t wide, State* state) {
  if (!to) {
    *state = {};
    return 1;
  }
  if (!crt::is_utf8) {
    if (wide > 0xFF) return invalid();
    *to = static_cast<char>(wide);
    return 1;
  }
  if (state->count == kPair) {
    const unsigned high = state->bytes[0] | static_cast<unsigned>(state->bytes[1]) << 8;
    *state = {};
    if (!is_low(wide)) return invalid();
    return static_cast<size_t>(
        crt::encode_utf8(0x10000 + ((high & 0x3FF) << 10) + (wide & 0x3FFu), to));
  }
  if (is_high(wide)) {
    *state = {{static_cast<unsigned char>(wide), static_cast<unsigned char>(wide >> 8)}, kPair};
    return 0;
  }
  if (is_low(wide)) return invalid();
  return static_cast<size_t>(crt::encode_utf8(wide, to));
}

State mbrtowc_state, mbrlen_state, wcrtomb_state, mbtowc_state, wctomb_state, mbsrtowcs_state,
    wcsrtombs_state, mbrtoc16_state, c16rtomb_state, mbrtoc32_state;

}  // namespace

CRT_API size_t mbrtowc(wchar_t* to, const char* from, size_t size, mbstate_t* state) {
  return to_wide(to, from, size, state_of(state, &mbrtowc_state));
}
CRT_API size_t mbrlen(const char* from, size_t size, mbstate_t* state) {
  return to_wide(nullptr, from, size, state_of(state, &mbrlen_state));
}
CRT_API size_t wcrtomb(char* to, wchar_t wide, mbstate_t* state) {
  return to_bytes(to, wide, state_of(state, &wcrtomb_state));
}
CRT_API size_t mbrtoc16(char16_t* to, const char* from, size_t size, mbstate_t* state) {
  constexpr size_t kSecondHalf = static_cast<size_t>(-3);
  return to_wide(reinterpret_cast<wchar_t*>(to), from, size, state_of(state, &mbrtoc16_state),
                 kSecondHalf);
}
CRT_API size_t c16rtomb(char* to, char16_t wide, mbstate_t* state) {
  return to_bytes(to, wide, state_of(state, &c16rtomb_state));
}
CRT_API size_t mbrtoc32(char32_t* to, const char* from, size_t size, mbstate_t* state) {
  State* const now = state_of(state, &mbrtoc32_state);
  unsigned code;
  const size_t length = from ? to_code(&code, from, size, now) : to_code(&code, "", 1, now);
  if (from && to && length != kInvalid && length != kIncomplete) *to = code;
  return length;
}
CRT_API size_t c32rtomb(char* to, char32_t code, mbstate_t*) {
  if (!to) return 1;
  if (code > (crt::is_utf8 ? 0x10FFFF : 0xFF) || (code >= 0xD800 && code < 0xE000)) {
    return invalid();
  }
  if (crt::is_utf8) return static_cast<size_t>(crt::encode_utf8(code, to));
  *to = static_cast<char>(code);
  return 1;
}
CRT_API int(mbsinit)(const mbstate_t* state) {
  return !state || reinterpret_cast<const State*>(state)->count == 0;
}

// One byte and one wide character, where each is the other.
CRT_API wint_t btowc(int byte) {
  if (byte == EOF || (crt::is_utf8 && static_cast<unsigned>(byte) > 0x7F)) return WEOF;
  return static_cast<unsigned char>(byte);
}
CRT_API int wctob(wint_t wide) { return wide <= (crt::is_utf8 ? 0x7F : 0xFF) ? wide : EOF; }

CRT_API int mbtowc(wchar_t* to, const char* from, size_t size) {
  const size_t length = to_wide(to, from, size, &mbtowc_state);
  if (length == kIncomplete) {
    mbtowc_state = {};
    return -1;
  }
  if (mbtowc_state.count == kPair) mbtowc_state = {};
  return static_cast<int>(length);
}
CRT_API int mblen(const char* from, size_t size) { return mbtowc(nullptr, from, size); }
CRT_API int wctomb(char* to, wchar_t wide) {
  if (!to) {
    wctomb_state = {};
    return 0;
  }
  return static_cast<int>(to_bytes(to, wide, &wctomb_state));
}

CRT_API size_t mbsrtowcs(wchar_t* to, const char** from, size_t size, mbstate_t* state) {
  State* const now = state_of(state, &mbsrtowcs_state);
  const char* at = *from;
  size_t count = 0;
  for (; !to || count < size; ++count) {
    wchar_t wide = 0;
    const bool second = now->count == kPair;
    const size_t length = to_wide(&wide, at, SIZE_MAX, now);
    if (length == kInvalid) return kInvalid;
    if (to) to[count] = wide;
    if (length == 0 && !second) {
      if (to) *from = nullptr;
      return count;
    }
    at += length;
  }
  *from = at;
  return count;
}

CRT_API size_t wcsrtombs(char* to, const wchar_t** from, size_t size, mbstate_t* state) {
  State* const now = state_of(state, &wcsrtombs_state);
  const wchar_t* at = *from;
  size_t count = 0;
  for (;; ++at) {
    char bytes[4];
    const State before = *now;
    const size_t length = to_bytes(bytes, *at, now);
    if (length == kInvalid) return kInvalid;
    if (to && count + length > size) {
      *now = before;
      break;
    }
    if (to) memcpy(to + count, bytes, length);
    if (*at == 0) {
      if (to) *from = nullptr;
      return count;
    }
    count += length;
  }
  *from = at;
  return count;
}

CRT_API size_t mbstowcs(wchar_t* to, const char* from, size_t size) {
  mbstate_t state = {};
  return mbsrtowcs(to, &from, size, &state);
}
CRT_API size_t wcstombs(char* to, const wchar_t* from, size_t size) {
  mbstate_t state = {};
  return wcsrtombs(to, &from, size, &state);
}
