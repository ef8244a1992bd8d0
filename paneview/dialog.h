// Dialogs, in three steps: the parser (dialog_format.cpp) turns formats and
// arguments into a Dialog, a list of items; __winio (dialog.cpp) keeps the
// pending one and shows it; a renderer shows a list of items and runs its
// callbacks: as a window (window_renderer.cpp, placed by window_layout.cpp) or
// as text (text_renderer.cpp). A renderer knows nothing of formats.
#pragma once

#include "platform/abi.h"
#include "platform/platform.h"

namespace paneview {

// Result 0 closes the dialog.
using Callback = std::int32_t(TARNAPI*)();

inline constexpr std::uint32_t kDialogItems = 128;
inline constexpr std::uint32_t kDialogTextSize = 32 * 1024;
inline constexpr std::uint32_t kDialogArguments = 64;  // of one call
inline constexpr std::uint32_t kDialogFormatSize = 4096;
inline constexpr std::uint32_t kDialogKeys = 16;
inline constexpr std::uint32_t kDefaultPathSize = 1024;
inline constexpr std::uint32_t kDialogDimension = 1000;  // characters, of a box or button

enum class ItemKind : std::uint8_t { kText, kBox, kButton };

// The strings that a Dialog points to are in its own pool and end with NUL, but for
// the text of a box, which remains the program's.
struct Item {
  ItemKind kind;
  bool centred;
  bool is_default;              // button
  std::uint16_t width, height;  // characters; 0 not stated
  const char* text;             // text, label of a button, text of a box
  std::uint64_t size;           // of a box's text at most; it also ends at a NUL
  const char* options;          // box: "read_only,vscrollbar"; it is never edited
  const char* help;             // button; null without
  Callback callback;            // button; null: closes the dialog
  void** handle_cell;           // where the renderer puts the control's handle
};

// An accelerator or an entry of the popup menu.
struct Key {
  bool in_menu;
  const char* name;      // "Ctrl+C", "Copy"
  const char* standard;  // name of a standard callback, or null
  Callback callback;
};

struct Dialog {
  const char* title;
  const char* font;
  const char* style;
  char icon;  // '#' error, '!' warning, 0 none
  bool has_colour;
  std::uint32_t colour;  // 0xBBGGRR
  void* owner;
  Callback start;

  std::uint32_t item_count, key_count, text_used;
  const char* problem;  // what was wrong with the formats; null: nothing
  bool centring;        // parser: what follows is centred
  Item items[kDialogItems];
  Key keys[kDialogKeys];
  char text[kDialogTextSize];
};

enum class FormatEnd { kMore, kShow };

// Adds `format` to the dialog. `arguments` hold a slot for each argument that
// its codes take. Never reads beyond the format's NUL or kDialogFormatSize, nor
// more than kDialogArguments slots.
FormatEnd add_dialog_format(Dialog* dialog, const char* format, const tarn::Slot* arguments);

// Zeroed pages, null if there are none. What a dialog needs is not in the heap:
// the dialog may be the report of a corrupted one.
void* new_pages(std::uint64_t size);
void free_pages(void* pages);

// ---- Buttons and keys ----------------------------------------------------------

inline constexpr std::uint32_t kDialogButtons = 16;

struct Choice {
  const Item* button;
  char key;  // capital letter or digit, each only once
};

struct Choices {
  std::uint32_t count, preferred;  // index of the default button
  Choice rows[kDialogButtons];
};

// The buttons in their order, each with the key that presses it: the letter
// after a '&', else its first letter that is still free, else a digit. Of
// buttons beyond the limit only the last one counts: it is the way out.
void find_choices(const Dialog* dialog, Choices* choices);

// Runs the button; true if the dialog closes.
bool press(const Choice& choice);

// "Ctrl+Shift+F2": modifiers as in kKeyShift and the others, and a virtual key:
// a letter, a digit, F1 to F24, Ins or Del. False for any other name.
bool read_shortcut(const char* name, std::uint16_t* modifiers, std::uint16_t* code);

// ---- Renderers -------------------------------------------------------------------
//
// Each shows the dialog until it closes, and runs its callbacks. The result is
// the number of the closing button, from 1, or 0.

// False, with nothing shown, if there is no desktop.
bool show_window_dialog(const Dialog* dialog, std::int32_t* button);

// Before a callback the terminal is restored as the program had it. Without a
// terminal, and if the text cannot be written, kNobodyAnswered.
std::int32_t show_text_dialog(const Dialog* dialog);

// The dialog's texts laid out in lines with CR LF, as the text renderer shows
// them. Stores at most `size` bytes, and no NUL; returns the length of all.
std::uint64_t dialog_text(const Dialog* dialog, char* buffer, std::uint64_t size);

// The same in pages, to be freed, and its length; null if there is nothing.
char* new_dialog_text(const Dialog* dialog, std::uint64_t* length);

// In the dialog's last line, before what was wrong and a ')'.
inline constexpr char kProblemStart[] = "(Part of this dialog is missing: ";

// ---- Terminal -----------------------------------------------------------------

// Standard input and output are both a terminal.
bool on_terminal();

// A single key as it comes, without echo; -1 at the end of input. Ctrl+C is 3.
std::int32_t read_key();

// A line into `buffer`, cut at its size, without its end; false if the user declines:
// by Escape, which clears the line, and Enter after it, or by the end of input.
bool read_line(char* buffer, std::uint32_t size);

bool write_output(const char* text, std::uint32_t length);

}  // namespace paneview
