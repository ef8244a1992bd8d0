// The console of the host: what a user sees on a terminal is what a program
// wrote as cells, whatever else happens to the terminal.
#include <gtest/gtest.h>
#include <iconv.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>

#include "platform/platform.h"
#include "platform/posix/key_decoder.h"
#include "platform/posix/terminal.h"
#include "tests/support/terminal.h"

namespace {

using namespace tarn::platform;
using tarn::test::SeenCell;
using Screen = tarn::test::Terminal;

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

class HostConsole : public ::testing::Test {
 protected:
  void SetUp() override {
    SetEnvironmentVariableA("TERM", "xterm");
    SetEnvironmentVariableA("NO_COLOR", nullptr);
  }
  void TearDown() override { restore_terminal(); }

  // The screen of a terminal, behind the call of the start-up.
  Handle open_screen(Screen& terminal) {
    const Handle screen =
        CreateFileA(terminal.path().c_str(), kGenericWrite, 3, nullptr, kOpenExisting, 0, nullptr);
    EXPECT_NE(GetConsoleScreenBufferInfo(screen, &info), 0);
    return screen;
  }
  Handle open_input(Screen& terminal) {
    return CreateFileA(terminal.path().c_str(), kGenericRead, 3, nullptr, kOpenExisting, 0,
                       nullptr);
  }

  static void write_cells(Handle screen, int x, int y, const std::vector<CharInfo>& line) {
    const auto count = static_cast<std::int16_t>(line.size());
    SmallRect region{static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                     static_cast<std::int16_t>(x + count - 1), static_cast<std::int16_t>(y)};
    EXPECT_NE(WriteConsoleOutputA(screen, line.data(), {count, 1}, {0, 0}, &region), 0);
  }
  static void write_text(Handle screen, int x, int y, const std::string& text,
                         std::uint16_t attributes = 7) {
    std::vector<CharInfo> line;
    for (const char c : text) line.push_back({static_cast<std::uint8_t>(c), 0, attributes});
    write_cells(screen, x, y, line);
  }
  static void print(Handle screen, const std::string& text) {
    std::uint32_t written = 0;
    EXPECT_NE(WriteConsoleA(screen, text.data(), static_cast<std::uint32_t>(text.size()), &written,
                            nullptr),
              0);
    EXPECT_EQ(written, text.size());
  }
  static void print_past(Handle screen, const std::string& text) {
    std::uint32_t written = 0;
    EXPECT_NE(
        WriteFile(screen, text.data(), static_cast<std::uint32_t>(text.size()), &written, nullptr),
        0);
  }
  Coord cursor(Handle screen) {
    EXPECT_NE(GetConsoleScreenBufferInfo(screen, &info), 0);
    return info.cursor;
  }

  ScreenBufferInfo info{};
};

// ---- Cells ------------------------------------------------------------------------

TEST_F(HostConsole, TheTerminalShowsTheCellsThatWereWritten) {
  constexpr int kColumns = 61, kRows = 11;
  Screen terminal(kColumns, kRows);
  const Handle screen = open_screen(terminal);
  std::mt19937 random(20);
  const auto below = [&](int limit) { return static_cast<int>(random() % unsigned(limit)); };
  const CharInfo blank{' ', 0, 7};
  std::vector<std::vector<CharInfo>> model(kRows, std::vector<CharInfo>(kColumns, blank));
  int x = 0, y = 0;
  const auto feed = [&] {
    x = 0;
    if (++y < kRows) return;
    y = kRows - 1;
    model.erase(model.begin());
    model.emplace_back(kColumns, blank);
  };
  for (int step = 0; step < 3000; ++step) {
    switch (below(8)) {
      case 0:
      case 1:
      case 2: {  // a few rows of cells, partly as they are, and partly outside
        const int width = 1 + below(kColumns), height = 1 + below(3);
        const int left = below(kColumns + 4) - 2, top = below(kRows + 2) - 1;
        std::vector<CharInfo> cells(static_cast<std::size_t>(width * height), blank);
        for (auto& cell : cells) {
          if (below(3) != 0) continue;
          cell = {static_cast<std::uint8_t>(random()), 0, 7};
          if (below(4) == 0) cell.attributes = static_cast<std::uint16_t>(below(256));
        }
        SmallRect region{static_cast<std::int16_t>(left), static_cast<std::int16_t>(top),
                         static_cast<std::int16_t>(left + width - 1),
                         static_cast<std::int16_t>(top + height - 1)};
        const Coord size{static_cast<std::int16_t>(width), static_cast<std::int16_t>(height)};
        ASSERT_NE(WriteConsoleOutputA(screen, cells.data(), size, {0, 0}, &region), 0);
        for (int i = 0; i < width * height; ++i) {
          const int at_x = left + i % width, at_y = top + i / width;
          if (at_x < 0 || at_x >= kColumns || at_y < 0 || at_y >= kRows) continue;
          model[unsigned(at_y)][unsigned(at_x)] = cells[unsigned(i)];
        }
        break;
      }
      case 3: {
        x = below(kColumns);
        y = below(kRows);
        ASSERT_NE(SetConsoleCursorPosition(
                      screen, {static_cast<std::int16_t>(x), static_cast<std::int16_t>(y)}),
                  0);
        break;
      }
      case 4: {  // the console's own text, of any characters
        std::string text(static_cast<std::size_t>(below(90)), '\0');
        for (char& c : text) {
          c = static_cast<char>(below(9) == 0 ? "\r\n\b\n"[below(4)] : 14 + below(242));
        }
        print(screen, text);
        for (const char c : text) {
          if (c == '\n') {
            feed();
          } else if (c == '\r') {
            x = 0;
          } else if (c == '\b') {
            x = std::max(0, x - 1);
          } else {
            model[unsigned(y)][unsigned(x)] = {static_cast<std::uint8_t>(c), 0, 7};
            if (++x == kColumns) feed();
          }
        }
        break;
      }
      default: {  // a program's own output
        const std::string text = std::string(static_cast<std::size_t>(below(kColumns - x)), 'p') +
                                 (below(2) ? "\n" : "");
        print_past(screen, text);
        for (const char c : text) {
          if (c == '\n') {
            feed();
          } else {
            model[unsigned(y)][unsigned(x++)] = {static_cast<std::uint8_t>(c), 0, 7};
          }
        }
        break;
      }
    }
    if (step % 20 != 0) continue;
    terminal.settle();
    ASSERT_EQ(terminal.unknown, "");
    ASSERT_EQ(terminal.pen, SeenCell{});
    ASSERT_EQ(std::pair(terminal.column, terminal.row), std::pair(x, y)) << "step " << step;
    for (int i = 0; i < kRows * kColumns; ++i) {
      const auto at_y = unsigned(i / kColumns), at_x = unsigned(i % kColumns);
      ASSERT_EQ(terminal.cells[at_y][at_x], seen(model[at_y][at_x]))
          << "step " << step << " at " << at_x << ", " << at_y;
    }
    std::vector<CharInfo> read(kRows * kColumns);
    SmallRect region{0, 0, kColumns - 1, kRows - 1};
    ASSERT_NE(ReadConsoleOutputA(screen, read.data(), {kColumns, kRows}, {0, 0}, &region), 0);
    for (int i = 0; i < kRows * kColumns; ++i) {
      ASSERT_EQ(
          std::memcmp(&read[unsigned(i)], &model[unsigned(i / kColumns)][unsigned(i % kColumns)],
                      sizeof(CharInfo)),
          0)
          << "step " << step << " at " << i;
    }
  }
  EXPECT_EQ(terminal.questions, 1);  // all of that is plain enough to be followed
}

TEST_F(HostConsole, OnlyWhatChangedIsSentAndInOnePiece) {
  Screen terminal(80, 25);
  const Handle screen = open_screen(terminal);
  write_text(screen, 0, 3, std::string(80, 'x'), 0x4E);
  terminal.settle();
  const std::size_t before = terminal.received.size();
  write_text(screen, 0, 3, std::string(80, 'x'), 0x4E);
  terminal.settle();
  EXPECT_EQ(terminal.received.substr(before), "");
  write_text(screen, 0, 3, std::string(40, 'x') + "y" + std::string(39, 'x'), 0x4E);
  terminal.settle();
  EXPECT_EQ(terminal.received.substr(before), "\x1B[4;41H\x1B[93;41my\x1B[m\x1B[1;1H");
}

// ---- The terminal's own ways -------------------------------------------------------

TEST_F(HostConsole, StartsBelowWhatIsThereAndOnlyWhenItIsUsed) {
  Screen terminal(80, 10);
  terminal.print("$ program\n");  // as a shell would
  const termios before = terminal.mode();
  const Handle screen = open_screen(terminal);
  ConsoleCursorInfo look{};
  EXPECT_NE(GetConsoleCursorInfo(screen, &look), 0);
  EXPECT_EQ(look.size, 25u);
  EXPECT_NE(look.visible, 0);
  print_past(screen, "plain output\n");
  EXPECT_NE(SetConsoleCursorInfo(screen, &look), 0);  // nothing new in it
  restore_terminal();
  terminal.settle();
  EXPECT_EQ(terminal.received, "$ program\r\nplain output\r\n");

  EXPECT_EQ(cursor(screen).y, 0);
  write_text(screen, 0, cursor(screen).y, "cells");
  terminal.settle();
  EXPECT_EQ(terminal.text_of(0), "$ program");
  EXPECT_EQ(terminal.text_of(2), "cells");
  EXPECT_EQ(std::pair(terminal.column, terminal.row), std::pair(0, 2));
  EXPECT_TRUE(terminal.has_mode(before));
}

TEST_F(HostConsole, TerminalsWithoutCellsAreNoConsoles) {
  Screen terminal(80, 25);
  Screen unsized(80, 25);
  unsized.set_size(0, 0);
  const struct {
    const char* term;
    Screen* terminal;
    bool console;
  } cases[] = {
      {"xterm-256color", &terminal, true}, {"linux", &terminal, true}, {"screen", &terminal, true},
      {"dumb", &terminal, false},          {"", &terminal, false},     {nullptr, &terminal, false},
      {"unknown", &terminal, false},       {"xterm", &unsized, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.term ? c.term : "(none)");
    restore_terminal();
    SetEnvironmentVariableA("TERM", c.term);
    const Handle screen = CreateFileA(c.terminal->path().c_str(), kGenericWrite, 3, nullptr,
                                      kOpenExisting, 0, nullptr);
    ConsoleCursorInfo look{10, 0};
    const CharInfo cell{'x', 0, 7};
    SmallRect region{0, 0, 0, 0};
    EXPECT_EQ(GetConsoleScreenBufferInfo(screen, &info) != 0, c.console);
    EXPECT_EQ(GetConsoleCursorInfo(screen, &look) != 0, c.console);
    EXPECT_EQ(WriteConsoleOutputA(screen, &cell, {1, 1}, {0, 0}, &region) != 0, c.console);
    if (c.console) continue;
    EXPECT_EQ(GetLastError(), kErrorInvalidHandle);
    EXPECT_EQ(SetConsoleCursorInfo(screen, &look), 0);
    EXPECT_EQ(SetConsoleCursorPosition(screen, {0, 0}), 0);
    EXPECT_EQ(WriteConsoleA(screen, "x", 1, nullptr, nullptr), 0);
    EXPECT_EQ(ReadConsoleOutputA(screen, nullptr, {1, 1}, {0, 0}, &region), 0);
    CloseHandle(screen);
  }
}

TEST_F(HostConsole, WithoutColoursAttributesStayReadable) {
  SetEnvironmentVariableA("NO_COLOR", "1");
  Screen terminal(80, 25);
  const Handle screen = open_screen(terminal);
  write_text(screen, 0, 0, "plain", 0x07);
  write_text(screen, 0, 1, "pause", 0x4E);
  write_text(screen, 0, 2, "\xDB\xDB", 0x00);  // a shadow in its own background
  write_text(screen, 0, 3, "bright", 0x0A);
  terminal.settle();
  SeenCell cell;
  cell.glyph = U'p';
  EXPECT_EQ(terminal.cells[0][0], cell);
  cell.bold = cell.reversed = true;
  EXPECT_EQ(terminal.cells[1][0], cell);
  EXPECT_EQ(terminal.cells[2][0], SeenCell{});
  EXPECT_FALSE(terminal.cells[3][0].reversed);
  EXPECT_TRUE(terminal.cells[3][0].bold);
  SetEnvironmentVariableA("NO_COLOR", nullptr);
}

TEST_F(HostConsole, NarrowAndWideWindowsAreWhollyUsed) {
  for (const int columns : {2, 40, 300, 1000}) {
    SCOPED_TRACE(columns);
    Screen terminal(columns, 4);
    const Handle screen = open_screen(terminal);
    EXPECT_EQ(info.size.x, columns);
    EXPECT_EQ(info.window.right, columns - 1);
    write_text(screen, 0, 2, std::string(static_cast<std::size_t>(columns), 'w'));
    EXPECT_EQ(SetConsoleCursorPosition(screen, {info.size.x, 0}), 0);
    print(screen, std::string(static_cast<std::size_t>(columns), 'c'));
    EXPECT_EQ(cursor(screen).x, 0);
    EXPECT_EQ(cursor(screen).y, 1);
    terminal.settle();
    EXPECT_EQ(terminal.text_of(0), std::string(static_cast<std::size_t>(columns), 'c'));
    EXPECT_EQ(terminal.text_of(2), std::string(static_cast<std::size_t>(columns), 'w'));
    EXPECT_EQ(terminal.row, 1);
    restore_terminal();
  }
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
      {"0123456789", 0, 0, 1},  // the row is full; tested below by what comes next
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    Screen terminal(10, 6);
    const Handle screen = open_screen(terminal);
    cursor(screen);
    print_past(screen, c.text);
    const Coord place = cursor(screen);
    EXPECT_EQ(terminal.questions, 1 + c.questions);
    if (c.text[0] == '0') {
      EXPECT_EQ(place.x, 9);
    } else {
      EXPECT_EQ(std::pair(int{place.x}, int{place.y}), std::pair(c.x, c.y));
    }
    restore_terminal();
  }
  // After the process was stopped, or a child printed, nothing is taken for shown.
  Screen terminal(20, 6);
  const Handle screen = open_screen(terminal);
  write_text(screen, 0, 1, "kept");
  terminal.print("\x1B[2;1Hother\r\n");
  lose_screen();
  EXPECT_EQ(cursor(screen).y, 2);
  write_text(screen, 0, 1, "kept ");
  terminal.settle();
  EXPECT_EQ(terminal.text_of(1), "kept");
}

TEST_F(HostConsole, AWindowOfAnotherSizeFollowsTheCursor) {
  constexpr int kColumns = 30, kRows = 12;
  std::mt19937 random(7);
  const auto below = [&](int limit) { return static_cast<int>(random() % unsigned(limit)); };
  for (int round = 0; round < 4; ++round) {
    Screen terminal(kColumns, kRows);
    const Handle screen = open_screen(terminal);
    for (int step = 0; step < 60; ++step) {
      if (below(4) == 0) {
        terminal.settle();
        terminal.resize(10 + below(50), 2 + below(25));
      }
      const std::string text = "line " + std::to_string(step);
      Coord place = cursor(screen);
      EXPECT_EQ(info.size.x, kColumns);
      EXPECT_EQ(info.size.y, kRows);
      ASSERT_LE(info.window.top, place.y);
      ASSERT_GE(info.window.bottom, place.y);
      write_text(screen, 0, place.y, text);
      terminal.settle();
      ASSERT_EQ(terminal.text_of(terminal.row).substr(0, text.size()), text) << step;
      if (below(5) == 0) {
        place.y = static_cast<std::int16_t>(below(kRows));
        place.x = static_cast<std::int16_t>(below(kColumns));
        ASSERT_NE(SetConsoleCursorPosition(screen, place), 0);
      } else {
        print(screen, "\n");
        if (place.y < kRows - 1) ++place.y;
        place.x = 0;
        terminal.settle();
        ASSERT_GT(terminal.row, 0);
        ASSERT_EQ(terminal.text_of(terminal.row - 1).substr(0, text.size()), text) << step;
      }
      EXPECT_EQ(cursor(screen).y, place.y);
      terminal.settle();
      EXPECT_EQ(terminal.column,
                std::min<int>(place.x, static_cast<int>(terminal.cells[0].size()) - 1));
      ASSERT_EQ(terminal.unknown, "");
    }
    restore_terminal();
  }
}

TEST_F(HostConsole, CursorAndTitleAreSetAndPutBack) {
  Screen terminal(80, 25);
  const Handle screen = open_screen(terminal);
  const struct {
    ConsoleCursorInfo look;
    Status result;
    int shape;
  } cases[] = {{{25, 0}, 1, 0}, {{100, 0}, 1, 1}, {{10, 1}, 1, 3},  {{25, 1}, 1, 0},
               {{50, 0}, 1, 1}, {{0, 1}, 0, 1},   {{101, 1}, 0, 1}, {{100, 0}, 1, 1}};
  for (const auto& c : cases) {
    EXPECT_EQ(SetConsoleCursorInfo(screen, &c.look), c.result) << c.look.size;
    ConsoleCursorInfo now{};
    GetConsoleCursorInfo(screen, &now);
    if (c.result) {
      EXPECT_EQ(now.size, c.look.size);
      EXPECT_EQ(now.visible, c.look.visible);
    }
    terminal.settle();
    EXPECT_EQ(terminal.cursor_shape, c.shape) << c.look.size;
    EXPECT_EQ(terminal.cursor_visible, now.visible != 0) << c.look.size;
  }
  char title[8];
  EXPECT_NE(SetConsoleTitleA("a\x1B]2;b\a\xC2\x9B\xFF\xE2\x82\xAC"), 0);
  terminal.settle();
  EXPECT_EQ(terminal.title, "a]2;b?\xE2\x82\xAC");
  EXPECT_EQ(terminal.saved_titles, 1);
  EXPECT_NE(SetConsoleTitleA("another title"), 0);
  EXPECT_EQ(GetConsoleTitleA(title, sizeof title), 13u);
  EXPECT_STREQ(title, "another");
  restore_terminal();
  terminal.settle();
  EXPECT_TRUE(terminal.cursor_visible);
  EXPECT_EQ(terminal.cursor_shape, 0);
  EXPECT_EQ(terminal.saved_titles, 0);
  EXPECT_EQ(terminal.questions, 0);
  EXPECT_EQ(terminal.unknown, "");
}

// ---- Input ----------------------------------------------------------------------------

std::string read_input(Handle input) {
  char bytes[64];
  std::uint32_t count = 0;
  EXPECT_NE(ReadFile(input, bytes, sizeof bytes, &count, nullptr), 0);
  return std::string(bytes, count);
}

int key_of(Handle input) {
  InputRecord record{};
  std::uint32_t count = 0;
  EXPECT_NE(ReadConsoleInputA(input, &record, 1, &count), 0);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(record.event_type, kKeyEvent);
  EXPECT_NE(record.key_down, 0);
  return record.character != 0 ? record.character : record.virtual_key_code << 8;
}

TEST_F(HostConsole, ATerminalThatDoesNotAnswerIsAskedOnceAndStaysUsable) {
  Screen terminal(80, 8);
  terminal.answer_questions(false);
  const Handle screen = open_screen(terminal);
  const Handle input = open_input(terminal);
  print_past(screen, "$ program");
  terminal.type_at_question("typed ahead\n");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(cursor(screen).y, 7);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  for (int i = 0; i < 3; ++i) {
    write_text(screen, 0, 7, "row " + std::to_string(i));
    print(screen, "\n");
  }
  print_past(screen, "\xC2\xB0 no question about that\n");
  write_text(screen, 0, cursor(screen).y, "last");
  terminal.type("\x1B[8;1R");  // the answer, too late
  EXPECT_EQ(read_input(input), "typed ahead\r\n");
  terminal.type("q");
  EXPECT_EQ(key_of(input), 'q');
  terminal.settle();
  EXPECT_EQ(terminal.questions, 1);
  EXPECT_EQ(terminal.text_of(3), "row 1");
  EXPECT_EQ(terminal.text_of(4), "row 2");
}

TEST_F(HostConsole, WhatWasTypedAheadReachesTheNextReader) {
  Screen terminal(80, 25);
  const Handle screen = open_screen(terminal);
  const Handle input = open_input(terminal);
  terminal.type("before ");  // echoed as it comes
  while (terminal.settle(), terminal.column < 7) {
  }
  terminal.type_at_question("during\nsecond");
  cursor(screen);
  EXPECT_EQ(read_input(input), "before during\r\n");
  terminal.type(" line\n");
  EXPECT_EQ(read_input(input), "second line\r\n");
  terminal.settle();
  EXPECT_EQ(terminal.text_of(0), "before during");

  terminal.type_at_question("ab\x1B[A");
  lose_screen();
  EXPECT_EQ(cursor(screen).y, 2);
  EXPECT_EQ(key_of(input), 'a');
  EXPECT_EQ(key_of(input), 'b');
  EXPECT_EQ(key_of(input), 0x2600);
  terminal.type_at_question("x\x04");  // Ctrl-D behind text, and alone
  lose_screen();
  cursor(screen);
  EXPECT_EQ(read_input(input), "x");
  terminal.type_at_question("\x04");
  lose_screen();
  cursor(screen);
  EXPECT_EQ(read_input(input), "");
}

TEST_F(HostConsole, ALineEndsInTwoBytesHoweverItIsRead) {
  Screen terminal(80, 25);
  const Handle input = open_input(terminal);
  terminal.type("ab\n\ncd\n");
  std::string read;
  char byte;
  for (std::uint32_t count = 1; read.size() < 6 && count == 1; read += byte) {
    ASSERT_NE(ReadFile(input, &byte, 1, &count, nullptr), 0);
  }
  EXPECT_EQ(read, "ab\r\n\r\n");
  EXPECT_EQ(read_input(input), "cd\r\n");
}

TEST_F(HostConsole, KeysAreRecordsAndTheModeLastsAsLongAsTheCall) {
  Screen terminal(80, 25);
  const Handle screen = open_screen(terminal);
  const Handle input = open_input(terminal);
  const termios before = terminal.mode();
  const struct {
    std::vector<std::string> parts;  // that come one by one
    int key;
  } cases[] = {
      {{"\r"}, 13}, {{"\x1B"}, 27}, {{"\x1B[2", "1~"}, 0x7900}, {{"\x1A"}, 26}, {{"\x13"}, 19}};
  for (const auto& c : cases) {
    std::thread typist([&] {
      while ((terminal.mode().c_lflag & ICANON) != 0) {
      }
      for (const std::string& part : c.parts) {
        if (&part != &c.parts[0]) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        terminal.type(part);
      }
    });
    EXPECT_EQ(key_of(input), c.key);
    typist.join();
  }
  EXPECT_TRUE(terminal.has_mode(before));
  InputRecord record{};
  std::uint32_t count = 9;
  EXPECT_EQ(ReadConsoleInputA(screen, &record, 1, &count), 0);
  EXPECT_EQ(count, 0u);
  const Handle nothing = CreateFileA("NUL", kGenericRead, 3, nullptr, kOpenExisting, 0, nullptr);
  EXPECT_EQ(ReadConsoleInputA(nothing, &record, 1, &count), 0);
  EXPECT_EQ(GetLastError(), kErrorInvalidHandle);
}

TEST(KeyDecoder, EveryKeyHasItsRecord) {
  constexpr std::uint32_t kAlt = 2, kControl = 8, kShift = 16;
  const struct {
    const char* bytes;
    int code, character;
    std::uint32_t state;
  } cases[] = {
      {"a", 'A', 'a', 0},
      {"Z", 'Z', 'Z', kShift},
      {"7", '7', '7', 0},
      {" ", ' ', ' ', 0},
      {"/", 0, '/', 0},
      {"\r", 13, 13, 0},
      {"\n", 13, 13, 0},
      {"\t", 9, 9, 0},
      {"\x7F", 8, 8, 0},
      {"\b", 8, 8, 0},
      {"\x1B", 27, 27, 0},
      {"\x01", 'A', 1, kControl},
      {"\x1A", 'Z', 26, kControl},
      {"\xC3\xA4", 0, 0x84, 0},      // a with two dots
      {"\xE2\x96\x88", 0, 0xDB, 0},  // full block
      {"\xE2\x82\xAC", 0, '?', 0},   // the euro came later
      {"\xF0\x9F\x98\x80", 0, '?', 0},
      {"\x9B", 0, '?', 0},
      {"\xC3", 0, '?', 0},
      {"\x1B[A", 0x26, 0, 0},
      {"\x1BOB", 0x28, 0, 0},
      {"\x1B[1;5C", 0x27, 0, kControl},
      {"\x1B\x1B[D", 0x25, 0, kAlt},
      {"\x1B[H", 0x24, 0, 0},
      {"\x1B[4~", 0x23, 0, 0},
      {"\x1B[2~", 0x2D, 0, 0},
      {"\x1B[3;2~", 0x2E, 0, kShift},
      {"\x1B[5~", 0x21, 0, 0},
      {"\x1B[6~", 0x22, 0, 0},
      {"\x1BOP", 0x70, 0, 0},
      {"\x1B[[E", 0x74, 0, 0},
      {"\x1B[15~", 0x74, 0, 0},
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

// Runs `work` in a child whose terminal this is; gives its status.
int status_on(Screen& terminal, const std::function<void(Handle)>& work) {
  const pid_t child = fork();
  if (child == 0) {
    terminal.lead_session();
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    for (const int number : {SIGSEGV, SIGABRT}) signal(number, SIG_DFL);  // not a sanitizer's
    work(GetStdHandle(-11));
    _exit(99);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

TEST_F(HostConsole, EveryEndLeavesTheTerminalAsItWas) {
  const struct {
    const char* name;
    void (*end)(Handle screen);
    int status;
  } cases[] = {
      {"ExitProcess", [](Handle) { ExitProcess(3); }, 3 << 8},
      {"exit", [](Handle) { exit(4); }, 4 << 8},
      {"terminated", [](Handle) { raise(SIGTERM); }, SIGTERM},
      {"hung up", [](Handle) { raise(SIGHUP); }, SIGHUP},
      {"interrupted", [](Handle) { raise(SIGINT); }, SIGINT},
      {"fault", [](Handle) { raise(SIGSEGV); }, SIGSEGV},
      {"fault while it draws",
       [](Handle screen) {
         SmallRect region{0, 0, 70, 0};
         WriteConsoleOutputA(screen, reinterpret_cast<const CharInfo*>(16), {71, 1}, {0, 0},
                             &region);
       },
       SIGSEGV},
      {"aborted", [](Handle) { abort(); }, SIGABRT},
      {"killed while it waits for a key",
       [](Handle) {
         const itimerval soon{{0, 0}, {0, 100000}};
         setitimer(ITIMER_REAL, &soon, nullptr);
         InputRecord record;
         std::uint32_t count;
         ReadConsoleInputA(GetStdHandle(-10), &record, 1, &count);
       },
       SIGALRM},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Screen terminal(80, 10);
    const termios before = terminal.mode();
    const int status = status_on(terminal, [&](Handle screen) {
      const ConsoleCursorInfo hidden{100, 0};
      if (!GetConsoleScreenBufferInfo(screen, &info)) _exit(90);
      print(screen, "first\n\xC9\xBB\n");
      write_text(screen, 0, 4, "lowest", 0x4E);
      if (!SetConsoleCursorPosition(screen, {5, 1}) || !SetConsoleCursorInfo(screen, &hidden) ||
          !SetConsoleTitleA("running")) {
        _exit(91);
      }
      c.end(screen);
    });
    EXPECT_EQ(status & ~0x80, c.status);
    terminal.settle();
    EXPECT_TRUE(terminal.has_mode(before));
    EXPECT_EQ(std::pair(terminal.column, terminal.row), std::pair(0, 5));
    EXPECT_EQ(terminal.pen, SeenCell{});
    EXPECT_TRUE(terminal.cursor_visible);
    EXPECT_EQ(terminal.cursor_shape, 0);
    EXPECT_EQ(terminal.saved_titles, 0);
    EXPECT_EQ(terminal.unknown, "");
  }
}

TEST_F(HostConsole, ThePromptComesOnAFreshLine) {
  const struct {
    const char* name;
    void (*work)(Handle screen);
    int row;
  } cases[] = {
      {"whole lines", [](Handle screen) { print(screen, "one\ntwo\n"); }, 2},
      {"a line without its end", [](Handle screen) { print(screen, "one\ntwo"); }, 2},
      {"a line that was cleared",
       [](Handle screen) {
         print(screen, "one\n");
         write_text(screen, 0, 1, "12 %");
         write_text(screen, 0, 1, "    ");
       },
       1},
      {"a full screen", [](Handle screen) { write_text(screen, 0, 9, "last"); }, 9},
      {"no cells but a cursor",
       [](Handle screen) {
         SetConsoleCursorPosition(screen, {3, 3});
       },
       3},
      {"a program's own line",
       [](Handle screen) {
         print(screen, "one\n");
         print_past(screen, "two");
       },
       2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Screen terminal(80, 10);
    const Handle screen = open_screen(terminal);
    cursor(screen);
    c.work(screen);
    restore_terminal();
    terminal.settle();
    EXPECT_EQ(terminal.row, c.row);
    EXPECT_EQ(terminal.column, 0);
  }
}

TEST_F(HostConsole, TextFromBeforeIsNoOutput) {
  Screen terminal(80, 4);
  terminal.print("\n\n\n$ ");
  const Handle screen = open_screen(terminal);
  print(screen, "\n\n");
  restore_terminal();
  terminal.settle();
  EXPECT_EQ(std::pair(terminal.column, terminal.row), std::pair(0, 3));
  EXPECT_EQ(terminal.text_of(1), "$");
}

TEST_F(HostConsole, TheControllingTerminalHasItsNames) {
  Screen terminal(80, 10);
  terminal.type("k");
  const int status = status_on(terminal, [&](Handle) {
    const int elsewhere = open("/dev/null", O_RDWR);
    for (int i = 0; i < 3; ++i) dup2(elsewhere, i);
    ScreenBufferInfo there{};
    if (GetConsoleScreenBufferInfo(GetStdHandle(-11), &there)) _exit(1);
    const Handle screen =
        CreateFileA("CONOUT$", kGenericWrite, 3, nullptr, kOpenExisting, 0, nullptr);
    const Handle input =
        CreateFileA("conin$", kGenericRead | kGenericWrite, 3, nullptr, kOpenExisting, 0, nullptr);
    if (!GetConsoleScreenBufferInfo(screen, &there) || there.size.x != 80) _exit(2);
    if (GetConsoleScreenBufferInfo(input, &there)) _exit(3);
    print(screen, "\xC9\xCD\xBB");
    if (key_of(input) != 'k') _exit(4);
    _exit(0);
  });
  EXPECT_EQ(status, 0);
}

// ---- A terminal of other people's making ------------------------------------------------

// All characters and all attributes, from the fourth row of 24 on: four rows of
// 64 each. Runs inside the terminal until a key is pressed.
std::vector<CharInfo> gallery_row(int row) {
  std::vector<CharInfo> line;
  for (int i = 64 * row; i < 64 * (row + 1); ++i) {
    line.push_back(i < 256 ? CharInfo{static_cast<std::uint8_t>(i), 0, 7}
                           : CharInfo{'A', 0, static_cast<std::uint16_t>(i - 256)});
  }
  return line;
}

TEST_F(HostConsole, DISABLED_Gallery) {
  SetEnvironmentVariableA("TERM", getenv("TERM"));
  const Handle screen = GetStdHandle(-11);
  GetConsoleScreenBufferInfo(screen, &info);
  ASSERT_NE(SetConsoleTitleA("gallery"), 0);
  ASSERT_NE(SetConsoleCursorPosition(screen, {0, 23}), 0);
  for (int i = 0; i < 23 - 3; ++i) print(screen, "\n");  // what the test framework printed
  for (int row = 0; row < 8; ++row) write_cells(screen, 8, 3 + row, gallery_row(row));
  ASSERT_NE(SetConsoleCursorPosition(screen, {5, 11}), 0);
  print(screen, "ready");
  const bool quit = key_of(GetStdHandle(-10)) == 0x7900;
  ExitProcess(quit ? 0 : 1);
}

std::string output_of(const std::string& command) {
  std::string text;
  FILE* const pipe = popen(command.c_str(), "r");
  char bytes[4096];
  while (const std::size_t count = fread(bytes, 1, sizeof bytes, pipe)) text.append(bytes, count);
  pclose(pipe);
  return text;
}

TEST_F(HostConsole, TmuxShowsTheSame) {
  if (system("command -v tmux >/dev/null") != 0) GTEST_SKIP() << "no tmux";
  char folder[] = "/tmp/tarn_terminal_test_XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const std::string tmux = std::string("tmux -u -S ") + folder + "/socket ";
  char self[4096] = "";
  ASSERT_GT(readlink("/proc/self/exe", self, sizeof self - 1), 0);
  ASSERT_EQ(system((tmux + "-f /dev/null new-session -d -x 80 -y 24 \"'" + self +
                    "' --gtest_also_run_disabled_tests --gtest_filter='*Gallery'; "
                    "echo STATUS $?; sleep 60\"")
                       .c_str()),
            0);
  const auto capture = [&](const std::string& awaited) {
    std::string text;
    for (int i = 0; i < 200; ++i) {
      text = output_of(tmux + "capture-pane -p -e");
      if (text.find(awaited) != std::string::npos) return text;
      std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    return text;
  };
  const std::string where = "display -p '#{cursor_x} #{cursor_y} #{pane_title}'";
  Screen copy(80, 25);
  std::string shown = capture("ready");
  std::string lines;
  for (const char c : shown) lines += c == '\n' ? "\r\n" : std::string(1, c);
  copy.print(lines);
  copy.settle();
  EXPECT_EQ(output_of(tmux + where), "10 11 gallery\n");
  EXPECT_EQ(system((tmux + "send-keys F10").c_str()), 0);
  shown = capture("STATUS");
  EXPECT_NE(shown.find("     ready\nSTATUS 0\n"), std::string::npos) << shown;
  EXPECT_EQ(output_of(tmux + where).substr(0, 5), "0 13 ");
  EXPECT_EQ(output_of(tmux + where).find("gallery"), std::string::npos);
  EXPECT_EQ(system((tmux + "kill-server").c_str()), 0);
  std::filesystem::remove_all(folder);
  for (int row = 0; row < 8; ++row) {
    const std::vector<CharInfo> line = gallery_row(row);
    for (unsigned i = 0; i < 64; ++i) {
      SeenCell cell = seen(line[i]);
      EXPECT_EQ(copy.cells[unsigned(3 + row)][8 + i], cell) << "row " << row << ", cell " << i;
    }
  }
}

}  // namespace
