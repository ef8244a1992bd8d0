// The forms of the string routines that know the size of the target.
#include <stdlib.h>
#include <string.h>

#include "../crt.h"

namespace {

errno_t refuse(char* to, size_t size, int error) {
  if (to && size > 0) *to = '\0';
  return errno = error;
}

}  // namespace

CRT_API errno_t strcpy_s(char* to, size_t size, const char* from) {
  if (!to || size == 0 || !from) return refuse(to, size, EINVAL);
  const size_t length = strlen(from);
  if (length >= size) return refuse(to, size, ERANGE);
  memcpy(to, from, length + 1);
  return 0;
}

CRT_API errno_t strcat_s(char* to, size_t size, const char* from) {
  const size_t length = to ? strnlen(to, size) : 0;
  if (!to || length == size || !from) return refuse(to, size, EINVAL);
  if (strlen(from) >= size - length) return refuse(to, size, ERANGE);
  strcpy(to + length, from);
  return 0;
}

// _TRUNCATE as the count takes what fits.
CRT_API errno_t strncpy_s(char* to, size_t size, const char* from, size_t count) {
  if (!to || size == 0 || !from) return refuse(to, size, EINVAL);
  const bool truncates = count == _TRUNCATE;
  const size_t length = strnlen(from, truncates ? size : count);
  if (length >= size && !truncates) return refuse(to, size, ERANGE);
  const size_t taken = length < size ? length : size - 1;
  memcpy(to, from, taken);
  to[taken] = '\0';
  return length >= size ? STRUNCATE : 0;
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

// Copies bytes in pairs, the second first.
CRT_API void _swab(char* from, char* to, int count) {
  for (int i = 0; i + 1 < count; i += 2) {
    const char first = from[i];
    to[i] = from[i + 1];
    to[i + 1] = first;
  }
}
