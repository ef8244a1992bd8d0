#include "saved_report.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "tools/terminal_text.h"

namespace report {
namespace {

constexpr std::string_view kHeading = "Brackenmoor 64-bit exception report on ";
constexpr std::string_view kSources = "Sources:";
constexpr std::size_t kTabWidth = 8;
constexpr std::size_t kLongestShownLine = 500;

// Takes the first line off, without its end.
std::string_view next_line(std::string_view* text) {
  const std::size_t end = std::min(text->find('\n'), text->size());
  std::string_view line = text->substr(0, end);
  text->remove_prefix(std::min(end + 1, text->size()));
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

std::string with_spaces(std::string_view line) {
  std::string result;
  for (const char c : line.substr(0, kLongestShownLine)) {
    result += c;
    if (c != '\t') continue;
    result.back() = ' ';
    while (result.size() % kTabWidth != 0) result += ' ';
  }
  return result;
}

// "> 17 |   return bill / people;"
void append_lines(std::string_view text, std::size_t line, int context, std::string* result) {
  const auto around = static_cast<std::size_t>(context);
  const std::size_t first = line > around ? line - around : 1;
  for (std::size_t number = 1; number <= line + around && !text.empty(); number++) {
    const std::string_view shown = next_line(&text);
    if (number < first) continue;
    const std::string digits = std::to_string(number);
    *result += number == line ? "  > " : "    ";
    *result += std::string(digits.size() < 6 ? 6 - digits.size() : 0, ' ') + digits + " | ";
    *result += printable(with_spaces(shown));
    while (result->ends_with(' ')) result->pop_back();
    *result += '\n';
  }
}

}  // namespace

const char* refusal(std::string_view text) {
  if (text.size() > kLargestReport) return "larger than any report";
  if (!text.starts_with(kHeading)) return "not a saved report";
  if (text.find('\0') != text.npos) return "damaged: it has bytes that are no text";
  if (!text.ends_with('\n')) return "damaged: its end is missing";
  return nullptr;
}

bool read_source_line(std::string_view line, SourceLine* source) {
  constexpr std::string_view kAfterLine = ": in ";
  for (std::size_t at = line.find(':'); at != line.npos; at = line.find(':', at + 1)) {
    std::size_t number = 0;
    const char* const end = line.data() + line.size();
    const auto [rest, error] = std::from_chars(line.data() + at + 1, end, number);
    if (error != std::errc() || number == 0 || at == 0) continue;
    if (!std::string_view(rest, static_cast<std::size_t>(end - rest)).starts_with(kAfterLine)) {
      continue;
    }
    *source = {line.substr(0, at), number};
    return true;
  }
  return false;
}

std::string with_sources(std::string_view text, int context, const FindSource& find,
                         std::vector<std::string>* missing) {
  std::string result;
  std::map<std::string, std::string, std::less<>> known;
  bool in_sources = false;
  while (!text.empty()) {
    const std::string_view line = next_line(&text);
    result += printable(line) + '\n';
    SourceLine source;
    in_sources = line == kSources || (in_sources && !line.empty());
    if (!in_sources || !read_source_line(line, &source)) continue;
    auto file = known.find(source.path);
    if (file == known.end()) {
      file = known.emplace(source.path, "").first;
      if (!find(source.path, &file->second)) missing->push_back(printable(source.path));
    }
    append_lines(file->second, source.line, context, &result);
  }
  return result;
}

}  // namespace report
