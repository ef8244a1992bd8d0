// Two locales: "C", in which a byte is a character, and "C.UTF-8". They differ in
// LC_CTYPE alone, in the multibyte routines.
#include "locale.h"

#include <locale.h>
#include <string.h>

#include "../crt.h"

namespace crt {

bool is_utf8;

namespace {

constexpr int kCategories = LC_MAX + 1;
constexpr char kNameC[] = "C";
constexpr char kNameUtf8[] = "C.UTF-8";

bool utf8_of[kCategories];

// Null: no such locale.
const bool* choice(const char* name) {
  static constexpr bool kC = false, kUtf8 = true;
  if (strcmp(name, "") == 0 || strcmp(name, kNameC) == 0 || strcmp(name, "POSIX") == 0) return &kC;
  const char* const point = strrchr(name, '.');
  if (point && (_stricmp(point, ".UTF-8") == 0 || _stricmp(point, ".UTF8") == 0)) return &kUtf8;
  return nullptr;
}

}  // namespace
}  // namespace crt

CRT_API char* setlocale(int category, const char* name) {
  using namespace crt;
  if (category < LC_MIN || category > LC_MAX) return nullptr;
  if (name) {
    const bool* const wanted = choice(name);
    if (!wanted) return nullptr;
    for (int i = 0; i < kCategories; ++i) {
      if (category == LC_ALL || category == i) utf8_of[i] = *wanted;
    }
    is_utf8 = utf8_of[LC_CTYPE];
  }
  return const_cast<char*>(utf8_of[category == LC_ALL ? LC_CTYPE : category] ? kNameUtf8 : kNameC);
}

CRT_API struct lconv* localeconv(void) {
  static char point[] = ".", empty[] = "";
  static wchar_t wide_point[] = L".", wide_empty[] = L"";
  static struct lconv conventions = {
      point,      empty,      empty,      empty,      empty,      empty,      empty,
      empty,      empty,      empty,      CHAR_MAX,   CHAR_MAX,   CHAR_MAX,   CHAR_MAX,
      CHAR_MAX,   CHAR_MAX,   CHAR_MAX,   CHAR_MAX,   wide_point, wide_empty, wide_empty,
      wide_empty, wide_empty, wide_empty, wide_empty, wide_empty};
  return &conventions;
}

CRT_API unsigned ___lc_codepage_func(void) { return crt::is_utf8 ? CP_UTF8 : 0; }
CRT_API int ___mb_cur_max_func(void) { return crt::is_utf8 ? 4 : 1; }
