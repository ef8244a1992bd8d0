// Dialogs as text. On a terminal: title, texts, then a line of choices that is
// answered by single keys. Without one: the texts, and the last button.
// There are no accelerators and menus: the terminal itself copies text.

#include "paneview/dialog.h"
#include "paneview/paneview.h"
#include "paneview/text.h"
#include "platform/output.h"

namespace paneview {
namespace {

using tarn::platform::kStandardError;
using tarn::platform::kStandardOutput;

inline constexpr std::int32_t kEndOfInput = -1;
inline constexpr std::int32_t kControlC = 3;
inline constexpr std::int32_t kEnter = '\r';

// ---- Layout ------------------------------------------------------------------

// Spaces at the ends of lines are left out, and so are all but one of several empty
// lines: they remain of a layout without its buttons.
struct Layout {
  bool any;                         // something has been laid out
  char before;                      // what was put last
  std::uint32_t line_ends, blanks;  // not laid out yet
  char* buffer;
  std::uint64_t size, used;  // used: also counts what is beyond the size
};

void emit(Layout* layout, char c) {
  if (layout->used < layout->size) layout->buffer[layout->used] = c;
  ++layout->used;
}

void put(Layout* layout, char c) {
  if (c == '\r') return;
  if (c == '\n' || c == '\f') {
    ++layout->line_ends;
    layout->blanks = 0;
    return;
  }
  if (c == ' ') {
    ++layout->blanks;
    return;
  }
  if (layout->any) {
    for (std::uint32_t i = 0; i < layout->line_ends && i < 2; ++i) {
      emit(layout, '\r');
      emit(layout, '\n');
    }
  }
  layout->line_ends = 0;
  for (; layout->blanks > 0; --layout->blanks) emit(layout, ' ');
  // Texts may hold anything; the terminal must not act on it.
  const bool control = c != '\t' && tarn::platform::is_terminal_control(layout->before, c);
  emit(layout, control ? '?' : c);
  layout->before = c;
  layout->any = true;
}

void put_text(Layout* layout, const char* text, std::uint64_t size) {
  for (std::uint64_t i = 0; i < size && text[i] != 0; ++i) put(layout, text[i]);
}

void put_line_start(Layout* layout) {
  if (layout->line_ends == 0) put(layout, '\n');
  layout->blanks = 0;
}

void lay_out(Layout* layout, const Dialog* dialog) {
  constexpr std::uint64_t kToNul = ~std::uint64_t{0};
  if (dialog->title != nullptr) {
    put_text(layout, dialog->title, kToNul);
    put(layout, '\n');
  }
  for (std::uint32_t i = 0; i < dialog->item_count; ++i) {
    const Item& item = dialog->items[i];
    if (item.kind == ItemKind::kButton) continue;
    if (item.kind == ItemKind::kText) {
      put_text(layout, item.text, kToNul);
      continue;
    }
    put_line_start(layout);
    put_text(layout, item.text, item.size);
    put_line_start(layout);
  }
  if (dialog->problem != nullptr) {
    put_line_start(layout);
    put_text(layout, kProblemStart, kToNul);
    put_text(layout, dialog->problem, kToNul);
    put(layout, ')');
  }
  if (layout->any) {
    emit(layout, '\r');
    emit(layout, '\n');
  }
}

// ---- Terminal ----------------------------------------------------------------

void write_text(const char* text) { write_output(text, text_length(text, kDialogTextSize)); }

// "[W] WRITE  [Q] QUIT (Enter)  [?] help: "
void write_choices(const Choices& choices) {
  bool help = false;
  for (std::uint32_t i = 0; i < choices.count; ++i) {
    const Choice& choice = choices.rows[i];
    const char key[] = {'[', choice.key, ']', ' ', 0};
    write_text(key);
    for (const char* c = choice.button->text; *c != 0; ++c) {
      if (*c != '&') write_output(c, 1);
    }
    write_text(i == choices.preferred ? " (Enter)  " : "  ");
    help = help || choice.button->help != nullptr;
  }
  if (choices.count == 0) write_text("[Enter]  ");
  if (help) write_text("[?] help  ");
}

void write_help(const Choices& choices) {
  for (std::uint32_t i = 0; i < choices.count; ++i) {
    const Choice& choice = choices.rows[i];
    if (choice.button->help == nullptr) continue;
    const char key[] = {choice.key, ' ', ' ', 0};
    write_text(key);
    write_text(choice.button->help);
    write_text("\r\n");
  }
}

std::int32_t ask(const Choices& choices) {
  const std::uint32_t last = choices.count - 1;  // unused without buttons
  for (;;) {
    write_choices(choices);
    std::int32_t chosen = -1;
    while (chosen < 0) {
      const std::int32_t key = read_key();
      if (key == kEndOfInput || key == kControlC) {
        write_text("\r\n");
        if (choices.count == 0) return 0;
        press(choices.rows[last]);
        return static_cast<std::int32_t>(choices.count);
      }
      if (key == '?') {
        write_text("\r\n");
        write_help(choices);
        write_choices(choices);
      }
      const bool enter = key == kEnter;
      if (choices.count == 0) {
        if (!enter) continue;
        write_text("\r\n");
        return 0;
      }
      if (enter) chosen = static_cast<std::int32_t>(choices.preferred);
      for (std::uint32_t i = 0; i < choices.count; ++i) {
        if (capital(key) == choices.rows[i].key) {
          chosen = static_cast<std::int32_t>(i);
        }
      }
    }
    write_text("\r\n");
    if (press(choices.rows[chosen])) return chosen + 1;
  }
}

// No control has a window here.
void clear_handle_cells(const Dialog* dialog) {
  for (std::uint32_t i = 0; i < dialog->item_count; ++i) {
    if (dialog->items[i].handle_cell != nullptr) *dialog->items[i].handle_cell = nullptr;
  }
}

bool write_dialog_text(const Dialog* dialog, std::int32_t standard_handle) {
  std::uint64_t length;
  char* const text = new_dialog_text(dialog, &length);
  if (text == nullptr) return true;
  const bool written = write_to(standard_handle, text, static_cast<std::uint32_t>(length));
  free_pages(text);
  return written;
}

}  // namespace

std::uint64_t dialog_text(const Dialog* dialog, char* buffer, std::uint64_t size) {
  Layout layout = {};
  layout.buffer = buffer;
  layout.size = size;
  lay_out(&layout, dialog);
  return layout.used;
}

char* new_dialog_text(const Dialog* dialog, std::uint64_t* length) {
  const std::uint64_t size = dialog_text(dialog, nullptr, 0);
  auto* const text = size == 0 ? nullptr : static_cast<char*>(new_pages(size));
  if (text == nullptr) return nullptr;
  // The program may have changed the text of a box in between.
  const std::uint64_t now = dialog_text(dialog, text, size);
  *length = now < size ? now : size;
  return text;
}

std::int32_t show_text_dialog(const Dialog* dialog) {
  clear_handle_cells(dialog);
  const bool terminal = on_terminal();
  const bool failure = !terminal && dialog->icon == '#';
  if (failure) write_to(kStandardError, "\r\n", 2);
  const bool written = write_dialog_text(dialog, failure ? kStandardError : kStandardOutput);
  if (dialog->start != nullptr) dialog->start();

  Choices choices;
  find_choices(dialog, &choices);
  if (terminal && written) return ask(choices);
  if (!failure && choices.count > 0) press(choices.rows[choices.count - 1]);
  return kNobodyAnswered;
}

}  // namespace paneview
