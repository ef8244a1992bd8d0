#include "console/report_lines.h"

#include "streams/conversion/number_text.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

// Read by the window's thread while the program writes them.
std::int32_t error_count = -1;
std::int32_t warning_count = -1;
std::int32_t comment_count = -1;

void put(std::int32_t* cell, std::int32_t value) {
  __atomic_store_n(cell, value, __ATOMIC_RELAXED);
}

std::int32_t look(const std::int32_t* cell) { return __atomic_load_n(cell, __ATOMIC_RELAXED); }

}  // namespace

void SetErrorCounters(std::int32_t errors, std::int32_t warnings, std::int32_t comments) {
  put(&error_count, errors);
  put(&warning_count, warnings);
  put(&comment_count, comments);
}

ErrorCounters error_counters() {
  return {look(&error_count), look(&warning_count), look(&comment_count)};
}

char* add_int_and_string(char* destination, std::int32_t value, const char* word) {
  itoa(value, destination, 10);
  char* end = destination + strlen(destination);
  *end++ = ' ';
  while (*word != '\0') *end++ = *word++;
  if (value != 1) *end++ = 's';
  *end = '\0';
  return end;
}

std::int32_t MakeErrorReportLine(char* destination, std::int32_t errors, std::int32_t warnings,
                                 std::int32_t comments) {
  const struct {
    std::int32_t value;
    const char* word;
  } items[] = {{errors, "error"}, {warnings, "warning"}, {comments, "comment"}};
  char* end = destination;
  for (const auto& [value, word] : items) {
    if (value == 0) continue;
    if (end != destination) {
      *end++ = ',';
      *end++ = ' ';
    }
    end = add_int_and_string(end, value, word);
  }
  return static_cast<std::int32_t>(end - destination);
}

}  // namespace tarn
