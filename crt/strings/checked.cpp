// The forms of the string routines that know the size of the target.
#include "checked.h"

#include <stdlib.h>
#include <string.h>
#include <wchar.h>

using namespace crt;

namespace {

template <class Char>
errno_t append_checked(Char* to, size_t size, const Char* from, size_t count) {
  return copy_checked(to, size, to ? length_within(to, size) : 0, from, count);
}

template <class Char>
bool is_in(Char character, const Char* set) {
  while (*set && *set != character) ++set;
  return *set;
}

template <class Char>
Char* token(Char* string, const Char* separators, Char** place) {
  if (!separators || !place || (!string && !*place)) {
    errno = EINVAL;
    return nullptr;
  }
  if (!string) string = *place;
  while (*string && is_in(*string, separators)) ++string;
  Char* end = string;
  while (*end && !is_in(*end, separators)) ++end;
  *place = *end ? end + 1 : end;
  *end = 0;
  return end == string ? nullptr : string;
}

// A string that is changed where it is, by a routine that knows no size.
template <class Char, class Act>
errno_t change_checked(Char* string, size_t size, Act act) {
  if (!string || length_within(string, size) == size) return refuse(string, size, EINVAL);
  act();
  return 0;
}

}  // namespace

#define CHECKED_STRINGS(Char, str)                                                                \
  CRT_API errno_t str##cpy_s(Char* to, size_t size, const Char* from) {                           \
    return copy_checked(to, size, 0, from);                                                       \
  }                                                                                               \
  CRT_API errno_t str##cat_s(Char* to, size_t size, const Char* from) {                           \
    return append_checked(to, size, from, SIZE_MAX - 1);                                          \
  }                                                                                               \
  CRT_API errno_t str##ncpy_s(Char* to, size_t size, const Char* from, size_t count) {            \
    return !to && size == 0 && count == 0 ? 0 : copy_checked(to, size, 0, from, count);           \
  }                                                                                               \
  CRT_API errno_t str##ncat_s(Char* to, size_t size, const Char* from, size_t count) {            \
    return !to && size == 0 && count == 0 ? 0 : append_checked(to, size, from, count);            \
  }                                                                                               \
  CRT_API Char* str##tok_s(Char* string, const Char* separators, Char** place) {                  \
    return token(string, separators, place);                                                      \
  }                                                                                               \
  CRT_API errno_t _##str##lwr_s(Char* string, size_t size) {                                      \
    return change_checked(string, size, [=] { _##str##lwr(string); });                            \
  }                                                                                               \
  CRT_API errno_t _##str##upr_s(Char* string, size_t size) {                                      \
    return change_checked(string, size, [=] { _##str##upr(string); });                            \
  }                                                                                               \
  CRT_API errno_t _##str##set_s(Char* string, size_t size, SET_TYPE_##str value) {                \
    return change_checked(string, size, [=] { _##str##set(string, value); });                     \
  }                                                                                               \
  CRT_API errno_t _##str##nset_s(Char* string, size_t size, SET_TYPE_##str value, size_t count) { \
    return change_checked(string, size, [=] { _##str##nset(string, value, count); });             \
  }
#define SET_TYPE_str int
#define SET_TYPE_wcs wchar_t
CHECKED_STRINGS(char, str)
CHECKED_STRINGS(wchar_t, wcs)

// The headers have these two in line, too.
extern "C" {
size_t bytes_within(const char*, size_t) __asm__("strnlen_s");
size_t wide_within(const wchar_t*, size_t) __asm__("wcsnlen_s");
size_t bytes_within(const char* string, size_t size) {
  return string ? length_within(string, size) : 0;
}
size_t wide_within(const wchar_t* string, size_t size) {
  return string ? length_within(string, size) : 0;
}
}

CRT_API errno_t memcpy_s(void* to, size_t size, const void* from, size_t count) {
  if (count == 0) return 0;
  if (!to) return errno = EINVAL;
  if (!from || count > size) {
    memset(to, 0, size);
    return errno = from ? ERANGE : EINVAL;
  }
  memcpy(to, from, count);
  return 0;
}
CRT_API errno_t memmove_s(void* to, size_t size, const void* from, size_t count) {
  if (count == 0) return 0;
  if (!to || !from) return errno = EINVAL;
  if (count > size) return errno = ERANGE;
  memmove(to, from, count);
  return 0;
}
CRT_API errno_t wmemcpy_s(wchar_t* to, size_t size, const wchar_t* from, size_t count) {
  if (size > SIZE_MAX / 2 || count > SIZE_MAX / 2) return errno = ERANGE;
  return memcpy_s(to, size * 2, from, count * 2);
}
CRT_API errno_t wmemmove_s(wchar_t* to, size_t size, const wchar_t* from, size_t count) {
  if (size > SIZE_MAX / 2 || count > SIZE_MAX / 2) return errno = ERANGE;
  return memmove_s(to, size * 2, from, count * 2);
}

// Copies bytes in pairs, the second first.
CRT_API void _swab(char* from, char* to, int count) {
  for (int i = 0; i + 1 < count; i += 2) {
    const char first = from[i];
    to[i] = from[i + 1];
    to[i + 1] = first;
  }
}
