// The system's own routines for short strings.
#include "platform/image_imports.h"

namespace tarn::platform {
namespace {

template <class Char>
std::int32_t length_of(const Char* string) {
  std::int32_t length = 0;
  while (string != nullptr && string[length] != 0) ++length;
  return length;
}

template <class Char>
Char* copy(Char* to, std::int32_t at, const Char* from, std::int32_t room) {
  if (to == nullptr || from == nullptr) return nullptr;
  std::int32_t i = 0;
  for (; i < room - 1 && from[i] != 0; ++i) to[at + i] = from[i];
  if (room > 0) to[at + i] = 0;
  return to;
}

constexpr std::int32_t kNoLimit = 0x7FFFFFFF;

}  // namespace

std::int32_t lstrlenA(const char* string) { return length_of(string); }
std::int32_t lstrlenW(const char16_t* string) { return length_of(string); }
char* lstrcpyA(char* to, const char* from) { return copy(to, 0, from, kNoLimit); }
char16_t* lstrcpyW(char16_t* to, const char16_t* from) { return copy(to, 0, from, kNoLimit); }
char* lstrcatA(char* to, const char* from) { return copy(to, length_of(to), from, kNoLimit); }
char16_t* lstrcatW(char16_t* to, const char16_t* from) {
  return copy(to, length_of(to), from, kNoLimit);
}
char* lstrcpynA(char* to, const char* from, std::int32_t room) { return copy(to, 0, from, room); }
char16_t* lstrcpynW(char16_t* to, const char16_t* from, std::int32_t room) {
  return copy(to, 0, from, room);
}

}  // namespace tarn::platform
