// Dialog formats: whatever they say, the parser takes no more arguments and
// stores no more than its limits, and what it made can be laid out as text and
// as a window. The input is a few formats, each up to a NUL.

#include "paneview/dialog.h"

#include "fuzz/fuzz.h"
#include "paneview/window_layout.h"

namespace {

using namespace paneview;

std::int32_t text_width(void*, const char*, std::uint32_t length) {
  return static_cast<std::int32_t>(length % 1000) * 5;
}

using fuzz::require;

Dialog dialog;
WindowLayout layout;

// All parts are in the window, and none on another.
void require_sound() {
  for (std::uint32_t i = 0; i < layout.count; ++i) {
    const WindowPart& a = layout.parts[i];
    require(a.x >= 0 && a.y >= 0 && a.x + a.width <= layout.width &&
            a.y + a.height <= layout.height);
    for (std::uint32_t j = 0; j < i; ++j) {
      const WindowPart& b = layout.parts[j];
      require(a.x >= b.x + b.width || b.x >= a.x + a.width || a.y >= b.y + b.height ||
              b.y >= a.y + a.height);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Serves as a string, as an integer's cell and as a handle's cell alike.
  alignas(8) char argument[16] = "an arg\nument 1";
  tarn::Slot* const arguments = new tarn::Slot[kDialogArguments];  // its end is watched
  for (std::uint32_t i = 0; i < kDialogArguments; ++i) {
    arguments[i] = reinterpret_cast<tarn::Slot>(argument);
  }
  std::memset(&dialog, 0, sizeof dialog);
  const std::string input(reinterpret_cast<const char*>(data), size);
  for (std::size_t start = 0; start <= size; start = input.find('\0', start) + 1) {
    const std::string format = input.substr(start).c_str();
    add_dialog_format(&dialog, format.c_str(), arguments);
    if (input.find('\0', start) == std::string::npos) break;
  }
  delete[] arguments;

  require(dialog.item_count <= kDialogItems && dialog.key_count <= kDialogKeys &&
          dialog.text_used <= kDialogTextSize);
  Choices choices;
  find_choices(&dialog, &choices);
  require(choices.count <= kDialogButtons);
  for (std::uint32_t i = 0; i < dialog.key_count; ++i) {
    std::uint16_t modifiers, code;
    read_shortcut(dialog.keys[i].name, &modifiers, &code);
  }

  std::string text(dialog_text(&dialog, nullptr, 0), '\0');
  require(dialog_text(&dialog, text.data(), text.size()) == text.size());
  for (const std::int32_t height : {700, 200}) {
    const WindowMeasures measures = {{5, 13, 17, 32, 900, height}, text_width, nullptr};
    lay_out_window(&dialog, &measures, &layout);
    require(layout.count <= kWindowParts && layout.width > 0 && layout.height > 0);
    require_sound();
  }
  return 0;
}
