// The command line split as C programs on Windows do it: blanks and tabs part
// arguments; a quote opens or closes a part in which they do not; 2n backslashes
// before a quote are n of them, and 2n + 1 are n and a plain quote; backslashes
// elsewhere are themselves. In a quoted part two quotes are one plain quote. The
// program's own name has no escapes.
#include "arguments.h"

#include <stdlib.h>
#include <string.h>

#include "../crt.h"

#undef __p___argv

namespace crt {

int argument_count;
char** argument_vector;

}  // namespace crt

extern "C" {
int* __p___argc(void) { return &crt::argument_count; }
char*** __p___argv(void) { return &crt::argument_vector; }
}

namespace {

bool is_blank(char character) { return character == ' ' || character == '\t'; }

// Writes the strings to `to`, if it is not null, and counts them and their bytes.
struct Split {
  char** strings;
  char* to;
  int count = 0;
  size_t bytes = 0;

  void begin() {
    if (strings) strings[count] = to + bytes;
    ++count;
  }
  void add(char character) {
    if (to) to[bytes] = character;
    ++bytes;
  }

  void take(const char* line) {
    begin();
    bool quoted = false;
    for (; *line && (quoted || !is_blank(*line)); ++line) {
      if (*line == '"') {
        quoted = !quoted;
      } else {
        add(*line);
      }
    }
    add('\0');
    for (;;) {
      while (is_blank(*line)) ++line;
      if (!*line) return;
      begin();
      line = take_one(line);
      add('\0');
    }
  }

  const char* take_one(const char* line) {
    bool quoted = false;
    while (*line && (quoted || !is_blank(*line))) {
      const size_t slashes = strspn(line, "\\");
      line += slashes;
      if (*line != '"') {
        for (size_t i = 0; i < slashes; ++i) add('\\');
        if (slashes == 0) add(*line++);
        continue;
      }
      for (size_t i = 0; i < slashes / 2; ++i) add('\\');
      if (slashes % 2 == 1) {
        add('"');
      } else if (quoted && line[1] == '"') {
        add('"');
        ++line;
      } else {
        quoted = !quoted;
      }
      ++line;
    }
    return line;
  }
};

__attribute__((constructor(101))) void read_arguments() {
  const char* const line = GetCommandLineA();
  Split measured = {nullptr, nullptr};
  measured.take(line);
  char** const strings =
      static_cast<char**>(malloc((measured.count + 1) * sizeof(char*) + measured.bytes));
  if (!strings) abort();
  Split filled = {strings, reinterpret_cast<char*>(strings + measured.count + 1)};
  filled.take(line);
  strings[filled.count] = nullptr;
  crt::argument_count = filled.count;
  crt::argument_vector = strings;
}

}  // namespace
