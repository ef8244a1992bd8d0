#include "platform/posix/terminal/progress_row.h"

#include <string.h>

namespace tarn::platform {
namespace {

constexpr int kMostBarColumns = 20;
constexpr int kFewestBarColumns = 5;
constexpr char kBarDone = static_cast<char>(0xDB);
constexpr char kBarToDo = static_cast<char>(0xB0);

// Appends at `at` what fits below `limit`. Result: where it ends.
int add(char* row, int at, int limit, const char* text) {
  while (*text != '\0' && at < limit) row[at++] = *text++;
  return at;
}

}  // namespace

void compose_progress_row(const char* title, const ProgressPicture& picture, int columns,
                          char* row) {
  memset(row, ' ', static_cast<std::size_t>(columns));
  const int percent_columns = static_cast<int>(strlen(picture.percent_text));
  const int percent_at = columns > percent_columns ? columns - percent_columns : 0;
  add(row, percent_at, columns, picture.percent_text);

  int at = add(row, 0, percent_at, title);
  if (*title != '\0' && *picture.text != '\0') at = add(row, at, percent_at, ": ");
  at = add(row, at, percent_at, picture.text);

  // With a space in front of it.
  const int room = percent_at - at - 1;
  const int bar = room < kMostBarColumns ? room : kMostBarColumns;
  if (bar < kFewestBarColumns) return;
  const int percent = picture.percent < 100 ? picture.percent : 100;
  const int done = percent * bar / 100;
  memset(row + percent_at - bar, kBarToDo, static_cast<std::size_t>(bar));
  memset(row + percent_at - bar, kBarDone, static_cast<std::size_t>(done));
}

}  // namespace tarn::platform
