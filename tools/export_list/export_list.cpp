// Prints what the build makes of the export table:
//   export_list --def symbols.s   the DLL's .def file; symbols.s is
//                                 export_symbols.cpp compiled by the DLL's
//                                 compiler, whose rows are in the same order
//   export_list --markdown        the reference list

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "exports/export_headers.h"
#include "startup/reports_for_others.h"

namespace {

struct Row {
  enum Kind { kFamily, kPlain, kNotation } kind;
  std::string name;
  std::string detail;  // of a family: its header; otherwise the routine
};

}  // namespace

// In the library's namespace, so that no name means the host C library's.
namespace tarn {

static std::vector<Row> rows() {
  return {
#define TARN_FAMILY(title, header) {Row::kFamily, title, header},
#define TARN_EXPORT(name, routine) {Row::kPlain, name, #routine},
#define TARN_EXPORT_C(name, routine) \
  {Row::kPlain, name, #routine},     \
      {Row::kNotation, notation::make<decltype(&routine)>(name).text, #routine},
#include "exports/export_rows.inc"
  };
}

}  // namespace tarn

namespace {

using tarn::rows;

std::vector<std::string> symbols(const char* path) {
  std::vector<std::string> found;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("#ROW ", 0) == 0) found.push_back(line.substr(5));
  }
  return found;
}

int print_def(const char* path) {
  const std::vector<std::string> linked = symbols(path);
  std::string text = "LIBRARY \"TARNLIBC64.DLL\"\nEXPORTS\n";
  std::size_t next = 0;
  for (const Row& row : rows()) {
    if (row.kind == Row::kFamily) continue;
    if (next == linked.size()) break;
    text += "\"" + row.name + "\" = " + linked[next++] + "\n";
  }
  text += "tarn_begin_reports @" + std::to_string(tarn::kBeginReportsOrdinal) + " NONAME\n";
  std::size_t expected = 0;
  for (const Row& row : rows()) expected += row.kind != Row::kFamily;
  if (linked.size() != expected) {
    std::fprintf(stderr, "export_list: %s lists %zu symbols for %zu rows\n", path, linked.size(),
                 expected);
    return 1;
  }
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() ? 0 : 1;
}

// The reference list is UTF-8: the byte 0xC4 is shown as the letter that it
// stands for in the Western code pages.
std::string shown(const std::string& name) {
  std::string text;
  for (const char c : name) {
    if (c == tarn::notation::kBlank) {
      text += "\xC3\x84";
    } else {
      text += c;
    }
  }
  return text;
}

int print_markdown() {
  std::size_t names = 0;
  for (const Row& row : rows()) names += row.kind != Row::kFamily;
  std::printf(
      "# Exported names\n\n"
      "Made from `src/exports/export_rows.inc` by `export_list --markdown`; do not edit.\n"
      "%zu names. A name with an argument list is for C++ callers; in it `\xC3\x84` shows the\n"
      "byte 0xC4, which replaces a space (rules: `src/exports/cxx_notation.h`).\n",
      names);
  for (const Row& row : rows()) {
    if (row.kind == Row::kFamily) {
      std::printf("\n## %s\n\nDocumented in `src/%s`.\n\n", row.name.c_str(), row.detail.c_str());
    } else {
      std::printf("- `%s`\n", shown(row.name).c_str());
    }
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "--def") == 0) return print_def(argv[2]);
  if (argc == 2 && std::strcmp(argv[1], "--markdown") == 0) return print_markdown();
  std::fprintf(stderr, "usage: export_list --def symbols.s | --markdown\n");
  return 2;
}
