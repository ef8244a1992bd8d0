// The row of a terminal that shows progress: how it is divided.
#include "platform/posix/terminal/progress_row.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

using namespace tarn::platform;
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
