// Dialogs as windows. Esc and the corner of the window press the last button,
// as the end of input does in the text renderer.

#include "paneview/text.h"
#include "paneview/window_layout.h"

namespace paneview {
namespace {

namespace platform = tarn::platform;

struct Shown {
  const platform::WindowServices* services;
  platform::DialogWindow* window;
  const Dialog* dialog;
  Choices choices;
};

// ---- Making the window -----------------------------------------------------------

platform::DialogWindow* open_window(const platform::WindowServices* services,
                                    const Dialog* dialog) {
  platform::WindowLook look = {};
  look.title = dialog->title == nullptr ? "" : dialog->title;
  look.font = dialog->font;
  look.has_colour = dialog->has_colour;
  look.colour = dialog->colour;
  look.topmost = dialog->style != nullptr && has_option(dialog->style, "topmost");
  look.icon = dialog->icon;
  look.owner = dialog->owner;
  return services->open(&look);
}

std::int32_t measure_text(void* context, const char* text, std::uint32_t length) {
  const auto* shown = static_cast<const Shown*>(context);
  return shown->services->text_width(shown->window, text, length);
}

// The label with a '&' before the letter that presses it.
void copy_label(const Choice& choice, char* label, std::uint32_t size) {
  bool marked = false;
  for (const char* c = choice.button->text; *c != 0; ++c) marked = marked || *c == '&';
  std::uint32_t used = 0;
  for (const char* c = choice.button->text; *c != 0 && used + 2 < size; ++c) {
    if (!marked && capital(*c) == choice.key) {
      label[used++] = '&';
      marked = true;
    }
    label[used++] = *c;
  }
  label[used] = 0;
}

void add_button(const Shown* shown, const WindowPart& part, platform::WindowControl* control) {
  for (std::uint32_t i = 0; i < shown->choices.count; ++i) {
    const Choice& choice = shown->choices.rows[i];
    if (choice.button != part.item) continue;
    char label[kDialogDimension];
    copy_label(choice, label, sizeof label);
    control->text = label;
    control->length = sizeof label;
    control->help = part.item->help;
    control->is_default = i == shown->choices.preferred;
    void* const handle = shown->services->add_control(shown->window, control);
    if (part.item->handle_cell != nullptr) *part.item->handle_cell = handle;
  }
}

void add_part(const Shown* shown, const WindowPart& part) {
  platform::WindowControl control = {};
  control.kind = part.kind;
  control.x = part.x;
  control.y = part.y;
  control.width = part.width;
  control.height = part.height;
  control.text = part.text;
  control.length = part.length;
  if (part.kind == platform::ControlKind::kButton) return add_button(shown, part, &control);
  const bool is_box = part.item != nullptr && part.item->kind == ItemKind::kBox;
  control.framed = !is_box || !has_option(part.item->options, "no_frame");
  control.scrolled = !is_box || has_option(part.item->options, "vscrollbar");
  void* const handle = shown->services->add_control(shown->window, &control);
  if (is_box && part.item->handle_cell != nullptr) *part.item->handle_cell = handle;
}

bool fill_window(Shown* shown) {
  auto* layout = static_cast<WindowLayout*>(new_pages(sizeof(WindowLayout)));
  if (layout == nullptr) return false;
  WindowMeasures measures = {{}, measure_text, shown};
  shown->services->get_metrics(shown->window, &measures.metrics);
  lay_out_window(shown->dialog, &measures, layout);
  for (std::uint32_t i = 0; i < layout->count; ++i) add_part(shown, layout->parts[i]);
  for (std::uint32_t i = 0; i < shown->dialog->key_count; ++i) {
    const Key& key = shown->dialog->keys[i];
    platform::WindowKey window_key = {key.in_menu ? key.name : nullptr, 0, 0};
    // A name that is no key's leaves a row that no key selects.
    if (!key.in_menu) read_shortcut(key.name, &window_key.modifiers, &window_key.code);
    shown->services->add_key(shown->window, &window_key);
  }
  shown->services->show(shown->window, layout->width, layout->height);
  free_pages(layout);
  return true;
}

// ---- Events -----------------------------------------------------------------------

// What the user selected in a box, else all texts of the dialog.
void copy(const Shown* shown) {
  if (shown->services->copy_selection(shown->window)) return;
  std::uint64_t length;
  char* const text = new_dialog_text(shown->dialog, &length);
  if (text == nullptr) return;
  shown->services->copy_text(shown->window, text, length);
  free_pages(text);
}

// True if the dialog closes.
bool run_key(const Shown* shown, const Key& key) {
  if (key.callback != nullptr) return key.callback() == 0;
  if (key.standard != nullptr && same_text(key.standard, "COPY")) copy(shown);
  return false;
}

std::int32_t wait_for_end(const Shown* shown) {
  const Choices& choices = shown->choices;
  for (;;) {
    const platform::WindowEvent event = shown->services->next_event(shown->window);
    switch (event.kind) {
      case platform::WindowEventKind::kButton:
        if (event.number < choices.count && press(choices.rows[event.number])) {
          return static_cast<std::int32_t>(event.number + 1);
        }
        break;
      case platform::WindowEventKind::kKey:
        if (event.number < shown->dialog->key_count &&
            run_key(shown, shown->dialog->keys[event.number])) {
          return 0;
        }
        break;
      case platform::WindowEventKind::kClose:
        if (choices.count > 0) press(choices.rows[choices.count - 1]);
        return static_cast<std::int32_t>(choices.count);
      case platform::WindowEventKind::kGone:
        return 0;
    }
  }
}

}  // namespace

bool show_window_dialog(const Dialog* dialog, std::int32_t* button) {
  const platform::WindowServices* const services = platform::DesktopWindows();
  if (services == nullptr) return false;
  Shown shown = {services, open_window(services, dialog), dialog, {}};
  if (shown.window == nullptr) return false;
  find_choices(dialog, &shown.choices);
  const bool filled = fill_window(&shown);
  if (filled) {
    if (dialog->start != nullptr) dialog->start();
    *button = wait_for_end(&shown);
  }
  services->close(shown.window);
  return filled;
}

}  // namespace paneview
