// The parser of dialog formats. A table says which arguments each code takes; a code
// that isn't in it ends its format, since the number of its arguments is unknown.

#include "paneview/dialog.h"
#include "paneview/text.h"

namespace paneview {
namespace {

enum class Code : std::uint8_t {
  kNoEffect,
  kCaption,
  kColour,
  kFont,
  kStyle,
  kNewLine,
  kCentre,
  kIcon,
  kText,
  kInteger,
  kBox,
  kButton,
  kStart,
  kAccelerator,
  kMenu,
  kHandle,
  kOwner,
};

struct CodeRow {
  char letters[3];
  Code code;
};

constexpr CodeRow kCodes[] = {
    {"ac", Code::kAccelerator}, {"bg", Code::kColour},  {"bt", Code::kButton},
    {"ca", Code::kCaption},     {"cn", Code::kCentre},  {"eb", Code::kBox},
    {"ex", Code::kNoEffect},    {"ff", Code::kNewLine}, {"fn", Code::kFont},
    {"hw", Code::kOwner},       {"lc", Code::kHandle},  {"nl", Code::kNewLine},
    {"pm", Code::kMenu},        {"rd", Code::kInteger}, {"sc", Code::kStart},
    {"si", Code::kIcon},        {"ws", Code::kText},    {"ww", Code::kStyle},
};

// One code of the format.
struct Piece {
  bool callback, help, grave;
  std::uint16_t width, height;
  char suffix;                // '@', '#', '!' after the letters, or 0
  const char *name, *advice;  // in brackets, in the pool; null without
};

struct Parser {
  Dialog* dialog;
  const char* format;
  std::uint32_t position, length;
  const tarn::Slot* arguments;
  std::uint32_t taken;
};

// The first problem is shown: it may have caused the later ones.
void report(Parser* parser, const char* problem) {
  if (parser->dialog->problem == nullptr) parser->dialog->problem = problem;
}

// Arguments beyond the limit count as 0, which no code follows.
tarn::Slot next_argument(Parser* parser) {
  if (parser->taken == kDialogArguments) {
    report(parser, "too many arguments");
    return 0;
  }
  return parser->arguments[parser->taken++];
}

template <typename Pointer>
Pointer next_pointer(Parser* parser) {
  return reinterpret_cast<Pointer>(next_argument(parser));
}

// A copy in the pool. A string that doesn't fit is cut; never null.
const char* keep(Parser* parser, const char* text, std::uint32_t length) {
  Dialog* dialog = parser->dialog;
  if (dialog->text_used == kDialogTextSize) {
    report(parser, "too much text");
    return "";
  }
  const std::uint32_t room = kDialogTextSize - dialog->text_used - 1;
  if (length > room) {
    report(parser, "too much text");
    length = room;
  }
  char* copy = dialog->text + dialog->text_used;
  copy_bytes(copy, text, length);
  copy[length] = 0;
  dialog->text_used += length + 1;
  return copy;
}

const char* keep_argument(Parser* parser) {
  const char* text = next_pointer<const char*>(parser);
  return text == nullptr ? "" : keep(parser, text, text_length(text, kDialogTextSize));
}

Item* new_item(Parser* parser, ItemKind kind) {
  Dialog* dialog = parser->dialog;
  if (dialog->item_count == kDialogItems) {
    report(parser, "too many items");
    return nullptr;
  }
  Item* item = &dialog->items[dialog->item_count++];
  *item = {};
  item->kind = kind;
  item->centred = dialog->centring;
  return item;
}

void add_text(Parser* parser, const char* kept) {
  if (kept[0] == 0) return;
  if (Item* item = new_item(parser, ItemKind::kText)) item->text = kept;
}

// Literal text from `start` to the position.
void add_literal(Parser* parser, std::uint32_t start) {
  if (parser->position == start) return;
  add_text(parser, keep(parser, parser->format + start, parser->position - start));
}

char peek(const Parser* parser) {
  return parser->position < parser->length ? parser->format[parser->position] : '\0';
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_letter(char c) { return c >= 'a' && c <= 'z'; }

std::uint16_t read_number(Parser* parser) {
  std::uint32_t number = 0;
  for (; is_digit(peek(parser)); ++parser->position) {
    number = number * 10 + static_cast<std::uint32_t>(peek(parser) - '0');
    if (number > kDialogDimension) number = kDialogDimension;
  }
  return static_cast<std::uint16_t>(number);
}

// "[text]" at the position; null and a report if it isn't closed.
const char* read_brackets(Parser* parser) {
  if (peek(parser) != '[') return nullptr;
  const std::uint32_t start = ++parser->position;
  while (parser->position < parser->length && peek(parser) != ']') ++parser->position;
  if (parser->position == parser->length) {
    report(parser, "a bracket isn't closed");
    return nullptr;
  }
  const char* text = keep(parser, parser->format + start, parser->position - start);
  ++parser->position;
  return text;
}

const CodeRow* find_code(char first, char second) {
  for (const CodeRow& row : kCodes) {
    if (row.letters[0] == first && row.letters[1] == second) return &row;
  }
  return nullptr;
}

void read_marks(Parser* parser, Piece* piece) {
  for (;;) {
    const char c = peek(parser);
    if (is_digit(c)) {
      piece->width = read_number(parser);
      continue;
    }
    if (c == '.') {
      ++parser->position;
      piece->height = read_number(parser);
      continue;
    }
    if (c == '^') {
      piece->callback = true;
    } else if (c == '?') {
      piece->help = true;
    } else if (c == '`') {
      piece->grave = true;
    } else {
      return;
    }
    ++parser->position;
  }
}

// One key for each name of "[a,b]"; the argument of each names a standard
// callback or, with '^', is a routine.
void add_keys(Parser* parser, const Piece& piece, bool in_menu) {
  Dialog* dialog = parser->dialog;
  const char* name = piece.name == nullptr ? "" : piece.name;
  for (;;) {
    std::uint32_t length = 0;
    while (name[length] != 0 && (name[length] != ',' || !in_menu)) ++length;
    Key key = {in_menu, nullptr, nullptr, nullptr};
    if (piece.callback) {
      key.callback = next_pointer<Callback>(parser);
    } else {
      key.standard = keep_argument(parser);
    }
    if (dialog->key_count < kDialogKeys) {
      key.name = keep(parser, name, length);
      dialog->keys[dialog->key_count++] = key;
    } else {
      report(parser, "too many keys");
    }
    if (name[length] == 0) return;
    name += length + 1;
  }
}

void add_integer(Parser* parser) {
  const auto* cell = next_pointer<const std::int32_t*>(parser);
  if (cell == nullptr) return;
  char digits[kDecimalSize];
  add_text(parser, keep(parser, digits, decimal_text(*cell, digits)));
}

void add_box(Parser* parser, const Piece& piece) {
  const char* text = next_pointer<const char*>(parser);
  const std::uint64_t size = next_argument(parser);
  Item* item = new_item(parser, ItemKind::kBox);
  if (item == nullptr) return;
  item->text = text == nullptr ? "" : text;
  item->size = text == nullptr ? 0 : size;
  item->width = piece.width;
  item->height = piece.height;
  item->options = piece.name == nullptr ? "" : piece.name;
}

void add_button(Parser* parser, const Piece& piece) {
  Item* item = new_item(parser, ItemKind::kButton);
  if (item != nullptr) {
    item->text = piece.name == nullptr ? "" : piece.name;
    item->help = piece.advice;
    item->width = piece.width;
    item->is_default = piece.grave;
  }
  if (!piece.callback) return;
  const auto callback = next_pointer<Callback>(parser);
  if (item != nullptr) item->callback = callback;
}

void add_handle_cell(Parser* parser) {
  auto* cell = next_pointer<void**>(parser);
  Dialog* dialog = parser->dialog;
  for (std::uint32_t i = dialog->item_count; i-- > 0;) {
    if (dialog->items[i].kind == ItemKind::kText) continue;
    dialog->items[i].handle_cell = cell;
    return;
  }
  report(parser, "no control for its handle");
}

void apply(Parser* parser, Code code, const Piece& piece) {
  Dialog* dialog = parser->dialog;
  switch (code) {
    case Code::kNoEffect:
      return;
    case Code::kCaption:
      dialog->title = piece.suffix == '@' ? keep_argument(parser) : piece.name;
      return;
    case Code::kColour:
      dialog->colour = static_cast<std::uint32_t>(next_argument(parser));
      dialog->has_colour = true;
      return;
    case Code::kFont:
      dialog->font = piece.name;
      return;
    case Code::kStyle:
      dialog->style = piece.name;
      return;
    case Code::kNewLine:
      return add_text(parser, "\n");
    case Code::kCentre:
      dialog->centring = true;
      return;
    case Code::kIcon:
      dialog->icon = piece.suffix;
      return;
    case Code::kText:
      return add_text(parser, keep_argument(parser));
    case Code::kInteger:
      return add_integer(parser);
    case Code::kBox:
      return add_box(parser, piece);
    case Code::kButton:
      return add_button(parser, piece);
    case Code::kStart:
      dialog->start = next_pointer<Callback>(parser);
      return;
    case Code::kAccelerator:
      return add_keys(parser, piece, false);
    case Code::kMenu:
      return add_keys(parser, piece, true);
    case Code::kHandle:
      return add_handle_cell(parser);
    case Code::kOwner:
      dialog->owner = next_pointer<void*>(parser);
      return;
  }
}

// The code at the position, after its '%'. False if it can't be followed.
bool read_code(Parser* parser) {
  Piece piece = {};
  read_marks(parser, &piece);
  if (parser->length - parser->position < 2 || !is_letter(parser->format[parser->position]) ||
      !is_letter(parser->format[parser->position + 1])) {
    report(parser, "a % without a code");
    return false;
  }
  const CodeRow* row =
      find_code(parser->format[parser->position], parser->format[parser->position + 1]);
  if (row == nullptr) {
    report(parser, "an unknown code");
    return false;
  }
  parser->position += 2;
  const char suffix = peek(parser);
  if ((suffix == '@' && row->code == Code::kCaption) ||
      ((suffix == '#' || suffix == '!') && row->code == Code::kIcon)) {
    piece.suffix = suffix;
    ++parser->position;
  }
  if (piece.suffix != '@') piece.name = read_brackets(parser);
  if (piece.help) piece.advice = read_brackets(parser);
  apply(parser, row->code, piece);
  return true;
}

}  // namespace

FormatEnd add_dialog_format(Dialog* dialog, const char* format, const tarn::Slot* arguments) {
  if (format == nullptr) return FormatEnd::kShow;
  Parser parser = {dialog, format, 0, text_length(format, kDialogFormatSize + 1), arguments, 0};
  if (parser.length > kDialogFormatSize) {
    report(&parser, "a format is too long");
    parser.length = kDialogFormatSize;
  }
  const bool more = parser.length > 0 && format[parser.length - 1] == '&';
  if (more) --parser.length;

  std::uint32_t start = 0;
  while (parser.position < parser.length) {
    if (peek(&parser) != '%') {
      ++parser.position;
      continue;
    }
    add_literal(&parser, start);
    ++parser.position;
    if (peek(&parser) == '%') {
      start = parser.position++;  // the second one begins the next literal
      continue;
    }
    if (!read_code(&parser)) return more ? FormatEnd::kMore : FormatEnd::kShow;
    start = parser.position;
  }
  add_literal(&parser, start);
  return more ? FormatEnd::kMore : FormatEnd::kShow;
}

}  // namespace paneview
