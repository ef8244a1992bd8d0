// The characters of names: UTF-8, and capitals.

#include <locale.h>
#include <pthread.h>
#include <string.h>
#include <wctype.h>

#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

locale_t letters;  // null: only those of ASCII have case

void load_letters() { letters = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr); }

}  // namespace

int take_utf8(const std::uint8_t* bytes, std::size_t count, std::uint32_t* code_point) {
  const unsigned lead = bytes[0];
  const int length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  std::uint32_t value = lead & (0x7Fu >> length);
  for (int i = 1; i < length; ++i) {
    if (static_cast<std::size_t>(i) == count) return -1;
    if ((bytes[i] & 0xC0) != 0x80) return 0;
    value = value << 6 | (bytes[i] & 0x3F);
  }
  constexpr std::uint32_t kLowest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (value < kLowest[length] || value > 0x10FFFF || (value >= 0xD800 && value < 0xE000)) return 0;
  *code_point = value;
  return length;
}

std::uint32_t take_capital(const char** name) {
  static pthread_once_t once = PTHREAD_ONCE_INIT;
  const auto first = static_cast<std::uint8_t>(**name);
  if (first < 0x80) {
    ++*name;
    return first >= 'a' && first <= 'z' ? first - 0x20u : first;
  }
  std::uint32_t point;
  const int length =
      take_utf8(reinterpret_cast<const std::uint8_t*>(*name), strnlen(*name, 4), &point);
  if (length <= 0) {
    ++*name;
    return 0xDC00u + first;  // no character has this code
  }
  *name += length;
  pthread_once(&once, &load_letters);
  return letters == nullptr ? point : static_cast<std::uint32_t>(towupper_l(point, letters));
}

int compare_in_any_case(const char* a, const char* b) {
  while (*a != '\0' && *b != '\0') {
    const std::uint32_t x = take_capital(&a), y = take_capital(&b);
    if (x != y) return x < y ? -1 : 1;
  }
  return *a != '\0' ? 1 : *b != '\0' ? -1 : 0;
}

}  // namespace tarn::platform
