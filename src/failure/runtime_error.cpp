#include "failure/runtime_error.h"

#include "platform/platform.h"
#include "storage/heap.h"
#include "streams/format.h"

namespace tarn {
namespace {

constexpr std::uint64_t kSystemTextSize = 256;
constexpr std::uint32_t kFromSystemIgnoreInserts = 0x1200;
constexpr std::uint32_t kUserDefaultLanguage = 0x400;
constexpr char kUnknownError[] = "Unknown error";

char* system_text;

}  // namespace

void text_error(const char* format, ...) {
  TARN_SLOTS_BEHIND(slots, format);
  char text[kTextErrorSize];
  format_bounded(text, sizeof text, format, slots);
  ReportErrorString(text, 0);
}

char* nt_error_message(std::uint32_t code) {
  static char without_heap[sizeof kUnknownError];
  if (!system_text) system_text = static_cast<char*>(malloc(kSystemTextSize));
  char* const text = system_text ? system_text : without_heap;
  if (!system_text ||
      platform::FormatMessageA(kFromSystemIgnoreInserts, nullptr, code, kUserDefaultLanguage, text,
                               kSystemTextSize, nullptr) == 0) {
    __builtin_memcpy(text, kUnknownError, sizeof kUnknownError);
  }
  return text;
}

}  // namespace tarn
