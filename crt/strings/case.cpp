// Strings without regard to ASCII case, and the older names of mingw-w64's headers.
#include <stdlib.h>
#include <string.h>

#include "../crt.h"

namespace {

int lower(int character) {
  return character >= 'A' && character <= 'Z' ? character + 32 : character;
}
int upper(int character) {
  return character >= 'a' && character <= 'z' ? character - 32 : character;
}

}  // namespace

CRT_API int _strnicmp(const char* left, const char* right, size_t count) {
  for (; count > 0; ++left, ++right, --count) {
    const int difference =
        lower(static_cast<unsigned char>(*left)) - lower(static_cast<unsigned char>(*right));
    if (difference != 0 || *left == '\0') return difference;
  }
  return 0;
}
CRT_API int _stricmp(const char* left, const char* right) {
  return _strnicmp(left, right, SIZE_MAX);
}

CRT_API int _memicmp(const void* left, const void* right, size_t count) {
  const auto* a = static_cast<const unsigned char*>(left);
  const auto* b = static_cast<const unsigned char*>(right);
  for (; count > 0; ++a, ++b, --count) {
    if (lower(*a) != lower(*b)) return lower(*a) - lower(*b);
  }
  return 0;
}

CRT_API char* _strdup(const char* string) {
  const size_t size = strlen(string) + 1;
  void* const copy = malloc(size);
  return copy ? static_cast<char*>(memcpy(copy, string, size)) : nullptr;
}
CRT_API char* _strlwr(char* string) {
  for (char* at = string; *at; ++at)
    *at = static_cast<char>(lower(static_cast<unsigned char>(*at)));
  return string;
}
CRT_API char* _strupr(char* string) {
  for (char* at = string; *at; ++at)
    *at = static_cast<char>(upper(static_cast<unsigned char>(*at)));
  return string;
}
CRT_API char* _strrev(char* string) {
  for (char *first = string, *last = string + strlen(string); first + 1 < last;) {
    const char kept = *first;
    *first++ = *--last;
    *last = kept;
  }
  return string;
}
CRT_API char* _strset(char* string, int value) {
  for (char* at = string; *at; ++at) *at = static_cast<char>(value);
  return string;
}
CRT_API char* _strnset(char* string, int value, size_t count) {
  for (char* at = string; count > 0 && *at; ++at, --count) *at = static_cast<char>(value);
  return string;
}

// The "C" and the UTF-8 locale order by bytes.
CRT_API int strcoll(const char* left, const char* right) { return strcmp(left, right); }
CRT_API size_t strxfrm(char* to, const char* from, size_t size) {
  const size_t length = strlen(from);
  if (size > 0) strncpy(to, from, size);
  return length;
}
