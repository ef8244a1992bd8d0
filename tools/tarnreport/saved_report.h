// Reports as the library saves them: docs/reading-a-report.md.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace report {

inline constexpr std::size_t kLargestReport = 1 << 20;  // the library's have some 100 kB at most
inline constexpr std::size_t kLargestSource = 64 << 20;
inline constexpr int kMostContext = 1000;

// Of the details: "PATH:LINE: in ROUTINE".
struct SourceLine {
  std::string_view path;
  std::size_t line;
};

// The lines of a source file; false if there is none.
using FindSource = std::function<bool(std::string_view path, std::string* text)>;

// Why `text` is no saved report, or null.
const char* refusal(std::string_view text);

// False if the line has another form.
bool read_source_line(std::string_view line, SourceLine* source);

// The report with `context` lines before and after each source line that there is; nothing
// in it makes a terminal act. `missing`: the paths of those that there are not, each once.
std::string with_sources(std::string_view text, int context, const FindSource& find,
                         std::vector<std::string>* missing);

}  // namespace report
