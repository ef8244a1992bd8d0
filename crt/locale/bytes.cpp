// The routines of mbstring.h that are not those of string.h by another name: every byte is a
// character, and none is the first of two.
#include <mbctype.h>
#include <mbstring.h>
#include <string.h>

#include "../crt.h"

// Either kind of a byte, and with a locale.
#define NEVER(name, arguments) \
  CRT_API int name arguments { return 0; }
NEVER(_ismbblead, (unsigned))
NEVER(_ismbblead_l, (unsigned, _locale_t))
NEVER(_ismbbtrail, (unsigned))
NEVER(_ismbbtrail_l, (unsigned, _locale_t))
NEVER(_ismbslead, (const unsigned char*, const unsigned char*))
NEVER(_ismbstrail, (const unsigned char*, const unsigned char*))
NEVER(_mbbtype, (unsigned char, int))
NEVER(_mbsbtype, (const unsigned char*, size_t))
NEVER(isleadbyte, (int))
NEVER(_isleadbyte_l, (int, _locale_t))
NEVER(_getmbcp, (void))

// The code page of bytes, or that of the locale; no other.
CRT_API int _setmbcp(int page) {
  return page <= _MB_CP_SBCS && page >= _MB_CP_LOCALE ? 0 : crt::fail_with(EINVAL);
}
CRT_API int _ismbclegal(unsigned character) { return character <= 0xFF; }
CRT_API size_t _mbclen(const unsigned char*) { return 1; }
CRT_API void _mbccpy(unsigned char* to, const unsigned char* from) { *to = *from; }
CRT_API unsigned char* _mbsinc(const unsigned char* at) {
  return const_cast<unsigned char*>(at) + 1;
}
CRT_API unsigned char* _mbsdec(const unsigned char* first, const unsigned char* at) {
  return first < at ? const_cast<unsigned char*>(at) - 1 : nullptr;
}
CRT_API unsigned char* _mbsninc(const unsigned char* at, size_t count) {
  const auto* const string = reinterpret_cast<const char*>(at);
  return at ? const_cast<unsigned char*>(at) + strnlen(string, count) : nullptr;
}
CRT_API unsigned _mbsnextc(const unsigned char* at) { return at ? *at : 0; }
CRT_API unsigned char* _mbsspnp(const unsigned char* string, const unsigned char* set) {
  auto* const at = const_cast<char*>(reinterpret_cast<const char*>(string));
  char* const end = at + strspn(at, reinterpret_cast<const char*>(set));
  return *end ? reinterpret_cast<unsigned char*>(end) : nullptr;
}
