// The command line that a program sees.

#include <fcntl.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/processes/processes.h"

namespace tarn::platform {
namespace {

constexpr std::size_t kMostArgumentBytes = std::size_t{16} << 20;  // the host takes fewer
constexpr std::size_t kQuotes = 3;  // around an argument, and the space before it

char* program_command_line;
char empty_line[1];
pthread_once_t once = PTHREAD_ONCE_INIT;

char* put_backslashes(char* to, std::size_t count) {
  memset(to, '\\', count);
  return to + count;
}

char* put_argument(char* to, const char* text, bool enclose) {
  const bool escape = enclose || strchr(text, '"') != nullptr;
  if (enclose) *to++ = '"';
  std::size_t backslashes = 0;  // in a row, just written
  for (; *text; ++text) {
    if (*text == '"' && escape) to = put_backslashes(to, backslashes + 1);
    backslashes = *text == '\\' ? backslashes + 1 : 0;
    *to++ = *text;
  }
  if (enclose) {
    to = put_backslashes(to, backslashes);
    *to++ = '"';
  }
  return to;
}

// All of the host's argument block, with a NUL after it.
char* read_arguments(std::size_t* size) {
  const int file = open("/proc/self/cmdline", O_RDONLY | O_CLOEXEC);
  if (file < 0) return nullptr;
  std::size_t room = 4096, used = 0;
  auto* bytes = static_cast<char*>(malloc(room));
  while (bytes && room <= kMostArgumentBytes) {
    const ssize_t got = read(file, bytes + used, room - used - 1);
    if (got <= 0) break;
    used += static_cast<std::size_t>(got);
    if (room - used > 1) continue;
    room *= 2;
    auto* const larger = static_cast<char*>(realloc(bytes, room));
    if (!larger) free(bytes);
    bytes = larger;
  }
  close(file);
  if (bytes) bytes[used] = '\0';
  *size = used;
  return bytes;
}

// Counts the arguments of a line and their characters, or writes them too.
struct WideSplit {
  char16_t** arguments;  // null: only counts
  char16_t* to;
  std::int32_t count = 0;
  std::size_t characters = 0;

  void begin() {
    if (arguments) arguments[count] = to + characters;
    ++count;
  }
  void put(char16_t character, std::size_t times = 1) {
    for (; times > 0; --times) {
      if (arguments) to[characters] = character;
      ++characters;
    }
  }

  // The program's name has no escapes, and ends with its quote.
  void take(const char16_t* line) {
    begin();
    const bool quoted = *line == u'"';
    if (quoted) ++line;
    for (; *line && !(quoted ? *line == u'"' : is_blank(*line)); ++line) put(*line);
    put(0);
    if (quoted && *line) ++line;
    for (;;) {
      while (is_blank(*line)) ++line;
      if (!*line) return;
      begin();
      line = take_one(line);
      put(0);
    }
  }

  // Two quotes within a quoted part are a plain one, and end the part.
  const char16_t* take_one(const char16_t* line) {
    bool quoted = false;
    for (; *line && (quoted || !is_blank(*line)); ++line) {
      std::size_t backslashes = 0;
      while (line[backslashes] == u'\\') ++backslashes;
      line += backslashes;
      if (*line != u'"') {
        put(u'\\', backslashes);
        if (backslashes > 0) {
          --line;
        } else {
          put(*line);
        }
        continue;
      }
      put(u'\\', backslashes / 2);
      if (backslashes % 2 != 0) {
        put(u'"');
      } else if (quoted && line[1] == u'"') {
        put(u'"');
        ++line;
        quoted = false;
      } else {
        quoted = !quoted;
      }
    }
    return line;
  }

  static bool is_blank(char16_t character) { return character == u' ' || character == u'\t'; }
};

// For a process without a program image, such as a unit test.
void make_host_command_line() {
  program_command_line = empty_line;
  std::size_t size = 0;
  char* const bytes = read_arguments(&size);
  if (!bytes) return;
  int count = 0;
  for (std::size_t i = 0; i < size; ++i) count += bytes[i] == '\0';
  auto** const arguments =
      static_cast<const char**>(malloc((static_cast<std::size_t>(count) + 1) * sizeof(char*)));
  char program[kPathSize + 2];
  if (arguments) {
    const char* next = bytes;
    for (int i = 0; i < count; ++i, next += strlen(next) + 1) arguments[i] = next;
    GetModuleFileNameA(nullptr, program, sizeof program);
    char* const line = build_command_line(program, count > 0 ? count - 1 : 0, arguments + 1);
    if (line) program_command_line = line;
  }
  free(arguments);
  free(bytes);
}

void make_missing_command_line() {
  if (!program_command_line) make_host_command_line();
}

}  // namespace

char* build_command_line(const char* program, int count, const char* const* arguments) {
  std::size_t size = strlen(program) * 2 + kQuotes;
  for (int i = 0; i < count; ++i) size += strlen(arguments[i]) * 2 + kQuotes;
  auto* const line = static_cast<char*>(malloc(size + 1));
  if (!line) return nullptr;
  char* to = put_argument(line, program, true);
  for (int i = 0; i < count; ++i) {
    const char* const text = arguments[i];
    *to++ = ' ';
    to = put_argument(to, text, *text == '\0' || strpbrk(text, " \t") != nullptr);
  }
  *to = '\0';
  return line;
}

void set_command_line(char* command_line) { program_command_line = command_line; }

char* GetCommandLineA() {
  pthread_once(&once, &make_missing_command_line);
  return program_command_line;
}

char16_t* GetCommandLineW() {
  static pthread_once_t wide_once = PTHREAD_ONCE_INIT;
  static char16_t empty_wide_line[1];
  static char16_t* wide_line = empty_wide_line;
  pthread_once(&wide_once, [] {
    const char* const line = GetCommandLineA();
    const std::size_t size = strlen(line) + 1;
    auto* const wide = static_cast<char16_t*>(malloc(size * sizeof(char16_t)));
    if (!wide) return;
    put_wide(line, wide, static_cast<std::uint32_t>(size));
    wide_line = wide;
  });
  return wide_line;
}

char16_t** CommandLineToArgvW(const char16_t* line, std::int32_t* count) {
  if (count == nullptr) {
    fail(kErrorInvalidParameter);
    return nullptr;
  }
  char path[kPathSize + 2];
  char16_t own[kPathSize + 4];
  if (*line == 0) {
    own[0] = u'"';  // it may have blanks
    GetModuleFileNameA(nullptr, path, sizeof path);
    put_wide(path, own + 1, kPathSize + 2);
    line = own;
  }
  WideSplit measured = {nullptr, nullptr};
  measured.take(line);
  const std::size_t table = (static_cast<std::size_t>(measured.count) + 1) * sizeof(char16_t*);
  auto** const arguments =
      static_cast<char16_t**>(LocalAlloc(0, table + measured.characters * sizeof(char16_t)));
  if (arguments == nullptr) return nullptr;
  WideSplit filled = {arguments, reinterpret_cast<char16_t*>(arguments + measured.count + 1)};
  filled.take(line);
  arguments[filled.count] = nullptr;
  *count = filled.count;
  return arguments;
}

}  // namespace tarn::platform
