// The row of a terminal that shows progress: how it is divided, and that the
// program's output and its cells know nothing of it.
#include "platform/posix/terminal/progress_row.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "platform/posix/terminal/terminal.h"
#include "tests/support/terminal.h"

namespace {

using namespace tarn::platform;
using Screen = tarn::test::Terminal;

std::string picture_text;

TARNAPI void fill_picture(ProgressPicture* picture) {
  std::snprintf(picture->text, sizeof picture->text, "%s", picture_text.c_str());
  std::snprintf(picture->percent_text, sizeof picture->percent_text, " (40%%)");
  picture->percent = 40;
}

constexpr ProgressWindowLook kLook = {"Job", 0, 0, 0, &fill_picture, nullptr};

using Rows = std::vector<std::string>;

// '#' and '.' of a bar, '?' for other glyphs beyond ASCII.
Rows rows_of(Screen& terminal) {
  terminal.settle();
  Rows rows;
  for (const auto& line : terminal.cells) {
    std::string text;
    for (const tarn::test::SeenCell& cell : line) {
      text += cell.glyph == U'\u2588'   ? '#'
              : cell.glyph == U'\u2591' ? '.'
              : cell.glyph < 0x80       ? static_cast<char>(cell.glyph)
                                        : '?';
    }
    text.erase(text.find_last_not_of(' ') + 1);
    rows.push_back(text);
  }
  return rows;
}

void close_window(Handle window) {
  CloseProgressWindow(window);
  ServeProgressWindow(window);
}

class ProgressRowOnATerminal : public ::testing::Test {
 protected:
  void SetUp() override {
    SetEnvironmentVariableA("TERM", "xterm");
    picture_text = "text";
  }
  void TearDown() override { restore_terminal(); }
};

constexpr char kRow[] = "Job: text ####....... (40%)";

TEST_F(ProgressRowOnATerminal, KeepsTheCellsBelowItForTheEnd) {
  Screen terminal(27, 5);
  const Handle screen =
      CreateFileA(terminal.path().c_str(), kGenericWrite, 3, nullptr, kOpenExisting, 0, nullptr);
  const auto write_row = [&](std::int16_t row, const char* text) {
    CharInfo cells[8];
    std::int16_t count = 0;
    for (; text[count] != '\0'; ++count)
      cells[count] = {static_cast<std::uint8_t>(text[count]), 0, 7};
    SmallRect region{0, row, static_cast<std::int16_t>(count - 1), row};
    EXPECT_TRUE(WriteConsoleOutputA(screen, cells, {count, 1}, {0, 0}, &region));
  };
  for (std::int16_t y = 0; y < 5; ++y) write_row(y, ("old " + std::to_string(y)).c_str());
  EXPECT_TRUE(SetConsoleCursorPosition(screen, {3, 2}));

  const Handle window = OpenProgressWindow(&kLook);
  ASSERT_NE(window, invalid_handle());
  EXPECT_EQ(OpenProgressWindow(&kLook), invalid_handle());  // one at a time
  write_row(1, "new 1");
  write_row(4, "new 4");
  EXPECT_EQ(rows_of(terminal), (Rows{"old 0", "new 1", "old 2", "old 3", kRow}));
  EXPECT_EQ(terminal.row, 2);
  EXPECT_EQ(terminal.column, 3);
  picture_text = "\x1B[2J\n\xFF";  // shown as characters
  RedrawProgressWindow(window);
  EXPECT_EQ(rows_of(terminal)[4], "Job: ?[2J?? ###...... (40%)");
  EXPECT_EQ(terminal.text_of(0), "old 0");
  close_window(window);
  EXPECT_EQ(rows_of(terminal), (Rows{"old 0", "new 1", "old 2", "old 3", "new 4"}));
  RedrawProgressWindow(window);
  CloseProgressWindow(window);
  EXPECT_EQ(terminal.text_of(4), "new 4");
  EXPECT_EQ(terminal.unknown, "");
  CloseHandle(screen);
}

// '#' for what is done of the bar, '.' for the rest.
std::string row_of(const char* title, const char* text, int percent, int columns) {
  ProgressPicture picture{};
  std::snprintf(picture.text, sizeof picture.text, "%s", text);
  std::snprintf(picture.percent_text, sizeof picture.percent_text, " (%d%%)", percent);
  picture.percent = percent;
  std::string row(static_cast<std::size_t>(columns) + 1, '\x01');
  compose_progress_row(title, picture, columns, row.data());
  EXPECT_EQ(row.back(), '\x01');
  row.pop_back();
  for (char& c : row) c = c == '\xDB' ? '#' : c == '\xB0' ? '.' : c;
  return row;
}

TEST(ProgressRow, GivesThePercentageItsPlaceThenTheTextAndTheBarTheRest) {
  const struct {
    const char *title, *text;
    int percent, columns;
    const char* row;
  } cases[] = {
      {"Job", "2 errors", 41, 50, "Job: 2 errors           ########............ (41%)"},
      {"Job", "", 100, 40, "Job          #################### (100%)"},
      {"", "text", 0, 30, "text .................... (0%)"},
      {"Job", "2 errors", 50, 27, "Job: 2 errors ###.... (50%)"},
      {"Job", "2 errors", 50, 24, "Job: 2 errors      (50%)"},  // no bar of fewer than 5
      {"Job", "2 errors", 50, 15, "Job: 2 er (50%)"},
      {"Job", "2 errors", 100, 7, " (100%)"},
      {"Job", "2 errors", 100, 4, " (10"},
      {"", "", 2000000000, 30, " ############### (2000000000%)"},
  };
  for (const auto& [title, text, percent, columns, row] : cases) {
    EXPECT_EQ(row_of(title, text, percent, columns), row);
  }
}

}  // namespace
