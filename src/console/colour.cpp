#include "console/colour.h"

#include "console/console_state.h"
#include "console/line_output.h"

namespace tarn {
namespace {

constexpr std::int32_t kForeground = 0x0F;
constexpr std::int32_t kBackgroundStep = 16;
constexpr std::uint32_t kBright = 8;

// In the order of their values.
constexpr char kColourLetters[] = "KBGCRMYW";

}  // namespace

std::int32_t SetConsoleColour(std::int32_t colour) {
  const std::int32_t before = console.text_attribute & kForeground;
  if (console.redirected || before == colour) return before;
  FlushConsole();
  console.text_attribute = static_cast<std::int16_t>(console.background | colour);
  return before;
}
std::int32_t tarn_set_console_colour(const std::int32_t* colour) {
  return SetConsoleColour(*colour);
}

std::int32_t SetConsoleBackground(std::int32_t colour) {
  const std::int32_t before = console.background / kBackgroundStep;
  if (console.redirected) return before;
  FlushConsole();
  console.background =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(colour) * kBackgroundStep);
  console.text_attribute = (console.text_attribute & kForeground) | console.background;
  return before;
}
std::int32_t tarn_set_console_background(const std::int32_t* colour) {
  return SetConsoleBackground(*colour);
}

void SetTextAttribute(std::int32_t colour) {
  if (console.redirected) return;
  console.text_attribute = (colour & kForeground) | console.background;
}

void PushConsoleColour(std::int32_t colour) {
  if (console.redirected) return;
  tarn_int_stack* const node = new_int_stack();
  node->value = console.text_attribute;
  node->next = console.colour_stack;
  console.colour_stack = node;
  SetConsoleColour(colour);
}
void tarn_push_console_colour(const std::int32_t* colour) { PushConsoleColour(*colour); }

void PopConsoleColour() {
  if (console.redirected) return;
  FlushConsole();
  tarn_int_stack* const top = console.colour_stack;
  if (!top) return;
  console.text_attribute = top->value;
  console.colour_stack = top->next;
  discard_int_stack(top);
}
void tarn_pop_console_colour() { PopConsoleColour(); }

std::int32_t colour_from_code(char code) {
  const char capital = code >= 'a' && code <= 'z' ? static_cast<char>(code - 'a' + 'A') : code;
  for (std::int32_t colour = 0; kColourLetters[colour]; ++colour) {
    if (kColourLetters[colour] == capital) return colour;
  }
  return -1;
}

void ProcessColourOption(const char** cursor, std::uint32_t* colour) {
  const char* at = *cursor;
  if (*at == '\0') return;
  const bool bright = *at == '-';
  if (bright) ++at;
  const std::int32_t value = colour_from_code(*at);
  if (value != -1) *colour = static_cast<std::uint32_t>(value) | (bright ? kBright : 0);
  if (*at != '\0') ++at;
  if (*at == ';') ++at;
  *cursor = at;
}

}  // namespace tarn
