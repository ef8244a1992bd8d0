#include "console/redirected_output.h"

#include <emmintrin.h>

#include "console/console_state.h"
#include "platform/output.h"

namespace tarn {
namespace {

constexpr std::int32_t kWide = sizeof(__m128i);

// How many of the 16 bytes at `text`, which are stored at `to`, come before the
// first one that is not written unchanged.
std::int32_t copy_wide(char* to, const char* text) {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
  const __m128i special = _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_setzero_si128()),
                                       _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n')));
  return __builtin_ctz(static_cast<unsigned>(_mm_movemask_epi8(special)) | 1u << kWide);
}

}  // namespace

// Whole blocks have 4,096 bytes, or one more if a line end begins in the last.
std::int32_t stage_redirected(std::int32_t held, const char* text, std::int32_t length) {
  char* const stage = console.redirect_stage;
  const char* const end = text + length;
  while (text < end) {
    if (held >= kRedirectBlock) {
      write_redirected(held);
      held = 0;
    }
    if (end - text >= kWide && kRedirectBlock - held >= kWide) {
      const std::int32_t taken = copy_wide(stage + held, text);
      held += taken;
      text += taken;
      if (taken == kWide) continue;
    }
    const char c = *text++;
    if (c == '\n') stage[held++] = '\r';
    if (c != '\0') stage[held++] = c;
  }
  return held;
}

void write_redirected(std::int32_t held) {
  if (held == 0) return;
  std::uint32_t written;
  platform::write_output(system_handle(console.output_handle), console.redirect_stage,
                         static_cast<std::uint32_t>(held), &written);
}

}  // namespace tarn
