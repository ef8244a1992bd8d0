// Classes of characters in the "C" locale: ASCII, and EOF has none. One table of
// mingw-w64's own bits (_UPPER and so on), for programs that read it too.
#include <ctype.h>

#include "../crt.h"

namespace {

struct Table {
  unsigned short classes[257];  // of EOF, then of each byte
};

constexpr Table make_table() {
  Table table = {};
  for (int c = 0; c < 128; ++c) {
    unsigned short bits = 0;
    if (c >= 'A' && c <= 'Z') bits |= _UPPER | 0x100;
    if (c >= 'a' && c <= 'z') bits |= _LOWER | 0x100;
    if (c >= '0' && c <= '9') bits |= _DIGIT;
    if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) bits |= _HEX;
    if ((c >= 9 && c <= 13) || c == ' ') bits |= _SPACE;
    if (c == ' ' || c == '\t') bits |= _BLANK;
    if (c < 32 || c == 127) bits |= _CONTROL;
    if (c > 32 && c < 127 && !(bits & (_UPPER | _LOWER | _DIGIT))) bits |= _PUNCT;
    table.classes[c + 1] = bits;
  }
  table.classes['\t' + 1] = _SPACE | _CONTROL | _BLANK;
  return table;
}

constexpr Table kTable = make_table();

int has(int character, int bits) {
  return character >= -1 && character <= 255 ? kTable.classes[character + 1] & bits : 0;
}

}  // namespace

#undef _pctype
#undef _tolower
#undef _toupper
#undef __pctype_func
extern "C" {
extern const unsigned short* const pctype __asm__("_pctype") = kTable.classes + 1;
const unsigned short* __pctype_func(void) { return pctype; }
int _isctype(int character, int bits) { return has(character, bits); }

int(__isascii)(int c) { return static_cast<unsigned>(c) < 0x80; }
int(__toascii)(int c) { return c & 0x7F; }
int(__iscsymf)(int c) { return c == '_' || has(c, _UPPER | _LOWER); }
int(__iscsym)(int c) { return c == '_' || has(c, _UPPER | _LOWER | _DIGIT); }

int(isupper)(int c) { return has(c, _UPPER); }
int(islower)(int c) { return has(c, _LOWER); }
int(isalpha)(int c) { return has(c, _UPPER | _LOWER); }
int(isdigit)(int c) { return has(c, _DIGIT); }
int(isxdigit)(int c) { return has(c, _HEX); }
int(isspace)(int c) { return has(c, _SPACE); }
int(ispunct)(int c) { return has(c, _PUNCT); }
int(isalnum)(int c) { return has(c, _UPPER | _LOWER | _DIGIT); }
int(iscntrl)(int c) { return has(c, _CONTROL); }
int(isgraph)(int c) { return has(c, _UPPER | _LOWER | _DIGIT | _PUNCT); }
int(isprint)(int c) { return c == ' ' || has(c, _UPPER | _LOWER | _DIGIT | _PUNCT); }
int(tolower)(int c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; }
int(toupper)(int c) { return c >= 'a' && c <= 'z' ? c - 32 : c; }
int _tolower(int c) { return c + 32; }
int _toupper(int c) { return c - 32; }
}
