// Classes of wide characters, by the bits of mingw-w64's headers. A character's own
// routine (iswalpha and so on, of all of Unicode's 16 bits) decides each.
#include <wctype.h>

#include "../crt.h"

#undef iswalpha
#undef iswcntrl
#undef iswdigit
#undef iswlower
#undef iswpunct
#undef iswspace
#undef iswupper
#undef iswxdigit

namespace {

struct Class {
  unsigned short bit;
  int (*has)(wint_t);
};

int is_alphabetic(wint_t c) { return iswalpha(c); }
int is_upper(wint_t c) { return iswupper(c); }
int is_lower(wint_t c) { return iswlower(c); }
int is_digit(wint_t c) { return iswdigit(c); }
int is_space(wint_t c) { return iswspace(c); }
int is_punctuation(wint_t c) { return iswpunct(c); }
int is_control(wint_t c) { return iswcntrl(c); }
int is_blank(wint_t c) { return c == ' ' || c == '\t'; }
int is_hexadecimal(wint_t c) { return iswxdigit(c); }

constexpr unsigned short kLetter = 0x100;  // of _ALPHA, beside _UPPER and _LOWER
constexpr Class kClasses[] = {
    {kLetter, is_alphabetic}, {_UPPER, is_upper}, {_LOWER, is_lower},
    {_DIGIT, is_digit},       {_SPACE, is_space}, {_PUNCT, is_punctuation},
    {_CONTROL, is_control},   {_BLANK, is_blank}, {_HEX, is_hexadecimal},
};

}  // namespace

CRT_API int iswctype(wint_t character, wctype_t type) {
  if (character == WEOF) return 0;
  for (const Class& row : kClasses) {
    if ((type & row.bit) && row.has(character)) return 1;
  }
  return 0;
}
CRT_API int is_wctype(wint_t character, wctype_t type) { return iswctype(character, type); }
