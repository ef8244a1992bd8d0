// Two locales: "C", in which a byte is a character, and "C.UTF-8". They differ in
// LC_CTYPE alone, in the multibyte routines.
#include "locale.h"

#include <locale.h>
#include <string.h>

#include "../crt.h"
#include "../strings/utf8.h"

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

CRT_API wchar_t* _wsetlocale(int category, const wchar_t* name) {
  static wchar_t wide[sizeof crt::kNameUtf8];
  char narrow[32];
  if (name && !crt::to_utf8(name, narrow, sizeof narrow)) return nullptr;
  const char* const now = setlocale(category, name ? narrow : nullptr);
  return now && crt::to_wide(now, wide, sizeof wide / sizeof wide[0]) ? wide : nullptr;
}

// A locale as an object. What takes one, by a name that ends in _l, does not depend on it,
// since the two locales differ in the multibyte routines alone, and these have no such form.
CRT_API _locale_t _create_locale(int category, const char* name) {
  static localeinfo_struct locale;
  if (category < LC_MIN || category > LC_MAX || !name || !crt::choice(name)) return nullptr;
  return &locale;
}
CRT_API void _free_locale(_locale_t) {}
CRT_API _locale_t _get_current_locale(void) { return _create_locale(LC_ALL, "C"); }

// The locale is one for the process, and no thread can have another: -1.
CRT_API int _configthreadlocale(int type) {
  return type == 0 || type == _DISABLE_PER_THREAD_LOCALE ? _DISABLE_PER_THREAD_LOCALE
                                                         : crt::fail_with(EINVAL);
}
