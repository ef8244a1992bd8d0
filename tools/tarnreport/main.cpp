// tarnreport: a saved report with the source lines around each frame.
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "saved_report.h"
#include "tools/read_file.h"
#include "tools/terminal_text.h"

namespace {

namespace fs = std::filesystem;

constexpr char kHelp[] =
    "Usage: tarnreport [options] FILE\n"
    "\n"
    "Prints a saved report with the source lines of each frame.\n"
    "\n"
    "  -c, --context N   N lines before and after each, 0 to 1000; by default 3\n"
    "  --source DIR      look for source files below DIR first: the path in the report, or as\n"
    "                    many of its last parts as exist; may be given several times\n"
    "  --version         print the version\n"
    "  --help            print this\n"
    "\n"
    "FILE is what WRITE or TARN_REPORT_FOLDER has saved; - is standard input. Control\n"
    "characters in it, and in the sources, are shown as '?'.\n"
    "Exit status: 0 if the report is printed, 1 if it cannot be, 2 for a wrong command line.\n";

constexpr int kRefused = 1;
constexpr int kWrongUsage = 2;
constexpr int kUsualContext = 3;

struct Request {
  std::string file;
  int context = kUsualContext;
  std::vector<fs::path> folders;
};

int complain(const std::string& text, int status) {
  std::fprintf(stderr, "tarnreport: %s%s\n", printable(text).c_str(),
               status == kWrongUsage ? " (try --help)" : "");
  return status;
}

bool read_source(const fs::path& path, std::string* text) {
  std::error_code error;
  if (!fs::is_regular_file(path, error)) return false;
  if (read_file(path.string(), text, report::kLargestSource) != nullptr ||
      text->size() > report::kLargestSource) {
    text->clear();
    return false;
  }
  return true;
}

// The names in a path of either system, without its drive or root.
std::vector<std::string> parts_of(std::string_view path) {
  std::vector<std::string> parts(1);
  for (const char c : path) {
    if (c == '/' || c == '\\') {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  std::erase_if(parts, [](const std::string& part) {
    return part.empty() || part == "." || part == ".." || part.ends_with(':');
  });
  return parts;
}

bool find_source(const Request& request, std::string_view path, std::string* text) {
  const std::vector<std::string> parts = parts_of(path);
  for (const fs::path& folder : request.folders) {
    for (std::size_t first = 0; first < parts.size(); first++) {
      fs::path below = folder;
      for (std::size_t i = first; i < parts.size(); i++) below /= parts[i];
      if (read_source(below, text)) return true;
    }
  }
  return read_source(fs::path(path), text);
}

bool read_context(const std::string& value, int* context) {
  const char* const end = value.data() + value.size();
  const auto [rest, error] = std::from_chars(value.data(), end, *context);
  return error == std::errc() && rest == end && *context >= 0 && *context <= report::kMostContext;
}

int print(const Request& request) {
  std::string text;
  const char* const failure = request.file == "-"
                                  ? read_stream(stdin, &text, report::kLargestReport)
                                  : read_file(request.file, &text, report::kLargestReport);
  if (failure != nullptr) {
    return complain(request.file + ": " + failure, kRefused);
  }
  if (const char* const reason = report::refusal(text)) {
    return complain(request.file + ": " + reason, kRefused);
  }
  std::vector<std::string> missing;
  const std::string shown = report::with_sources(
      text, request.context,
      [&](std::string_view path, std::string* source) {
        return find_source(request, path, source);
      },
      &missing);
  if (std::fputs(shown.c_str(), stdout) < 0 || std::fflush(stdout) != 0) {
    return complain(std::string("cannot print: ") + std::strerror(errno), kRefused);
  }
  for (const std::string& path : missing) {
    std::fprintf(stderr, "tarnreport: note: no %s here (--source says where)\n", path.c_str());
  }
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  Request request;
  bool options = true;
  for (int i = 1; i < count; i++) {
    const std::string argument = arguments[i];
    if (!options || argument == "-" || !argument.starts_with("-")) {
      if (!request.file.empty()) return complain("more than one file: " + argument, kWrongUsage);
      request.file = argument;
    } else if (argument == "--help") {
      return std::fputs(kHelp, stdout) < 0;
    } else if (argument == "--version") {
      return std::puts("tarnreport " TARN_VERSION) < 0;
    } else if (argument == "--") {
      options = false;
    } else if (argument == "-c" || argument == "--context" || argument == "--source") {
      if (++i == count) return complain("no value after " + argument, kWrongUsage);
      const std::string value = arguments[i];
      if (argument == "--source") {
        request.folders.emplace_back(value);
      } else if (!read_context(value, &request.context)) {
        return complain("not a number from 0 to 1000: " + value, kWrongUsage);
      }
    } else {
      return complain("unknown option " + argument, kWrongUsage);
    }
  }
  if (request.file.empty()) return complain("no file", kWrongUsage);
  return print(request);
}
