#include "paneview/window_layout.h"

#include "paneview/text.h"

namespace paneview {
namespace {

using tarn::platform::ControlKind;

// Characters and lines.
inline constexpr std::int32_t kBoxWidth = 40;  // of a box that doesn't say
inline constexpr std::int32_t kBoxHeight = 5;
inline constexpr std::int32_t kTextBoxWidth = 80;  // at least, of a text that became a box
inline constexpr std::int32_t kTextBoxHeight = 12;
inline constexpr std::int32_t kLineLength = 100;  // at which lines are wrapped
inline constexpr std::int32_t kButtonWidth = 10;
inline constexpr std::int32_t kLeastWidth = 36;  // of a window, so that its title can be read

inline constexpr std::int32_t kBoxBorder = 6;  // between a box's edge and its text

// Lines, in the rounds of the layout: each is for what was too high in the one before.
inline constexpr std::int32_t kAllLines = 1'000'000;  // as many as the screen has room for
struct Round {
  std::int32_t text;      // of a text, before it becomes a box
  std::int32_t text_box;  // of this box at most
  std::int32_t box;       // of any box at most
};
inline constexpr Round kRounds[] = {
    {30, kAllLines, kAllLines},
    {30, 12, kAllLines},
    {4, 4, 4},
};

struct Flow {
  const WindowMeasures* measures;
  WindowLayout* layout;
  const Round* round;
  std::int32_t margin, left, right;  // where rows start and end
  std::int32_t box_right;            // where boxes end: their lines are as long as a row
  std::int32_t x, y;
  std::uint32_t row_start;    // index of the row's first part
  std::int32_t row_right;     // end of its last part
  bool row_used, last_empty;  // the row holds a part or spaces; the one before was empty
  bool in_heading;
  bool after_control;  // the row before holds a box or a button
  std::uint32_t text_parts;
};

bool is_blank(const char* text, std::uint32_t length) {
  for (std::uint32_t i = 0; i < length; ++i) {
    if (text[i] != ' ') return false;
  }
  return true;
}

std::int32_t at_most(std::int32_t value, std::int32_t limit) {
  return value < limit ? value : limit;
}

std::int32_t at_least(std::int32_t value, std::int32_t limit) {
  return value > limit ? value : limit;
}

std::int32_t width_of(const Flow* flow, const char* text, std::uint32_t length) {
  return flow->measures->text_width(flow->measures->context, text, length);
}

// ---- Rows ----------------------------------------------------------------------

void place(Flow* flow, const WindowPart& part) {
  WindowLayout* layout = flow->layout;
  WindowPart& placed = layout->parts[layout->count++];
  placed = part;
  placed.x = flow->x;
  placed.y = flow->y;
  flow->x += part.width;
  flow->row_right = flow->x;
  flow->row_used = true;
}

// The parts of a row are centred on its middle line.
void end_row(Flow* flow) {
  WindowLayout* layout = flow->layout;
  std::int32_t height = flow->measures->metrics.line_height;
  for (std::uint32_t i = flow->row_start; i < layout->count; ++i) {
    height = at_least(height, layout->parts[i].height);
  }
  const bool empty = layout->count == flow->row_start;
  if (!empty) {
    const std::int32_t start = layout->parts[flow->row_start].x;
    const Item* first = layout->parts[flow->row_start].item;
    const bool centred = first != nullptr && first->centred;
    for (std::uint32_t i = flow->row_start; i < layout->count; ++i) {
      WindowPart& part = layout->parts[i];
      part.y += (height - part.height) / 2;
      if (!centred) continue;
      part.x -= start - flow->left;
      part.centred_width = flow->row_right - start;
      part.row_left = flow->left;
    }
    layout->width = at_least(layout->width, flow->row_right - (centred ? start - flow->left : 0));
  }
  if (!empty || !flow->last_empty) flow->y += height;
  flow->last_empty = empty;
  flow->after_control = !empty && layout->parts[flow->row_start].kind != ControlKind::kText;
  flow->x = flow->left;
  flow->row_start = layout->count;
  flow->row_used = false;
}

void start_row(Flow* flow) {
  if (flow->row_used) end_row(flow);
}

// The heading is in the middle of the icon's height, or the icon at its top.
void end_heading(Flow* flow) {
  if (!flow->in_heading) return;
  start_row(flow);
  flow->in_heading = false;
  if (flow->left == flow->margin) return;
  WindowLayout* layout = flow->layout;
  const std::int32_t icon = flow->measures->metrics.icon_size;
  const std::int32_t line = flow->measures->metrics.line_height;
  const std::int32_t text_height = flow->y - flow->margin - (flow->last_empty ? line : 0);
  if (text_height < icon) {
    for (std::uint32_t i = 1; i < layout->count; ++i)
      layout->parts[i].y += (icon - text_height) / 2;
    flow->y += icon - text_height;
  }
  flow->x = flow->left = flow->margin;
}

// ---- Texts ----------------------------------------------------------------------

bool fits(const Flow* flow, const char* text, std::uint32_t length) {
  return static_cast<std::int32_t>(length) <= flow->right &&
         flow->x + width_of(flow, text, length) <= flow->right;
}

// How many characters of a line that doesn't fit go into this row: up to a
// space, or at the start of a row as many as there is room for.
std::uint32_t fitting_part(const Flow* flow, const char* text, std::uint32_t length) {
  std::uint32_t end = 0;
  for (std::uint32_t i = 1; i < length && fits(flow, text, i); ++i) {
    if (text[i] == ' ') end = i;
  }
  if (end > 0 || flow->row_used) return end;
  end = 1;
  while (end < length && fits(flow, text, end + 1)) ++end;
  return end;
}

void put_text_part(Flow* flow, const Item* item, const char* text, std::uint32_t length) {
  if (flow->text_parts == kWindowTextParts) return;
  ++flow->text_parts;
  WindowPart part = {};
  part.kind = ControlKind::kText;
  part.item = item;
  part.text = text;
  part.length = length;
  part.width = width_of(flow, text, length);
  part.height = flow->measures->metrics.line_height;
  place(flow, part);
}

void put_line(Flow* flow, const Item* item, const char* text, std::uint32_t length) {
  if (length == 0) return;
  if (is_blank(text, length)) {
    flow->x += width_of(flow, text, length < kDialogDimension ? length : kDialogDimension);
    flow->row_used = true;
    return;
  }
  while (length > 1 && !fits(flow, text, length)) {
    const std::uint32_t part = fitting_part(flow, text, length);
    if (part > 0) put_text_part(flow, item, text, part);
    end_row(flow);
    text += part;
    length -= part;
    while (part > 0 && length > 1 && *text == ' ') ++text, --length;
  }
  put_text_part(flow, item, text, length);
}

struct Lines {
  std::int32_t count;
  std::int32_t width;  // of the widest
};

Lines measure_lines(const Flow* flow, const char* text, std::uint64_t size) {
  Lines lines = {1, 0};
  std::uint64_t start = 0;
  for (std::uint64_t i = 0;; ++i) {
    const bool end = i == size || text[i] == 0;
    if (!end && text[i] != '\n' && text[i] != '\f') continue;
    const auto length =
        static_cast<std::uint32_t>(i - start < kDialogDimension ? i - start : kDialogDimension);
    lines.width = at_least(lines.width, width_of(flow, text + start, length));
    if (end) return lines;
    if (i + 1 < size && text[i + 1] != 0) ++lines.count;
    start = i + 1;
  }
}

void put_box(Flow* flow, const Item& item, std::uint64_t size, std::int32_t width,
             std::int32_t height);

void put_text(Flow* flow, const Item& item) {
  const std::uint32_t size = text_length(item.text, kDialogTextSize);
  const Round& round = *flow->round;
  const std::int32_t lines = measure_lines(flow, item.text, size).count;
  if (lines > round.text || size > static_cast<std::uint32_t>(round.text * kLineLength)) {
    const std::int32_t height = at_least(lines, kTextBoxHeight);
    return put_box(flow, item, size, kTextBoxWidth, at_most(height, round.text_box));
  }
  std::uint32_t start = 0;
  for (std::uint32_t i = 0; i <= size; ++i) {
    const char c = item.text[i];
    if (c != '\n' && c != '\f' && c != 0) continue;
    put_line(flow, &item, item.text + start, i - start);
    if (c == '\n') end_row(flow);
    if (c == '\f') start_row(flow);
    start = i + 1;
  }
}

// ---- Controls --------------------------------------------------------------------

void begin_control(Flow* flow, std::int32_t width) {
  if (flow->layout->count == flow->row_start) end_heading(flow);
  if (flow->row_used && flow->x + width > flow->right) start_row(flow);
  if (!flow->row_used && flow->after_control) {
    flow->y += flow->measures->metrics.line_height / 2;
    flow->after_control = false;
  }
}

// As wide as its text needs, so that lines are only wrapped if they must be.
void put_box(Flow* flow, const Item& item, std::uint64_t size, std::int32_t width,
             std::int32_t height) {
  const auto& metrics = flow->measures->metrics;
  const std::int32_t most_lines =
      at_most(flow->round->box, metrics.height_limit * 2 / 3 / metrics.line_height);
  const std::int32_t text_width =
      at_least(width * metrics.character_width, measure_lines(flow, item.text, size).width);

  WindowPart part = {};
  part.kind = ControlKind::kBox;
  part.item = &item;
  part.text = item.text;
  part.length = size;
  part.width = at_most(text_width + 2 * kBoxBorder + metrics.scroll_bar_width,
                       flow->box_right - flow->margin);
  part.height = at_most(height, at_least(most_lines, 1)) * metrics.line_height + 2 * kBoxBorder;
  begin_control(flow, part.width);
  place(flow, part);
}

void put_button(Flow* flow, const Item& item) {
  const auto& metrics = flow->measures->metrics;
  const std::uint32_t length = text_length(item.text, kDialogDimension);
  const std::int32_t asked = at_least(item.width + 2, kButtonWidth) * metrics.character_width;
  WindowPart part = {};
  part.kind = ControlKind::kButton;
  part.item = &item;
  part.text = item.text;
  part.length = length;
  part.width =
      at_most(at_least(asked, width_of(flow, item.text, length) + 4 * metrics.character_width),
              flow->right - flow->margin);
  part.height = metrics.line_height * 7 / 4;
  begin_control(flow, part.width);
  place(flow, part);
}

void put_icon(Flow* flow, const char* icon) {
  const std::int32_t size = flow->measures->metrics.icon_size;
  WindowPart part = {};
  part.kind = ControlKind::kIcon;
  part.text = icon;
  part.length = 1;
  part.x = part.y = flow->margin;
  part.width = part.height = size;
  flow->layout->parts[flow->layout->count++] = part;
  flow->row_start = flow->layout->count;
  flow->x = flow->left = flow->margin + size + flow->margin;
}

void put_problem(Flow* flow, const char* problem) {
  start_row(flow);
  flow->text_parts = 0;  // for these three there is always room
  put_text_part(flow, nullptr, kProblemStart, sizeof kProblemStart - 1);
  put_text_part(flow, nullptr, problem, text_length(problem, kDialogDimension));
  put_text_part(flow, nullptr, ")", 1);
}

// ---- The whole -------------------------------------------------------------------

void put_program_box(Flow* flow, const Item& item) {
  std::int32_t height = item.height > 0 ? item.height : kBoxHeight;
  // Without a frame it looks like a text, and is as high as one.
  if (has_option(item.options, "no_frame"))
    height = at_least(height, measure_lines(flow, item.text, item.size).count);
  put_box(flow, item, item.size, item.width > 0 ? item.width : kBoxWidth, height);
}

void put_item(Flow* flow, const Item& item) {
  switch (item.kind) {
    case ItemKind::kText:
      return put_text(flow, item);
    case ItemKind::kBox:
      return put_program_box(flow, item);
    case ItemKind::kButton:
      return put_button(flow, item);
  }
}

// Moves a part of a centred row to its place, and makes a box that has its row
// for itself as wide as the window.
void adjust_to_width(Flow* flow, std::uint32_t index) {
  WindowLayout* layout = flow->layout;
  WindowPart& part = layout->parts[index];
  if (part.centred_width > 0) part.x += (layout->width - part.row_left - part.centred_width) / 2;
  const bool last =
      index + 1 == layout->count || layout->parts[index + 1].y >= part.y + part.height;
  if (part.kind == ControlKind::kBox && part.centred_width == 0 && part.x == flow->margin && last) {
    part.width = layout->width - flow->margin;
  }
}

void lay_out(const Dialog* dialog, const WindowMeasures* measures, const Round& round,
             WindowLayout* layout) {
  const auto& metrics = measures->metrics;
  layout->count = 0;
  Flow flow = {};
  flow.measures = measures;
  flow.layout = layout;
  flow.round = &round;
  flow.last_empty = true;  // none above the first row
  flow.in_heading = true;
  flow.margin = metrics.line_height * 3 / 4;
  flow.x = flow.y = flow.left = flow.margin;
  const std::int32_t most_right = metrics.width_limit - flow.margin;
  flow.right = at_most(flow.margin + kLineLength * metrics.character_width, most_right);
  flow.box_right = at_most(flow.right + 2 * kBoxBorder + metrics.scroll_bar_width, most_right);
  layout->width = flow.margin + kLeastWidth * metrics.character_width;
  if (dialog->icon != 0) put_icon(&flow, &dialog->icon);
  for (std::uint32_t i = 0; i < dialog->item_count; ++i) put_item(&flow, dialog->items[i]);
  if (dialog->problem != nullptr) put_problem(&flow, dialog->problem);
  end_heading(&flow);
  start_row(&flow);
  if (flow.last_empty && flow.y > flow.margin) flow.y -= metrics.line_height;

  for (std::uint32_t i = 0; i < layout->count; ++i) adjust_to_width(&flow, i);
  layout->width += flow.margin;
  layout->height = flow.y + flow.margin;
}

}  // namespace

void lay_out_window(const Dialog* dialog, const WindowMeasures* measures, WindowLayout* layout) {
  for (const Round& round : kRounds) {
    lay_out(dialog, measures, round, layout);
    if (layout->height <= measures->metrics.height_limit) return;
  }
}

bool has_option(const char* options, const char* name) {
  while (*options != 0) {
    std::uint32_t i = 0;
    while (name[i] != 0 && options[i] == name[i]) ++i;
    if (name[i] == 0 && (options[i] == ',' || options[i] == 0)) return true;
    while (*options != 0 && *options != ',') ++options;
    if (*options == ',') ++options;
  }
  return false;
}

}  // namespace paneview
