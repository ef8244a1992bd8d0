// The console of the host: what a user sees on a terminal is what a program
// wrote as cells, whatever else happens to the terminal.
#include <gtest/gtest.h>
#include <iconv.h>
#include <signal.h>
#include <sys/time.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <random>

#include "console/console_state.h"
#include "console/formatted_output.h"
#include "platform/image_imports.h"
#include "platform/platform.h"
#include "platform/posix/base/base.h"
#include "platform/posix/terminal/key_decoder.h"
#include "platform/posix/terminal/terminal.h"
#include "platform/posix/terminal/terminal_mode.h"
#include "tests/support/host_child.h"
#include "tests/support/terminal.h"

namespace {

using namespace tarn::platform;
using tarn::test::SeenCell;

// The glyphs of a console, from sources of their own.
std::vector<char32_t> glyphs() {
  std::vector<char32_t> all(256);
  const std::u32string low = U" ☺☻♥♦♣♠•◘○◙♂♀♪♫☼►◄↕‼¶§▬↨↑↓→←∟↔▲▼";
  const iconv_t converter = iconv_open("UTF-32LE", "CP437");
  for (unsigned i = 0; i < 256; ++i) {
    char byte = static_cast<char>(i), *from = &byte;
    char* to = reinterpret_cast<char*>(&all[i]);
    std::size_t left = 1, room = 4;
    iconv(converter, &from, &left, &to, &room);
    if (i < low.size()) all[i] = low[i];
  }
  iconv_close(converter);
  all[127] = U'⌂';
  return all;
}

// What a terminal shows of a cell.
SeenCell seen(CharInfo cell) {
  static const std::vector<char32_t> all = glyphs();
  constexpr int kOrder[] = {0, 4, 2, 6, 1, 5, 3, 7, 8, 12, 10, 14, 9, 13, 11, 15};
  SeenCell shown;
  shown.glyph = all[cell.character];
  if ((cell.attributes & 0xFF) == 7) return shown;
  shown.foreground = kOrder[cell.attributes & 15];
  if ((cell.attributes & 0xF0) != 0) shown.background = kOrder[cell.attributes >> 4 & 15];
  return shown;
}

// A console as a program has it, with the calls that the tests make.
struct Console {
  Handle screen, input;
  ScreenBufferInfo info{};

  // Rows of cells, each `width` wide.
  void write_cells(int x, int y, int width, const std::vector<CharInfo>& cells) const {
    const auto columns = static_cast<std::int16_t>(width);
    const auto rows = static_cast<std::int16_t>(cells.size() / static_cast<std::size_t>(width));
    SmallRect region{static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                     static_cast<std::int16_t>(x + columns - 1),
                     static_cast<std::int16_t>(y + rows - 1)};
    EXPECT_NE(WriteConsoleOutputA(screen, cells.data(), {columns, rows}, {0, 0}, &region), 0);
  }
  void write_text(int x, int y, const std::string& text, std::uint16_t attributes = 7) const {
    std::vector<CharInfo> line;
    for (const char c : text) line.push_back({static_cast<std::uint8_t>(c), 0, attributes});
    write_cells(x, y, static_cast<int>(text.size()), line);
  }
  // The console's own text, and what a program writes past the console.
  void write_console(const std::string& text) const {
    std::uint32_t written = 0;
    EXPECT_NE(WriteConsoleA(screen, text.data(), static_cast<std::uint32_t>(text.size()), &written,
                            nullptr),
              0);
    EXPECT_EQ(written, text.size());
  }
  void write_past(const std::string& text) const {
    std::uint32_t written = 0;
    EXPECT_NE(
        WriteFile(screen, text.data(), static_cast<std::uint32_t>(text.size()), &written, nullptr),
        0);
  }
  void set_cursor(int x, int y) const {
    EXPECT_NE(SetConsoleCursorPosition(
                  screen, {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)}),
              0);
  }
  Coord cursor() {
    EXPECT_NE(GetConsoleScreenBufferInfo(screen, &info), 0);
    return info.cursor;
  }
  std::string read() const {
    char bytes[64];
    std::uint32_t count = 0;
    EXPECT_NE(ReadFile(input, bytes, sizeof bytes, &count, nullptr), 0);
    return std::string(bytes, count);
  }
  // The character, or the virtual key code in the second byte.
  int read_key() const {
    InputRecord record{};
    std::uint32_t count = 0;
    EXPECT_NE(ReadConsoleInputA(input, &record, 1, &count), 0);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(record.event_type, kKeyEvent);
    EXPECT_NE(record.key_down, 0);
    return record.character != 0 ? record.character : record.virtual_key_code << 8;
  }
};

Handle open_side(const std::string& path, std::uint32_t access) {
  return CreateFileA(path.c_str(), access, 3, nullptr, kOpenExisting, 0, nullptr);
}

// A terminal on which others have printed, and this program's console on it behind
// the call of the start-up.
struct Seat : tarn::test::Terminal, Console {
  Seat(int columns, int rows, const std::string& printed = "") : Terminal(columns, rows) {
    if (!printed.empty()) print(printed);
    screen = open_side(path(), kGenericWrite);
    input = open_side(path(), kGenericRead);
    cursor();
  }
  ~Seat() {
    restore_terminal();
    CloseHandle(screen);
    CloseHandle(input);
  }
};

class HostConsole : public ::testing::Test {
 protected:
  void SetUp() override {
    SetEnvironmentVariableA("TERM", "xterm");
    SetEnvironmentVariableA("NO_COLOR", nullptr);
  }
};

// ---- Cells ------------------------------------------------------------------------

// What the cells must be is for the console's model: here they are what is seen.
TEST_F(HostConsole, TheTerminalShowsTheCellsThatAreReadBack) {
  for (const auto& [columns, rows] : {std::pair(61, 11), {2, 3}, {300, 4}, {1000, 3}}) {
    SCOPED_TRACE(columns);
    Seat seat(columns, rows);
    std::mt19937 random(20);
    const auto below = [&](int limit) { return static_cast<int>(random() % unsigned(limit)); };
    for (int step = 0; step < 1000; ++step) {
      const int kind = below(8);
      if (kind < 3) {  // a few rows of cells, partly as they are, and partly outside
        const int width = 1 + below(columns), height = 1 + below(3);
        std::vector<CharInfo> cells(static_cast<std::size_t>(width * height), CharInfo{' ', 0, 7});
        for (auto& cell : cells) {
          if (below(3) != 0) continue;
          cell = {static_cast<std::uint8_t>(random()), 0, 7};
          if (below(4) == 0) cell.attributes = static_cast<std::uint16_t>(below(256));
        }
        seat.write_cells(below(columns + 4) - 2, below(rows + 2) - 1, width, cells);
      } else if (kind == 3) {
        seat.set_cursor(below(columns), below(rows));
      } else if (kind == 4) {  // of any characters
        std::string text(static_cast<std::size_t>(below(90)), '\0');
        for (char& c : text) {
          c = static_cast<char>(below(9) == 0 ? "\r\n\b\n"[below(4)] : 14 + below(242));
        }
        seat.write_console(text);
      } else {
        seat.write_past(
            std::string(static_cast<std::size_t>(below(columns - seat.cursor().x)), 'p') +
            (below(2) ? "\n" : ""));
      }
      if (step % 20 != 0) continue;
      SCOPED_TRACE("step " + std::to_string(step));
      const Coord cursor = seat.cursor();
      std::vector<CharInfo> read(unsigned(rows * columns));
      SmallRect region{0, 0, std::int16_t(columns - 1), std::int16_t(rows - 1)};
      ASSERT_NE(ReadConsoleOutputA(seat.screen, read.data(),
                                   {std::int16_t(columns), std::int16_t(rows)}, {0, 0}, &region),
                0);
      seat.settle();
      ASSERT_EQ(seat.unknown, "");
      ASSERT_EQ(seat.pen, SeenCell{});
      ASSERT_EQ(std::pair(seat.column, seat.row), std::pair(int{cursor.x}, int{cursor.y}));
      for (unsigned i = 0; i < read.size(); ++i) {
        ASSERT_EQ(seat.cells[i / unsigned(columns)][i % unsigned(columns)], seen(read[i]))
            << "cell " << i;
      }
    }
    EXPECT_EQ(seat.questions, 1);  // all of that is plain enough to be followed
  }
  // What the console prints and what is printed past it, in the cells.
  Seat seat(10, 5);
  seat.write_console("\n\n\n\nab\bc\rd");
  seat.write_past("past\n");
  seat.settle();
  EXPECT_EQ(seat.text_of(3), "dpast");
  // Terminals differ in how wide a glyph is, but not in how wide ASCII is.
  seat.write_console("\xC9\xBBx");
  seat.write_console("yz");
  seat.settle();
  EXPECT_TRUE(seat.received.ends_with("╔╗x\x1B[5;4H\x1B[5;4Hyz")) << seat.received;
}

// ---- The terminal's own ways -------------------------------------------------------

TEST_F(HostConsole, StartsBelowWhatIsThereAndOnlyWhenItIsUsed) {
  Seat seat(80, 10, "$ program\n");
  const termios before = seat.mode();
  ConsoleCursorInfo look{};
  EXPECT_NE(GetConsoleCursorInfo(seat.screen, &look), 0);
  EXPECT_EQ(look.size, 25u);
  EXPECT_NE(look.visible, 0);
  seat.write_past("plain output\n");
  EXPECT_NE(SetConsoleCursorInfo(seat.screen, &look), 0);  // nothing new in it
  restore_terminal();
  seat.settle();
  EXPECT_EQ(seat.received, "$ program\r\nplain output\r\n");

  EXPECT_EQ(seat.cursor().y, 0);
  seat.write_text(0, seat.cursor().y, "cells");
  seat.settle();
  EXPECT_EQ(seat.text_of(0), "$ program");
  EXPECT_EQ(seat.text_of(2), "cells");
  EXPECT_EQ(std::pair(seat.column, seat.row), std::pair(0, 2));
  termios quiet = before;
  quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  EXPECT_TRUE(seat.has_mode(quiet));
}

TEST_F(HostConsole, TerminalsWithoutCellsAreNoConsoles) {
  tarn::test::BlindTerminal sized(80, 25), unsized(0, 0);
  const struct {
    const char* term;
    const tarn::test::BlindTerminal& terminal;
    bool console;
  } cases[] = {{"xterm-256color", sized, true}, {"linux", sized, true},   {"screen", sized, true},
               {"dumb", sized, false},          {"", sized, false},       {nullptr, sized, false},
               {"unknown", sized, false},       {"xterm", unsized, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.term ? c.term : "(none)");
    restore_terminal();
    SetEnvironmentVariableA("TERM", c.term);
    const Handle screen = open_side(c.terminal.path(), kGenericWrite);
    ScreenBufferInfo info{};
    EXPECT_EQ(GetConsoleScreenBufferInfo(screen, &info) != 0, c.console);
    EXPECT_EQ(SetConsoleCursorPosition(screen, {0, 0}) != 0, c.console);
    if (!c.console) {
      EXPECT_EQ(GetLastError(), kErrorInvalidHandle);
    }
    CloseHandle(screen);
  }
}

TEST_F(HostConsole, WithoutColoursAttributesStayReadable) {
  SetEnvironmentVariableA("NO_COLOR", "1");
  Seat seat(80, 25);
  const struct {
    const char* text;
    std::uint16_t attributes;
    SeenCell first;
  } cases[] = {
      {"plain", 0x07, {.glyph = U'p'}},
      {"pause", 0x4E, {.glyph = U'p', .bold = true, .reversed = true}},
      {"\xDB\xDB", 0x00, {}},  // a shadow in its own background
      {"bright", 0x0A, {.glyph = U'b', .bold = true}},
  };
  int row = 0;
  for (const auto& c : cases) seat.write_text(0, row++, c.text, c.attributes);
  seat.settle();
  row = 0;
  for (const auto& c : cases) EXPECT_EQ(seat.cells[unsigned(row++)][0], c.first) << c.text;
}

TEST_F(HostConsole, WhatOthersPrintIsAskedFor) {
  const struct {
    const char* text;
    int x, y;
    int questions;
  } cases[] = {
      {"\x1B[4;7H", 6, 3, 1},
      {"\xE2\x94\x80\xE2\x94\x80", 2, 0, 1},
      {"a\tb\rc\b\a", 0, 0, 0},
      {"0123456789", 9, 0, 1},  // the row is full
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    Seat seat(10, 6);
    seat.cursor();
    seat.write_past(c.text);
    const Coord place = seat.cursor();
    EXPECT_EQ(seat.questions, 1 + c.questions);
    EXPECT_EQ(std::pair(int{place.x}, int{place.y}), std::pair(c.x, c.y));
  }
  // After the process was stopped, or a child printed, nothing is taken for shown.
  Seat seat(20, 6);
  seat.write_text(0, 1, "kept");
  seat.print("\x1B[2;1Hother\r\n");
  lose_screen();
  EXPECT_EQ(seat.cursor().y, 2);
  seat.write_text(0, 1, "kept ");
  seat.settle();
  EXPECT_EQ(seat.text_of(1), "kept");
}

TEST_F(HostConsole, AWindowOfAnotherSizeFollowsTheCursorAndHasItsColumns) {
  constexpr int kColumns = 30, kRows = 12;
  std::mt19937 random(7);
  const auto below = [&](int limit) { return static_cast<int>(random() % unsigned(limit)); };
  for (int round = 0; round < 4; ++round) {
    Seat seat(kColumns, kRows);
    for (int step = 0; step < 60; ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      if (below(4) == 0) {
        seat.settle();
        seat.resize(10 + below(50), 2 + below(25));
      }
      const std::string text = "line " + std::to_string(step);
      Coord place = seat.cursor();
      Coord window{};
      EXPECT_NE(GetConsoleWindowSize(seat.screen, &window), 0);
      EXPECT_EQ(window.x, static_cast<int>(seat.cells[0].size()));
      EXPECT_EQ(seat.info.size.x, window.x);
      EXPECT_EQ(seat.info.size.y, kRows);
      ASSERT_LE(seat.info.window.top, place.y);
      ASSERT_GE(seat.info.window.bottom, place.y);
      seat.write_text(0, place.y, text);
      seat.settle();
      ASSERT_EQ(seat.text_of(seat.row).substr(0, text.size()), text);
      if (below(5) == 0) {
        place.y = static_cast<std::int16_t>(below(kRows));
        place.x = static_cast<std::int16_t>(below(window.x));
        seat.set_cursor(place.x, place.y);
      } else {
        seat.write_console("\n");
        if (place.y < kRows - 1) ++place.y;
        place.x = 0;
        seat.settle();
        ASSERT_GT(seat.row, 0);
        ASSERT_EQ(seat.text_of(seat.row - 1).substr(0, text.size()), text);
      }
      EXPECT_EQ(seat.cursor().y, place.y);
      seat.settle();
      EXPECT_EQ(seat.column, std::min<int>(place.x, static_cast<int>(seat.cells[0].size()) - 1));
      ASSERT_EQ(seat.unknown, "");
    }
  }
}

TEST_F(HostConsole, CursorAndTitleAreSetAndPutBack) {
  Seat seat(80, 25);
  const struct {
    ConsoleCursorInfo look;
    Bool result;
    int shape;
  } cases[] = {{{25, 0}, 1, 0}, {{100, 0}, 1, 1}, {{10, 1}, 1, 3},  {{25, 1}, 1, 0},
               {{50, 0}, 1, 1}, {{0, 1}, 0, 1},   {{101, 1}, 0, 1}, {{100, 0}, 1, 1}};
  ConsoleCursorInfo expected{};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.look.size);
    EXPECT_EQ(SetConsoleCursorInfo(seat.screen, &c.look), c.result);
    if (c.result) expected = c.look;
    ConsoleCursorInfo now{};
    GetConsoleCursorInfo(seat.screen, &now);
    EXPECT_EQ(now.size, expected.size);
    EXPECT_EQ(now.visible, expected.visible);
    seat.settle();
    EXPECT_EQ(seat.cursor_shape, c.shape);
    EXPECT_EQ(seat.cursor_visible, expected.visible != 0);
  }
  char title[8];
  EXPECT_NE(SetConsoleTitleA("a\x1B]2;b\a\xC2\x9B\xFF\xE2\x82\xAC"), 0);
  seat.settle();
  EXPECT_EQ(seat.title, "a]2;b?\xE2\x82\xAC");
  EXPECT_EQ(seat.saved_titles, 1);
  EXPECT_NE(SetConsoleTitleA("another title"), 0);
  EXPECT_EQ(GetConsoleTitleA(title, sizeof title), 13u);
  EXPECT_STREQ(title, "another");
  char16_t wide[3];
  EXPECT_NE(SetConsoleTitleW(u"\u00e4\u20ac!"), 0);
  EXPECT_EQ(GetConsoleTitleW(wide, 3), 3u);
  EXPECT_EQ(std::u16string(wide), u"\u00e4\u20ac");
  restore_terminal();
  seat.settle();
  EXPECT_TRUE(seat.cursor_visible);
  EXPECT_EQ(seat.cursor_shape, 0);
  EXPECT_EQ(seat.saved_titles, 0);
  EXPECT_EQ(seat.questions, 0);
  EXPECT_EQ(seat.unknown, "");
}

// ---- Input ----------------------------------------------------------------------------

TEST_F(HostConsole, ATerminalThatDoesNotAnswerIsAskedOnceAndStaysUsable) {
  Seat seat(80, 8);
  seat.answer_questions(false);
  seat.write_past("$ program");
  seat.type_at_question("typed ahead\n");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(seat.cursor().y, 7);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  for (int i = 0; i < 3; ++i) {
    seat.write_text(0, 7, "row " + std::to_string(i));
    seat.write_console("\n");
  }
  seat.write_past("\xC2\xB0 no question about that\n");
  seat.write_text(0, seat.cursor().y, "last");
  seat.type("\x1B[8;1R");  // the answer, too late
  EXPECT_EQ(seat.read(), "typed ahead\r\n");
  seat.type("q");
  EXPECT_EQ(seat.read_key(), 'q');
  seat.settle();
  EXPECT_EQ(seat.questions, 1);
  EXPECT_EQ(seat.text_of(3), "row 1");
  EXPECT_EQ(seat.text_of(4), "row 2");
}

TEST_F(HostConsole, ALineIsEditedInTheCellsByTheTerminalsKeys) {
  Seat seat(20, 25);
  seat.cursor();
  const struct {
    const char *typed, *line, *shown;
  } cases[] = {
      {"gr\xC3\xB6\x7F\xC3\xB6\xC3\x9F"
       "e",
       "gr\xC3\xB6\xC3\x9F"
       "e",
       "gr??e"},
      {"a\x1B[Db\x1BOPc", "abc", "abc"},                // keys without a character
      {"one two \x17three", "one three", "one three"},  // a word, all
      {"junk\x15kept", "kept", "kept"},
      {"junk\x1Bkept", "kept", "kept"},
      {"a\tbc\x7F\x7F\x7Fz", "az", "az"},
      {"0123456789012345678901\b\b\b\b", "012345678901234567", "012345678901234567"},
  };
  int row = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    std::thread typist([&] {
      while ((seat.mode().c_lflag & ICANON) != 0) {
      }
      seat.type(std::string(c.typed) + "\n");
    });
    EXPECT_EQ(seat.read(), std::string(c.line) + "\r\n");
    typist.join();
    seat.settle();
    EXPECT_EQ(seat.text_of(row++), c.shown);
    EXPECT_EQ(std::pair(seat.column, seat.row), std::pair(0, row));
  }
  SetConsoleMode(seat.input, 3);  // lines without echo
  seat.type("secret\n");
  EXPECT_EQ(seat.read(), "secret\r\n");
  seat.settle();
  EXPECT_EQ(seat.text_of(row), "");
}

TEST_F(HostConsole, ALineEndsInTwoBytesHoweverItIsRead) {
  Seat seat(80, 25);
  seat.type("ab\n\ncd\n");
  std::string read;
  char byte;
  for (std::uint32_t count = 1; read.size() < 6 && count == 1; read += byte) {
    ASSERT_NE(ReadFile(seat.input, &byte, 1, &count, nullptr), 0);
  }
  EXPECT_EQ(read, "ab\r\n\r\n");
  EXPECT_EQ(seat.read(), "cd\r\n");
}

TEST_F(HostConsole, WideReadsCutNoCharacter) {
  Seat seat(80, 25);
  seat.type("a\u00e4\U0001F600\u00f6x\n");
  std::u16string read;
  for (const std::uint32_t room : {4u, 3u, 1u, 40u}) {
    char16_t wide[40];
    std::uint32_t count = 0;
    ASSERT_NE(ReadConsoleW(seat.input, wide, room, &count, nullptr), 0);
    ASSERT_LE(count, room);
    read.append(wide, count);
  }
  EXPECT_EQ(read, u"a\u00e4\U0001F600\u00f6x\r\n");
}

TEST_F(HostConsole, KeysAreRecordsAndTheModeLastsAsLongAsTheCall) {
  Seat seat(80, 25);
  const termios before = seat.mode();
  const struct {
    std::vector<std::string> parts;  // that come one by one
    int key;
  } cases[] = {
      {{"\r"}, 13}, {{"\x1B"}, 27}, {{"\x1B[2", "1~"}, 0x7900}, {{"\x1A"}, 26}, {{"\x13"}, 19}};
  for (const auto& c : cases) {
    std::thread typist([&] {
      while ((seat.mode().c_lflag & ICANON) != 0) {
      }
      for (const std::string& part : c.parts) {
        if (&part != &c.parts[0]) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        seat.type(part);
      }
    });
    EXPECT_EQ(seat.read_key(), c.key);
    typist.join();
  }
  InputRecord record{};
  std::uint32_t count = 9;
  std::thread typist([&] {
    while ((seat.mode().c_lflag & ICANON) != 0) {
    }
    seat.type("\x1B\u00e4\U0001F600");
  });
  for (const int unit : {0xE4, 0xD83D, 0xDE00}) {
    EXPECT_NE(ReadConsoleInputW(seat.input, &record, 1, &count), 0);
    EXPECT_EQ(record.character | record.character_high << 8, unit);
  }
  typist.join();
  EXPECT_TRUE(seat.has_mode(before));
  EXPECT_EQ(ReadConsoleInputA(seat.screen, &record, 1, &count), 0);
  EXPECT_EQ(count, 0u);
}

TEST(KeyDecoder, EveryKeyHasItsRecord) {
  constexpr std::uint32_t kAlt = 2, kControl = 8, kShift = 16;
  const struct {
    const char* bytes;
    int code, character;
    std::uint32_t state;
  } cases[] = {
      {"a", 'A', 'a', 0},
      {" ", ' ', ' ', 0},
      {"/", 0, '/', 0},
      {"\r", 13, 13, 0},
      {"\t", 9, 9, 0},
      {"\x7F", 8, 8, 0},
      {"\x1B", 27, 27, 0},
      {"\x1A", 'Z', 26, kControl},
      {"\xC3\xA4", 0, 0x84, 0},     // a with two dots
      {"\xE2\x82\xAC", 0, '?', 0},  // the euro came later
      {"\xF0\x9F\x98\x80", 0, '?', 0},
      {"\xC3", 0, '?', 0},
      {"\x1B[A", 0x26, 0, 0},
      {"\x1BOB", 0x28, 0, 0},
      {"\x1B[1;5C", 0x27, 0, kControl},
      {"\x1B\x1B[D", 0x25, 0, kAlt},
      {"\x1B[H", 0x24, 0, 0},
      {"\x1B[4~", 0x23, 0, 0},
      {"\x1B[2~", 0x2D, 0, 0},
      {"\x1B[3;2~", 0x2E, 0, kShift},
      {"\x1B[6~", 0x22, 0, 0},
      {"\x1BOP", 0x70, 0, 0},
      {"\x1B[[E", 0x74, 0, 0},
      {"\x1B[24~", 0x7B, 0, 0},
      {"\x1B[1;2R", 0x72, 0, kShift},
      {"\x1B[Z", 9, 9, kShift},
      {"\x1BOM", 13, 13, 0},
      {"\x1Bx", 'X', 'x', kAlt},
      {"\x1B[", 0, '[', kAlt},
      {"\x1B\xC3\xA4", 0, 0x84, kAlt},
      // What is no key is skipped: a report, a reply, an unknown sequence.
      {"\x1B[I\x1B[200~q", 'Q', 'q', 0},
      {"\x1B]11;rgb:0/0/0\x1B\\q", 'Q', 'q', 0},
      {"\x1BP1+r\aq", 'Q', 'q', 0},
      {"\x1B[<0;1;1Mq", 'Q', 'q', 0},
      {"\x1B[1;\rq", 13, 13, 0},
  };
  for (const auto& c : cases) {
    const std::string bytes = c.bytes;
    SCOPED_TRACE(::testing::PrintToString(bytes));
    const auto* at = reinterpret_cast<const std::uint8_t*>(bytes.data());
    std::size_t left = bytes.size(), used = 0;
    InputRecord record{};
    KeyResult result = KeyResult::kSkip;
    while (left > 0 && result != KeyResult::kKey) {
      // With less than that it waits, or has a shorter key.
      result = take_key(at, left, true, &used, &record);
      ASSERT_NE(result, KeyResult::kMore);
      ASSERT_LE(used, left);
      at += used;
      left -= used;
    }
    ASSERT_EQ(result, KeyResult::kKey);
    EXPECT_EQ(record.virtual_key_code, c.code);
    EXPECT_EQ(record.character, c.character);
    EXPECT_EQ(record.control_key_state, c.state);
    if (bytes[0] != '\x1B' || bytes.back() == 'q') continue;
    for (std::size_t part = 1; part < bytes.size(); ++part) {
      EXPECT_EQ(take_key(reinterpret_cast<const std::uint8_t*>(bytes.data()), part, false, &used,
                         &record),
                KeyResult::kMore)
          << part;
    }
  }
}

// ---- The end --------------------------------------------------------------------------

int status_on(const tarn::test::Terminal& terminal, const std::function<void(Console&)>& work) {
  return tarn::test::status_of(
      [&] {
        Console console{GetStdHandle(-11), GetStdHandle(-10)};
        work(console);
      },
      &terminal);
}

constexpr struct {
  const char* name;
  void (*end)(Console& console);
  int status;
} kEnds[] = {
    {"ExitProcess", [](Console&) { ExitProcess(3); }, 3 << 8},
    {"ExitProcess, multiple of 256", [](Console&) { ExitProcess(512); }, 1 << 8},
    {"terminated", [](Console&) { raise(SIGTERM); }, SIGTERM},
    {"interrupted", [](Console&) { raise(SIGINT); }, SIGINT},
    {"fault", [](Console&) { raise(SIGSEGV); }, SIGSEGV},
    {"fault with a handler that passes on",
     [](Console&) {
       AddVectoredExceptionHandler(
           1, [](ExceptionPointers*) TARNAPI { return std::int32_t{kContinueSearch}; });
       asm volatile("ud2");
     },
     SIGILL},
    {"fault while it draws",
     [](Console& console) {
       SmallRect region{0, 0, 70, 0};
       WriteConsoleOutputA(console.screen, reinterpret_cast<const CharInfo*>(16), {71, 1}, {0, 0},
                           &region);
     },
     SIGSEGV},
    {"aborted", [](Console&) { abort(); }, SIGABRT},
    {"killed while it waits for a key",
     [](Console& console) {
       const itimerval soon{{0, 0}, {0, 100000}};
       setitimer(ITIMER_REAL, &soon, nullptr);
       console.read_key();
     },
     SIGALRM},
};

TEST_F(HostConsole, EveryEndLeavesTheTerminalAsItWas) {
  for (const bool draws : {true, false}) {
    for (const auto& c : kEnds) {
      SCOPED_TRACE(std::string(c.name) + (draws ? ", drawn on" : ""));
      tarn::test::Terminal terminal(80, 10);
      const termios before = terminal.mode();
      const int status = status_on(terminal, [&](Console& console) {
        std::uint32_t mode = 0;
        if (!GetConsoleMode(console.input, &mode) || mode != 7) _exit(90);
        if (!SetConsoleMode(console.input, 1) || !GetConsoleMode(console.input, &mode)) _exit(91);
        if (mode != 1 || (terminal.mode().c_lflag & (ICANON | ECHO)) != 0) _exit(92);
        if (draws) {
          const ConsoleCursorInfo hidden{100, 0};
          console.cursor();
          console.write_console("first\n\xC9\xBB\n");
          console.write_text(0, 4, "lowest", 0x4E);
          console.set_cursor(5, 1);
          if (!SetConsoleCursorInfo(console.screen, &hidden) || !SetConsoleTitleA("running")) {
            _exit(93);
          }
        }
        c.end(console);
      });
      EXPECT_EQ(status & ~0x80, c.status);
      terminal.settle();
      EXPECT_TRUE(terminal.has_mode(before));
      EXPECT_EQ(std::pair(terminal.column, terminal.row), std::pair(0, draws ? 5 : 0));
      EXPECT_EQ(terminal.pen, SeenCell{});
      EXPECT_TRUE(terminal.cursor_visible);
      EXPECT_EQ(terminal.cursor_shape, 0);
      EXPECT_EQ(terminal.saved_titles, 0);
      EXPECT_EQ(terminal.unknown, "");
    }
  }
}

// A child process, and a shell at a stop, find the echo on.
TEST_F(HostConsole, OthersHaveTheTerminalAsItWas) {
  tarn::test::Terminal terminal(80, 10);
  const termios before = terminal.mode();
  const auto is_quiet = [&] { return (terminal.mode().c_lflag & ECHO) == 0; };
  const int status = status_on(terminal, [&](Console& console) {
    // The kernel stops no group of processes that nobody in its session looks after.
    const pid_t worker = fork();
    setpgid(worker, worker);
    signal(SIGTTOU, SIG_IGN);
    tcsetpgrp(0, worker == 0 ? getpid() : worker);
    signal(SIGTTOU, SIG_DFL);
    if (worker != 0) {
      int state = 0;
      waitpid(worker, &state, WUNTRACED);
      if (!WIFSTOPPED(state)) _exit(10 + WEXITSTATUS(state));
      if (!terminal.has_mode(before)) _exit(9);
      kill(worker, SIGCONT);
      waitpid(worker, &state, 0);
      _exit(WEXITSTATUS(state));
    }
    console.write_console("working\n");
    if (!is_quiet()) _exit(1);
    char command[] = "/bin/sh -c \"stty -a </dev/tty | grep -qw -- -echo\"";
    ProcessInformation child{};
    std::uint32_t code = 0;
    if (!CreateProcessA(nullptr, command, nullptr, nullptr, 0, 0, nullptr, nullptr, nullptr,
                        &child)) {
      _exit(2);
    }
    WaitForSingleObject(child.process, kWaitForever);
    if (!GetExitCodeProcess(child.process, &code) || code != 1) _exit(3);
    console.write_console("working\n");
    if (!is_quiet()) _exit(4);
    raise(SIGTSTP);
    _exit(is_quiet() ? 0 : 5);
  });
  EXPECT_EQ(status, 0);
}

TEST_F(HostConsole, ThePromptComesOnAFreshLine) {
  const struct {
    const char *name, *before;
    void (*work)(Console& console);
    int row;
  } cases[] = {
      {"whole lines", "", [](Console& console) { console.write_console("one\ntwo\n"); }, 2},
      {"a line that was cleared", "",
       [](Console& console) {
         console.write_console("one\n");
         for (const char* text : {"12 %", "    "}) console.write_text(0, 1, text);
       },
       1},
      {"a full screen", "", [](Console& console) { console.write_text(0, 9, "last"); }, 9},
      {"a program's own line", "",
       [](Console& console) {
         console.write_console("one\n");
         console.write_past("two");
       },
       2},
      {"text from before is no output", "$ ",
       [](Console& console) { console.write_console("\n\n"); }, 2},
      {"a piece that is still held", "",
       [](Console& console) {
         HoldConsoleOutput(1);
         console.write_text(0, 0, "one");
         console.set_cursor(0, 4);
       },
       4},
      {"one that is held over a stop of the process", "",
       [](Console& console) {
         HoldConsoleOutput(1);
         console.write_text(0, 0, "one");
         console.set_cursor(0, 4);
         lose_screen();
       },
       4},
      {"and used after it", "",
       [](Console& console) {
         HoldConsoleOutput(1);
         console.write_text(0, 0, "one");
         console.set_cursor(0, 4);
         lose_screen();
         console.cursor();
       },
       4},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Seat seat(80, 10, c.before);
    seat.cursor();
    c.work(seat);
    restore_terminal();
    HoldConsoleOutput(0);
    seat.settle();
    EXPECT_EQ(std::pair(seat.column, seat.row), std::pair(0, c.row));
  }
}

TEST_F(HostConsole, TheControllingTerminalHasItsNames) {
  tarn::test::Terminal terminal(80, 10);
  terminal.type("k");
  const int status = status_on(terminal, [](Console& console) {
    const int elsewhere = open("/dev/null", O_RDWR);
    for (int i = 0; i < 3; ++i) dup2(elsewhere, i);
    ScreenBufferInfo there{};
    if (GetConsoleScreenBufferInfo(GetStdHandle(-11), &there)) _exit(1);
    console.screen = open_side("CONOUT$", kGenericWrite);
    console.input = open_side("conin$", kGenericRead | kGenericWrite);
    if (!GetConsoleScreenBufferInfo(console.screen, &there) || there.size.x != 80) _exit(2);
    if (GetConsoleScreenBufferInfo(console.input, &there)) _exit(3);
    console.write_console("\xC9\xCD\xBB");
    _exit(console.read_key() == 'k' ? 0 : 4);
  });
  EXPECT_EQ(status, 0);
}

}  // namespace
