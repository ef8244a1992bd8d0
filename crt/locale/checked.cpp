// Conversions that know the size of the target; see strings/checked.h. The result counts the NUL.
#include "../strings/checked.h"

#include <stdlib.h>
#include <wchar.h>

using namespace crt;

namespace {

// `convert(to, count)` is mbstowcs's or wcstombs's: null to measure.
template <class Char, class Convert>
errno_t convert_checked(size_t* result, Char* to, size_t size, size_t count, Convert convert) {
  if (result) *result = 0;
  if ((to == nullptr) != (size == 0)) return refuse(to, size, EINVAL);
  if (!to) {
    const size_t length = convert(nullptr, 0);
    if (length == SIZE_MAX) return errno;
    if (result) *result = length + 1;
    return 0;
  }
  const bool truncates = count == _TRUNCATE;
  const size_t most = count < size ? count : size;
  const size_t length = convert(to, most);
  if (length == SIZE_MAX) return refuse(to, size, EILSEQ);
  // All of `to` is taken, or as much as the caller wanted.
  if (length == size && !truncates) return refuse(to, size, ERANGE);
  const bool cut = length == size;
  const size_t kept = cut ? size - 1 : length;
  to[kept] = 0;
  if (result) *result = kept + 1;
  return cut ? STRUNCATE : 0;
}

template <class Result>
errno_t put_bytes(Result* result, char* to, size_t size, const char* bytes, size_t length) {
  if (length == SIZE_MAX) return refuse(to, size, EILSEQ);
  if (to && length > size) return refuse(to, size, ERANGE);
  if (to) __builtin_memcpy(to, bytes, length);
  if (result) *result = static_cast<Result>(length);
  return 0;
}

}  // namespace

CRT_API errno_t mbstowcs_s(size_t* result, wchar_t* to, size_t size, const char* from,
                           size_t count) {
  if (!from) return refuse(to, size, EINVAL);
  return convert_checked(result, to, size, count,
                         [from](wchar_t* at, size_t most) { return mbstowcs(at, from, most); });
}
CRT_API errno_t wcstombs_s(size_t* result, char* to, size_t size, const wchar_t* from,
                           size_t count) {
  if (!from) return refuse(to, size, EINVAL);
  return convert_checked(result, to, size, count,
                         [from](char* at, size_t most) { return wcstombs(at, from, most); });
}
CRT_API errno_t mbsrtowcs_s(size_t* result, wchar_t* to, size_t size, const char** from,
                            size_t count, mbstate_t* state) {
  if (!from || !*from) return refuse(to, size, EINVAL);
  return convert_checked(result, to, size, count, [=](wchar_t* at, size_t most) {
    return mbsrtowcs(at, from, most, state);
  });
}
CRT_API errno_t wcsrtombs_s(size_t* result, char* to, size_t size, const wchar_t** from,
                            size_t count, mbstate_t* state) {
  if (!from || !*from) return refuse(to, size, EINVAL);
  return convert_checked(result, to, size, count,
                         [=](char* at, size_t most) { return wcsrtombs(at, from, most, state); });
}
CRT_API errno_t wctomb_s(int* result, char* to, size_t size, wchar_t wide) {
  char bytes[MB_LEN_MAX];
  const int length = wctomb(to ? bytes : nullptr, wide);
  return put_bytes(result, to, size, bytes, length < 0 ? SIZE_MAX : static_cast<size_t>(length));
}
CRT_API errno_t wcrtomb_s(size_t* result, char* to, size_t size, wchar_t wide, mbstate_t* state) {
  char bytes[MB_LEN_MAX];
  return put_bytes(result, to, size, bytes, wcrtomb(to ? bytes : nullptr, wide, state));
}

// The characters of a string of bytes; -1 if it is not well formed.
CRT_API size_t _mbstrlen(const char* string) { return mbstowcs(nullptr, string, 0); }
// Of a character that passes the end of `size` bytes nothing counts.
CRT_API size_t _mbstrnlen(const char* string, size_t size) {
  size_t count = 0;
  for (size_t taken; size > 0; string += taken, size -= taken) {
    mbstate_t state = {};
    taken = mbrlen(string, size, &state);
    if (taken == SIZE_MAX) return SIZE_MAX;
    if (taken == 0 || taken > size) break;
    count += taken > 3 ? 2 : 1;  // wide characters, as _mbstrlen has it
  }
  return count;
}
