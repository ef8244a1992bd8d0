// The keys of a dialog: one for each button, and the names of shortcuts.

#include "paneview/dialog.h"
#include "paneview/text.h"
#include "platform/windows_ui.h"

namespace paneview {
namespace {

namespace platform = tarn::platform;

bool is_key(std::int32_t c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }

bool is_free(const Choices& choices, std::int32_t key) {
  for (std::uint32_t i = 0; i < choices.count; ++i) {
    if (choices.rows[i].key == key) return false;
  }
  return true;
}

char key_for(const Choices& choices, const char* label) {
  for (const char* c = label; *c != 0; ++c) {
    const std::int32_t key = capital(c[1]);
    if (*c == '&' && is_key(key) && is_free(choices, key)) return static_cast<char>(key);
  }
  for (const char* c = label; *c != 0; ++c) {
    const std::int32_t key = capital(*c);
    if (is_key(key) && is_free(choices, key)) return static_cast<char>(key);
  }
  char key = '0';
  static_assert(kDialogButtons <= 16);  // so the search ends among digits and a few signs
  while (!is_free(choices, key)) ++key;
  return key;
}

// ---- Shortcuts ---------------------------------------------------------------------

struct NamedKey {
  const char* name;  // in capitals
  std::uint16_t value;
};

constexpr NamedKey kModifiers[] = {
    {"CTRL+", platform::kKeyControl},
    {"SHIFT+", platform::kKeyShift},
    {"ALT+", platform::kKeyAlt},
};

constexpr NamedKey kKeys[] = {{"INS", 0x2D}, {"DEL", 0x2E}};
constexpr std::uint16_t kKeyF1 = 0x70;
constexpr std::uint32_t kFunctionKeys = 24;

// Steps over `start` if the string begins with it, in either case.
bool step_over(const char** text, const char* start) {
  const char* c = *text;
  for (; *start != 0; ++start, ++c) {
    if (capital(*c) != *start) return false;
  }
  *text = c;
  return true;
}

bool read_function_key(const char* name, std::uint16_t* code) {
  if (capital(name[0]) != 'F') return false;
  std::uint32_t number = 0;
  const char* digit = name + 1;
  for (; *digit >= '0' && *digit <= '9' && number <= kFunctionKeys; ++digit) {
    number = number * 10 + static_cast<std::uint32_t>(*digit - '0');
  }
  if (*digit != 0 || number < 1 || number > kFunctionKeys) return false;
  *code = static_cast<std::uint16_t>(kKeyF1 + number - 1);
  return true;
}

}  // namespace

void find_choices(const Dialog* dialog, Choices* choices) {
  choices->count = 0;
  choices->preferred = 0;
  bool marked = false;
  for (std::uint32_t i = 0; i < dialog->item_count; ++i) {
    const Item& item = dialog->items[i];
    if (item.kind != ItemKind::kButton) continue;
    const std::uint32_t row = choices->count < kDialogButtons ? choices->count : kDialogButtons - 1;
    choices->count = row;
    choices->rows[row] = {&item, key_for(*choices, item.text)};
    choices->count = row + 1;
    if (!marked) choices->preferred = row;
    marked = marked || item.is_default;
  }
}

bool press(const Choice& choice) {
  return choice.button->callback == nullptr || choice.button->callback() == 0;
}

bool read_shortcut(const char* name, std::uint16_t* modifiers, std::uint16_t* code) {
  *modifiers = 0;
  for (bool found = true; found;) {
    found = false;
    for (const NamedKey& modifier : kModifiers) {
      if (!step_over(&name, modifier.name)) continue;
      *modifiers |= modifier.value;
      found = true;
    }
  }
  if (is_key(capital(name[0])) && name[1] == 0) {
    *code = static_cast<std::uint16_t>(capital(name[0]));
    return true;
  }
  for (const NamedKey& key : kKeys) {
    const char* rest = name;
    if (!step_over(&rest, key.name) || *rest != 0) continue;
    *code = key.value;
    return true;
  }
  return read_function_key(name, code);
}

}  // namespace paneview
