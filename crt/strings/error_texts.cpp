// Texts of errors by the names of Windows' C run-time. Those with a prefix are about errno.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include "checked.h"
#include "utf8.h"

using namespace crt;

namespace {

constexpr size_t kSize = 1024;

errno_t with_prefix(char* to, size_t size, const char* prefix) {
  if (!to || size == 0) return errno = EINVAL;
  *to = '\0';
  if (prefix && *prefix) {
    strncat_s(to, size, prefix, _TRUNCATE);
    strncat_s(to, size, ": ", _TRUNCATE);
  }
  strncat_s(to, size, strerror(errno), _TRUNCATE);
  strncat_s(to, size, "\n", _TRUNCATE);
  return 0;
}

errno_t widen(wchar_t* to, size_t size, const char* text) {
  wchar_t wide[kSize];
  if (!to_wide(text, wide, kSize)) return refuse(to, size, errno);
  return copy_checked(to, size, 0, wide, _TRUNCATE) == EINVAL ? EINVAL : 0;
}

errno_t wide_with_prefix(wchar_t* to, size_t size, const wchar_t* prefix) {
  char text[kSize], narrow[kSize] = "";
  if (prefix && !to_utf8(prefix, narrow, sizeof narrow)) return refuse(to, size, errno);
  with_prefix(text, sizeof text, narrow);
  return widen(to, size, text);
}

char shared_text[kSize];
wchar_t shared_wide_text[kSize];

}  // namespace

CRT_API char* _strerror(const char* prefix) {
  with_prefix(shared_text, kSize, prefix);
  return shared_text;
}
CRT_API errno_t _strerror_s(char* to, size_t size, const char* prefix) {
  return with_prefix(to, size, prefix);
}
CRT_API wchar_t* _wcserror(int error) {
  widen(shared_wide_text, kSize, strerror(error));
  return shared_wide_text;
}
CRT_API errno_t _wcserror_s(wchar_t* to, size_t size, int error) {
  return widen(to, size, strerror(error));
}
CRT_API wchar_t* __wcserror(const wchar_t* prefix) {
  wide_with_prefix(shared_wide_text, kSize, prefix);
  return shared_wide_text;
}
CRT_API errno_t __wcserror_s(wchar_t* to, size_t size, const wchar_t* prefix) {
  return wide_with_prefix(to, size, prefix);
}
CRT_API void _wperror(const wchar_t* prefix) {
  const NarrowText narrow(prefix ? prefix : L"");
  perror(narrow.valid() ? static_cast<const char*>(narrow) : nullptr);
}
