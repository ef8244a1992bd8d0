// What the routines with a size of the target have in common, for both kinds of characters.
// A target that is null or has no size is EINVAL, as is a null source; what does not fit is
// ERANGE, and the target is then empty. No handler is called.
#pragma once

#include <stdlib.h>

#include "../crt.h"

namespace crt {

template <class Char>
errno_t refuse(Char* to, size_t size, int error) {
  if (to && size > 0) *to = 0;
  return errno = error;
}

// At most `size`.
template <class Char>
size_t length_within(const Char* string, size_t size) {
  size_t length = 0;
  while (length < size && string[length]) ++length;
  return length;
}

// The first `count` characters of `from`, or with _TRUNCATE as many as fit, to to[at] and on.
template <class Char>
errno_t copy_checked(Char* to, size_t size, size_t at, const Char* from,
                     size_t count = SIZE_MAX - 1) {
  if (!to || size == 0 || at >= size || (!from && count > 0)) return refuse(to, size, EINVAL);
  const size_t room = size - at;
  const bool truncates = count == _TRUNCATE;
  const size_t length = length_within(from, truncates || count > room ? room : count);
  if (length == room && !truncates) return refuse(to, size, ERANGE);
  const size_t taken = length < room ? length : room - 1;
  __builtin_memcpy(to + at, from, taken * sizeof(Char));
  to[at + taken] = 0;
  return length == room ? STRUNCATE : 0;
}

}  // namespace crt
