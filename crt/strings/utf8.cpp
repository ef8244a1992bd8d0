#include "utf8.h"

namespace crt {

bool to_utf8(const wchar_t* wide, char* bytes, size_t size) {
  size_t length = 0;
  for (; *wide; ++wide) {
    unsigned code = *wide;
    if (code >= 0xD800 && code < 0xDC00 && wide[1] >= 0xDC00 && wide[1] < 0xE000) {
      code = 0x10000 + ((code & 0x3FF) << 10) + (*++wide & 0x3FFu);
    } else if (code >= 0xD800 && code < 0xE000) {
      fail_with(EILSEQ);
      return false;
    }
    const int count = code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
    if (length + static_cast<size_t>(count) >= size) {
      fail_with(ENAMETOOLONG);
      return false;
    }
    for (int i = count - 1; i > 0; --i, code >>= 6) {
      bytes[length + static_cast<size_t>(i)] = static_cast<char>(0x80 | (code & 0x3F));
    }
    bytes[length] = static_cast<char>(count == 1 ? code : (0xF00u >> count) | code);
    length += static_cast<size_t>(count);
  }
  bytes[length] = '\0';
  return true;
}

bool to_wide(const char* bytes, wchar_t* wide, size_t size) {
  const auto* at = reinterpret_cast<const unsigned char*>(bytes);
  size_t length = 0;
  while (*at) {
    const unsigned first = *at++;
    const int more = first < 0x80 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
    unsigned code = more == 0 ? first : first & (0x3Fu >> more);
    for (int i = 0; i < more; ++i) {
      if ((*at & 0xC0) != 0x80) {
        fail_with(EILSEQ);
        return false;
      }
      code = code << 6 | (*at++ & 0x3Fu);
    }
    if (length + 2 >= size) {
      fail_with(ENAMETOOLONG);
      return false;
    }
    if (code >= 0x10000) {
      wide[length++] = static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10));
      code = 0xDC00 | (code & 0x3FF);
    }
    wide[length++] = static_cast<wchar_t>(code);
  }
  wide[length] = 0;
  return true;
}

}  // namespace crt
