// The locale of the user, as C run-times of other makers ask for it: English of the United
// States, as the texts of the library are.

#include <string.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kEnglishUnitedStates = 0x409;
constexpr std::uint32_t kFlags = 0xF0000000;  // LOCALE_NOUSEROVERRIDE and its like

constexpr struct {
  std::uint32_t fact;  // Windows' LCTYPE
  const char* text;
} kFacts[] = {
    {0x02, "English (United States)"},
    {0x03, "ENU"},
    {0x06, "United States"},
    {0x0E, "."},
    {0x0F, ","},
    {0x14, "$"},
    {0x59, "en"},
    {0x5A, "US"},
    {0x5C, "en-US"},
    {0x1001, "English"},
    {0x1002, "United States"},
    {0x1004, "1252"},
};

}  // namespace

std::uint32_t GetThreadLocale() { return kEnglishUnitedStates; }

std::int32_t GetLocaleInfoA(std::uint32_t locale, std::uint32_t fact, char* text,
                            std::int32_t size) {
  // 0, 0x400 and 0x800 stand for the user's own and the system's.
  if (locale != kEnglishUnitedStates && (locale & ~0xC00u) != 0) {
    return static_cast<std::int32_t>(fail(kErrorInvalidParameter));
  }
  for (const auto& row : kFacts) {
    if (row.fact != (fact & ~kFlags)) continue;
    const auto length = static_cast<std::int32_t>(strlen(row.text) + 1);
    if (size == 0) return length;
    if (size < length) return static_cast<std::int32_t>(fail(kErrorInsufficientBuffer));
    memcpy(text, row.text, static_cast<std::size_t>(length));
    return length;
  }
  return static_cast<std::int32_t>(fail(kErrorInvalidFlags));
}

Bool EnumSystemLocalesA(Bool(TARNAPI* routine)(char* number), std::uint32_t) {
  char number[] = "00000409";
  routine(number);
  return 1;
}

}  // namespace tarn::platform
