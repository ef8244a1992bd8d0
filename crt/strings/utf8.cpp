#include "utf8.h"

namespace crt {
namespace {

bool refuse(int error) {
  fail_with(error);
  return false;
}

}  // namespace

int decode_utf8(const unsigned char* bytes, size_t size, unsigned* code) {
  const unsigned first = bytes[0];
  if (first < 0x80) {
    *code = first;
    return 1;
  }
  const int length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4) return -1;
  unsigned value = first & (0x7Fu >> length);
  for (int i = 1; i < length; ++i) {
    if (static_cast<size_t>(i) == size) return 0;
    const unsigned next = bytes[i];
    const bool too_low =
        i == 1 && ((first == 0xE0 && next < 0xA0) || (first == 0xF0 && next < 0x90));
    const bool too_high =
        i == 1 && ((first == 0xED && next > 0x9F) || (first == 0xF4 && next > 0x8F));
    if ((next & 0xC0) != 0x80 || too_low || too_high) return -1;
    value = value << 6 | (next & 0x3F);
  }
  *code = value;
  return length;
}

int encode_utf8(unsigned code, char* to) {
  if (code < 0x80) {
    to[0] = static_cast<char>(code);
    return 1;
  }
  const int length = code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
  for (int i = length - 1; i > 0; --i, code >>= 6) to[i] = static_cast<char>(0x80 | (code & 0x3F));
  to[0] = static_cast<char>(0xF00 >> length | code);
  return length;
}

bool to_utf8(const wchar_t* wide, char* bytes, size_t size) {
  if (!wide) return refuse(EINVAL);
  size_t length = 0;
  for (; *wide; ++wide) {
    unsigned code = *wide;
    if (code >= 0xD800 && code < 0xDC00 && wide[1] >= 0xDC00 && wide[1] < 0xE000) {
      code = 0x10000 + ((code & 0x3FF) << 10) + (*++wide & 0x3FFu);
    } else if (code >= 0xD800 && code < 0xE000) {
      return refuse(EILSEQ);
    }
    char encoded[4];
    const auto count = static_cast<size_t>(encode_utf8(code, encoded));
    if (length + count >= size) return refuse(ENAMETOOLONG);
    __builtin_memcpy(bytes + length, encoded, count);
    length += count;
  }
  bytes[length] = '\0';
  return true;
}

bool to_wide(const char* bytes, wchar_t* wide, size_t size) {
  if (!bytes) return refuse(EINVAL);
  const auto* at = reinterpret_cast<const unsigned char*>(bytes);
  size_t length = 0;
  while (*at) {
    unsigned code;
    const int taken = decode_utf8(at, SIZE_MAX, &code);
    if (taken < 0) return refuse(EILSEQ);
    at += taken;
    if (length + (code >= 0x10000 ? 2 : 1) >= size) return refuse(ENAMETOOLONG);
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
