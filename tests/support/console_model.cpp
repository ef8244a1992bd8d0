#include "tests/support/console_model.h"

#include <cstring>
#include <random>
#include <vector>

#include "console/colour.h"
#include "console/console_state.h"
#include "console/formatted_output.h"
#include "console/line_output.h"
#include "storage/heap.h"

namespace tarn::test {
namespace {

constexpr int kNever = 0x7FFFFFFF;

struct Model {
  int width, rows, columns;  // of the window; of the buffer
  std::vector<platform::CharInfo> cells;
  int own_x, own_y;    // the screen's cursor
  int x, y;            // the library's
  std::uint16_t fill;  // of rows scrolled in
  int attribute, background;
  std::vector<int> pushed;
  bool buffered = true;
  std::string pending;
  int wrap = 1;
  int pause = 0, once = 0, scrolls = 0, threshold = 0;
  int pauses = 0;  // since it was last set to 0
  int clear_attribute = -1;
  int clear_before = 0, shift = 0, shadow = 0;
  char shadow_character = static_cast<char>(0xDB);

  void put(int at_x, int at_y, int character, int attributes) {
    if (at_x < 0 || at_x >= columns || at_y < 0 || at_y >= rows) return;
    cells[static_cast<std::size_t>(at_y * columns + at_x)] = {
        static_cast<std::uint8_t>(character), 0, static_cast<std::uint16_t>(attributes)};
  }
  void move(int to_x, int to_y) {
    x = to_x;
    y = to_y;
    to_x = static_cast<std::int16_t>(to_x);
    to_y = static_cast<std::int16_t>(to_y);
    if (to_x < 0 || to_x >= columns || to_y < 0 || to_y >= rows) return;
    own_x = to_x;
    own_y = to_y;
  }
  void clear(int from, int to) {
    if (clear_attribute < 0) clear_attribute = attribute & 0xFFFF;
    pending.clear();
    for (int i = from < 0 ? 0 : from; i < to && i < width; ++i) put(i, y, ' ', clear_attribute);
  }
  void scroll() {
    own_x = 0;
    if (own_y == rows - 1) {
      cells.erase(cells.begin(), cells.begin() + columns);
      cells.resize(static_cast<std::size_t>(columns * rows), {' ', 0, fill});
    } else {
      ++own_y;
    }
    y = rows - 1;
    ++scrolls;
    if (!pause || scrolls < threshold) return;
    ++pauses;
    scrolls = 0;
    threshold = once ? kNever : rows - 5;
    clear(0, width);
    x = 0;
  }
  void new_line() {
    x = 0;
    if (++y == rows) scroll();
  }
  void back(const std::string& text) {
    x = own_x;
    y = own_y;
    for (const char c : text) {
      if (c == '\0') break;
      if (c == '\n') {
        new_line();
      } else if (c == '\r') {
        x = 0;
      } else if (c == '\t' && x >= width - 8) {
        new_line();
      } else if (c == '\t') {
        do put(x++, y, ' ', attribute);
        while (x % 8);
      } else {
        put(x++, y, c, attribute);
      }
      if (x == width) {
        if (!wrap) put(x - 1, y, 0xAF, attribute);
        new_line();
        if (!wrap) break;
      }
    }
    move(x, y);
  }
  void flush() {
    const std::string text = pending;
    if (!text.empty()) back(text);
    pending.clear();
  }
  void front(const std::string& text) {
    if (!buffered) return back(text);
    for (const char c : text) {
      pending += c;
      if (c == '\n' || c == '\r' || pending.size() == 255) flush();
    }
  }
  void foreground(int colour) {
    if ((attribute & 15) == colour) return;
    flush();
    attribute = static_cast<std::int16_t>(background | colour);
  }
  void set_background(int colour) {
    flush();
    background = colour * 16;
    attribute = (attribute & 15) | background;
  }
  void centred(std::string text) {
    const int wrap_before = wrap;
    if (buffered) flush();
    std::size_t visible = text.size();
    while (visible > 1 && (text[visible - 1] == '\n' || text[visible - 1] == '\r')) --visible;
    const bool rewrite = clear_before && visible < text.size() && text[visible] == '\r';
    const int row = own_y;
    int column = (width - static_cast<int>(visible)) / 2 + shift;
    if (column < 0) column = 0;
    wrap = 0;
    if (rewrite) {
      move(column, row);
      clear(0, column);
      back(text.substr(0, visible));
      clear(x, width);
      move(0, row);
    } else {
      if (clear_before) {
        clear(0, width);
        x = 0;
      }
      move(column, row);
      back(text);
    }
    wrap = wrap_before;
  }
  void shade(int old_background, int new_background, std::size_t bottom) {
    if (shadow < 0) return front("\n");
    const int saved = attribute & 15;
    foreground(shadow);
    if (old_background < 16) set_background(old_background);
    front(std::string(1, shadow_character) + "\n");
    if (bottom) {
      shift = 1;
      centred(std::string(bottom, shadow_character) + "\n");
      shift = 0;
    }
    foreground(saved);
    if (new_background < 16) set_background(new_background);
  }
  void box(int back_colour, int fore_colour, const std::string& text) {
    constexpr char kVertical = static_cast<char>(0xBA);
    const int old_background = back_colour < 16 ? background / 16 : 17;
    if (back_colour < 16) set_background(back_colour);
    const int old_foreground = fore_colour < 16 ? attribute & 15 : 17;
    if (fore_colour < 16) foreground(fore_colour);
    std::vector<std::string> lines(1);
    for (const char c : text) {
      if (c == '\n')
        lines.emplace_back();
      else
        lines.back() += c;
    }
    std::size_t inside = 0;
    for (const std::string& line : lines) inside = line.size() > inside ? line.size() : inside;
    const std::size_t room = width > 6 ? static_cast<std::size_t>(width - 6) : 0;
    if (inside > room) inside = room;
    centred("\xC9" + std::string(inside + 2, '\xCD') + "\xBB\n");
    for (std::string line : lines) {
      if (lines.size() > 1) {
        if (line.size() < inside) line.insert(0, (inside - line.size() + 1) / 2, ' ');
        line.resize(inside, ' ');
      }
      centred(kVertical + (" " + line + " ") + kVertical);
      shade(old_background, back_colour, 0);
    }
    centred("\xC8" + std::string(inside + 2, '\xCD') + "\xBC");
    shade(old_background, back_colour, inside + 4);
    if (old_background < 16) set_background(old_background);
    if (old_foreground < 16) foreground(old_foreground);
  }
};

// The cells of the real screen.
std::vector<platform::CharInfo> read_cells(int columns, int rows) {
  std::vector<platform::CharInfo> cells(static_cast<std::size_t>(columns * rows));
  platform::SmallRect region{0, 0, static_cast<std::int16_t>(columns - 1),
                             static_cast<std::int16_t>(rows - 1)};
  platform::ReadConsoleOutputA(
      system_handle(console.output_handle), cells.data(),
      {static_cast<std::int16_t>(columns), static_cast<std::int16_t>(rows)}, {0, 0}, &region);
  return cells;
}

platform::ScreenBufferInfo screen_info() {
  platform::ScreenBufferInfo info{};
  platform::GetConsoleScreenBufferInfo(system_handle(console.output_handle), &info);
  return info;
}

Model model_of_the_screen() {
  // A start forgets what it had.
  for (tarn_int_stack** const nodes : {&console.colour_stack, &console.int_stack_free_list}) {
    while (tarn_int_stack* const node = *nodes) {
      *nodes = node->next;
      free(node);
    }
  }
  for (platform::CharInfo** const row : {&console.clear_buffer, &console.pause_buffer}) {
    free(*row);
    *row = nullptr;
  }
  console.console_initialised = 0;
  __InitialiseConsole();
  SetBoxShadow(0);
  SetBoxChar(static_cast<char>(0xDB));
  ClearPrintfCLine(0);
  const platform::ScreenBufferInfo info = screen_info();
  Model model{};
  model.width = info.window.right - info.window.left + 1;
  model.columns = info.size.x;
  model.rows = info.size.y;
  model.x = model.own_x = info.cursor.x;
  model.y = model.own_y = info.cursor.y;
  model.fill = info.attributes;
  model.attribute = info.attributes & 0xFF;
  model.background = info.attributes & 0xF0;
  model.threshold = info.size.y - 2;
  model.cells = read_cells(model.columns, model.rows);
  return model;
}

std::string difference(const Model& model) {
  const platform::ScreenBufferInfo info = screen_info();
  if (info.cursor.x != model.own_x || info.cursor.y != model.own_y) {
    return "cursor at " + std::to_string(info.cursor.x) + "," + std::to_string(info.cursor.y) +
           ", wanted " + std::to_string(model.own_x) + "," + std::to_string(model.own_y);
  }
  if (console.scroll_count != model.scrolls) return "scrolls counted";
  if (std::string(console.pending_text, static_cast<std::size_t>(console.pending_count)) !=
      model.pending) {
    return "collected text";
  }
  const std::vector<platform::CharInfo> cells = read_cells(model.columns, model.rows);
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const platform::CharInfo& got = cells[i];
    const platform::CharInfo& wanted = model.cells[i];
    if (got.character == wanted.character && got.attributes == wanted.attributes) continue;
    const auto columns = static_cast<std::size_t>(model.columns);
    return "cell " + std::to_string(i % columns) + "," + std::to_string(i / columns) + " has " +
           std::to_string(got.character) + "/" + std::to_string(got.attributes) + ", wanted " +
           std::to_string(wanted.character) + "/" + std::to_string(wanted.attributes);
  }
  return {};
}

// Calls as the bytes say.
class Stream {
 public:
  Stream(const std::uint8_t* bytes, std::size_t size, TypeKeys type_keys)
      : next_(bytes), end_(bytes + size), model_(model_of_the_screen()), type_keys_(type_keys) {}

  std::string run() {
    for (int i = 0; next_ < end_; ++i) {
      call();
      const std::string found = difference(model_);
      if (!found.empty()) return "call " + std::to_string(i) + ", " + name_ + ": " + found;
    }
    return {};
  }

 private:
  unsigned number() {
    const unsigned low = next_ < end_ ? *next_++ : 0;
    return low | (next_ < end_ ? *next_++ : 0u) << 8;
  }
  int below(int limit) { return static_cast<int>(number() % static_cast<unsigned>(limit)); }

  std::string text(bool controls) {
    const int kind = below(4);
    const int limits[] = {1, 12, model_.width + 3, 400};
    std::string bytes(static_cast<std::size_t>(below(limits[kind] + 1)), ' ');
    std::minstd_rand random(number());
    for (char& c : bytes) {
      const auto choice = random() % (controls ? 30 : 22);
      c = choice < 20    ? static_cast<char>('a' + choice)
          : choice < 22  ? static_cast<char>(0xB0 + random() % 48)
          : choice == 29 ? static_cast<char>(random() % 20 ? 0xFF : 0)
                         : "\n\n\n\r\t\t~"[choice - 22];
    }
    // Often exactly as wide as a row.
    if (kind == 2 && below(3) == 0) bytes.resize(static_cast<std::size_t>(model_.width), 'w');
    return bytes;
  }

  // Makes the model's move first: it knows how many keys the pauses will read.
  template <class OnModel, class OnLibrary>
  void both(const char* name, OnModel&& on_model, OnLibrary&& on_library) {
    name_ = name;
    model_.pauses = 0;
    on_model();
    if (model_.pauses) type_keys_(model_.pauses);
    on_library();
  }

  void call() {
    Model& m = model_;
    const int colour = below(16);
    const int number = below(5) - 2;
    std::string bytes = text(true);
    const auto length = static_cast<std::int32_t>(bytes.size());
    switch (below(23)) {
      default:
        return both(
            "output_win32_line", [&] { m.front(bytes); },
            [&] { output_win32_line(bytes.data(), length); });
      case 0:
        bytes = bytes.c_str();
        return both(
            "ConsoleWrite", [&] { m.front(bytes); }, [&] { ConsoleWrite(bytes.c_str()); });
      case 1:
        return both(
            "output_win32_char", [&] { m.front(std::string(1, bytes.c_str()[0])); },
            [&] { output_win32_char(bytes.c_str()[0]); });
      case 2:
        return both(
            "output_unbuffered_win32_line", [&] { m.back(bytes); },
            [&] { output_unbuffered_win32_line(bytes.data(), length); });
      case 3:
        return both(
            "FlushConsole", [&] { m.flush(); }, [] { FlushConsole(); });
      case 4:
        return both(
            "ConsoleBufferMode",
            [&] {
              if (!number && m.buffered) m.flush();
              m.buffered = number;
            },
            [&] { ConsoleBufferMode(number); });
      case 5:
        return both(
            "CursorWrapMode", [&] { m.wrap = number; }, [&] { CursorWrapMode(number); });
      case 6:
        return both(
            "SetConsoleColour", [&] { m.foreground(colour); }, [&] { SetConsoleColour(colour); });
      case 7:
        return both(
            "SetConsoleBackground", [&] { m.set_background(colour); },
            [&] { SetConsoleBackground(colour); });
      case 8:
        return both(
            "SetTextAttribute", [&] { m.attribute = colour | m.background; },
            [&] { SetTextAttribute(colour + 16 * number); });
      case 9:
        return both(
            "PushConsoleColour",
            [&] {
              m.pushed.push_back(m.attribute);
              m.foreground(colour);
            },
            [&] { PushConsoleColour(colour); });
      case 10:
        return both(
            "PopConsoleColour",
            [&] {
              m.flush();
              if (m.pushed.empty()) return;
              m.attribute = m.pushed.back();
              m.pushed.pop_back();
            },
            [] { PopConsoleColour(); });
      case 11: {
        const int x = below(m.columns + 4) - 2;
        const int y = below(3) ? m.rows - 1 - below(2) : below(m.rows + 4) - 2;
        return both(
            "SetConsoleCursorPos", [&] { m.move(x, y); }, [&] { SetConsoleCursorPos(x, y); });
      }
      case 12:
        return both(
            "ClearCurrentLine",
            [&] {
              m.clear(0, m.width);
              m.x = 0;
            },
            [] { ClearCurrentLine(); });
      case 13:
        return both(
            "ClearToCursorPos", [&] { m.clear(0, m.x); }, [] { ClearToCursorPos(); });
      case 14:
        return both(
            "ClearToEOL", [&] { m.clear(m.x, m.width); }, [] { ClearToEOL(); });
      case 15:
        return both(
            "ConsolePauseMode",
            [&] {
              m.pause = number < 0 ? 1 : number;
              if (number >= 0) return;
              m.once = 1;
              if (m.threshold == kNever) m.threshold = m.rows - 5;
              if (m.threshold <= m.scrolls) m.scrolls = 2;
            },
            [&] { ConsolePauseMode(number); });
      case 16:
        return both(
            "ClearPrintfCLine", [&] { m.clear_before = number; },
            [&] { ClearPrintfCLine(number); });
      case 17:
      case 18: {
        const char* const ends[] = {"\n", "\r", "", "\r\n"};
        bytes = text(false) + ends[below(4)];
        return both(
            "ConsolePrintfC", [&] { m.centred(bytes); },
            [&] { ConsolePrintfC("%s", bytes.c_str()); });
      }
      case 19: {
        bytes = text(false);
        if (below(2)) bytes += "\n" + text(false);
        const int foreground = below(20);
        return both(
            "ConsoleBoxPrint", [&] { m.box(colour + 4, foreground, bytes); },
            [&] { ConsoleBoxPrint(2, colour + 4, foreground, "%s", bytes.c_str()); });
      }
      case 20:
        return both(
            "SetBoxShadow", [&] { m.shadow = colour - 1; }, [&] { SetBoxShadow(colour - 1); });
    }
  }

  const std::uint8_t *next_, *end_;
  Model model_;
  TypeKeys type_keys_;
  const char* name_ = "";
};

}  // namespace

std::string compare_with_model(const std::uint8_t* bytes, std::size_t size, TypeKeys type_keys) {
  return Stream(bytes, size, type_keys).run();
}

std::string compare_random_streams(unsigned seed, int streams, TypeKeys type_keys) {
  for (const unsigned end = seed + static_cast<unsigned>(streams); seed != end; ++seed) {
    std::mt19937 random(seed);
    std::uint8_t bytes[150];  // a dozen calls
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    const std::string found = compare_with_model(bytes, sizeof bytes, type_keys);
    if (!found.empty()) return "stream " + std::to_string(seed) + ", " + found;
  }
  return {};
}

}  // namespace tarn::test
