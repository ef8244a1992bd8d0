#include "platform/posix/processes/program_start.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/loader/loader.h"
#include "platform/posix/processes/processes.h"

namespace tarn::platform {
namespace {

constexpr char kBlanks[] = " \t";
constexpr char kShell[] = "/bin/sh";
constexpr char kExtension[] = ".exe";
constexpr std::size_t kMostPathText = 10 * kPathSize;  // two, of quotes that take four bytes each
constexpr std::size_t kMostAdded = 5;  // arguments that this file adds itself, null included

bool is_blank(char c) { return c == ' ' || c == '\t'; }

// The magic of an image's file.
bool is_image(const char* host_path) {
  const int file = open(host_path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  char magic[2];
  const bool image = file >= 0 && read(file, magic, sizeof magic) == sizeof magic &&
                     magic[0] == 'M' && magic[1] == 'Z';
  if (file >= 0) close(file);
  return image;
}

bool can_start(const char* host_path) {
  struct stat facts;
  return stat(host_path, &facts) == 0 && S_ISREG(facts.st_mode) &&
         (access(host_path, X_OK) == 0 || is_image(host_path));
}

bool find_in_folder(const char* name, char (&found)[kPathSize]) {
  char host[kPathSize];
  if (!to_host_path(name, host)) return false;
  // Nothing that begins a path is an option.
  const int length = snprintf(found, kPathSize, "%s%s", host[0] == '/' ? "" : "./", host);
  if (length >= static_cast<int>(kPathSize)) {
    fail(kErrorFileNameTooLong);
    return false;
  }
  struct stat facts;
  if (stat(found, &facts) != 0) {
    fail_on_path(found);
    return false;
  }
  if (can_start(found)) return true;
  fail(kErrorAccessDenied);
  return false;
}

// Names the file from the root, as the child may begin in another folder.
bool make_whole(char (&path)[kPathSize]) {
  char folder[kPathSize], name[kPathSize];
  if (path[0] == '/') return true;
  if (!getcwd(folder, sizeof folder)) return fail_by_errno();
  strcpy(name, strncmp(path, "./", 2) == 0 ? path + 2 : path);
  if (snprintf(path, kPathSize, "%s/%s", folder, name) < static_cast<int>(kPathSize)) return true;
  return fail(kErrorFileNameTooLong);
}

bool find_by_name(const char* name, char (&found)[kPathSize]) {
  char host[kPathSize];
  if (!translate_path(name, host)) return false;
  if (find_to_start(host, &can_start, found)) return true;
  fail(kErrorFileNotFound);
  return false;
}

bool find_program(const char* name, std::size_t length, char (&found)[kPathSize]) {
  char full[kPathSize];
  if (length == 0) {
    fail(kErrorFileNotFound);
    return false;
  }
  if (length + sizeof kExtension > sizeof full) {
    fail(kErrorFileNameTooLong);
    return false;
  }
  memcpy(full, name, length);
  full[length] = '\0';
  const char* const base = base_name(full);
  const auto find = base > full ? &find_in_folder : &find_by_name;
  if (!strchr(base, '.')) {
    memcpy(full + length, kExtension, sizeof kExtension);
    if (find(full, found)) return true;
    full[length] = '\0';
  }
  return find(full, found);
}

// Length of the name that begins `line`, and where its arguments begin.
struct Name {
  const char* text;
  std::size_t length;
  const char* rest;
};

Name quoted_name(const char* line) {
  const std::size_t length = strcspn(line + 1, "\"");
  const char* const end = line + 1 + length;
  return {line + 1, length, *end ? end + 1 : end};
}

// The last error stays that of the shortest name.
bool find_named(const char* line, Name* name, char (&found)[kPathSize]) {
  if (*line == '"') {
    *name = quoted_name(line);
    return find_program(name->text, name->length, found);
  }
  std::uint32_t first_error = 0;
  for (std::size_t length = 0; line[length];) {
    length += strspn(line + length, kBlanks);
    if (!line[length]) break;
    length += strcspn(line + length, kBlanks);
    *name = {line, length, line + length};
    if (find_program(line, length, found)) return true;
    if (!first_error) first_error = GetLastError();
  }
  SetLastError(first_error);
  return false;
}

Name first_word(const char* line, const char* end) {
  if (*line == '"') return quoted_name(line);
  const std::size_t length = strcspn(line, end);
  return {line, length, line + length};
}

// What comes after "cmd /c", or null. The application, if there is one, is cmd as well.
const char* shell_text(const char* application, const char* line) {
  const Name name = first_word(line, kBlanks);
  const char* const program = application ? base_name(application) : name.text;
  const std::size_t length = application ? strlen(program) : name.length;
  const bool is_cmd = (length == 3 && strncasecmp(program, "cmd", 3) == 0) ||
                      (length == 7 && strncasecmp(program, "cmd.exe", 7) == 0);
  const char* const option = name.rest + strspn(name.rest, kBlanks);
  return is_cmd && strncasecmp(option, "/c", 2) == 0 ? option + 2 : nullptr;
}

char* put_quoted(char* to, const char* text) {
  *to++ = '\'';
  for (; *text; ++text) {
    if (*text == '\'') to = stpcpy(to, "'\\'");
    *to++ = *text;
  }
  *to++ = '\'';
  return to;
}

// Writes what the shell is to run. The command processor of Windows removes
// double quotes around a command that begins with a quoted name. The shell does
// not know a program image, or a path in Windows form, at the beginning: it is
// replaced by what the host calls it. A shell whose only command is an image
// becomes that image, and so has its whole exit code. Result: whether the
// command runs an image, as far as is known.
bool put_shell_command(char* to, const char* text) {
  constexpr char kEndOfWord[] = " \t<>|&;";
  constexpr char kBetweenCommands[] = "|&;()`\n";
  char runner[kPathSize], found[kPathSize];
  text += strspn(text, kBlanks);
  const std::size_t size = strlen(text);
  const bool enclosed = size > 3 && strncmp(text, "\"\"", 2) == 0 && text[size - 1] == '"';
  if (enclosed) ++text;
  const Name name = first_word(text, kEndOfWord);
  bool image = false;
  const bool is_path = memchr(name.text, '\\', name.length) || memchr(name.text, ':', name.length);
  if (find_program(name.text, name.length, found)) {
    const bool is_program = is_image(found);
    image = is_program && has_program();
    const ssize_t length = readlink("/proc/self/exe", runner, sizeof runner - 1);
    runner[length > 0 ? length : 0] = '\0';
    if (image && !strpbrk(name.rest, kBetweenCommands)) to = stpcpy(to, "exec ");
    if (image) to = stpcpy(put_quoted(to, runner), " ");
    if (image && carries_program()) to = stpcpy(stpcpy(to, kRunnerOption), " ");
    if (image || (is_path && !is_program)) {
      to = put_quoted(to, found);
      text = name.rest;
    }
  }
  strcpy(to, text);
  if (enclosed) to[strlen(to) - 1] = '\0';
  return image;
}

char* put(char* to, const char* text) { return stpcpy(to, text) + 1; }

// The strings come after the pointers, one by one.
bool set_arguments(HostCommand* command, char* texts, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i, texts += strlen(texts) + 1) command->arguments[i] = texts;
  command->arguments[count] = nullptr;
  return true;
}

}  // namespace

std::size_t split_arguments(const char* text, char* to) {
  std::size_t count = 0;
  for (;;) {
    text += strspn(text, kBlanks);
    if (!*text) return count;
    bool quoted = false;
    while (*text && (quoted || !is_blank(*text))) {
      const std::size_t backslashes = strspn(text, "\\");
      text += backslashes;
      const bool at_quote = *text == '"';
      const std::size_t kept = at_quote ? backslashes / 2 : backslashes;
      memset(to, '\\', kept);
      to += kept;
      if (at_quote && (backslashes % 2 == 1 || (quoted && text[1] == '"'))) {
        text += backslashes % 2 == 1 ? 1 : 2;
        *to++ = '"';
      } else if (at_quote) {
        ++text;
        quoted = !quoted;
      } else if (backslashes == 0) {
        *to++ = *text++;
      }
    }
    *to++ = '\0';
    ++count;
  }
}

bool read_command(const char* application, const char* command_line, HostCommand* command) {
  const char* const line = command_line + strspn(command_line, kBlanks);
  const std::size_t length = strlen(command_line);
  if (length >= kCommandLineSize) {
    fail(kErrorFileNameTooLong);
    return false;
  }
  const char* const text = shell_text(application, line);
  Name name = first_word(line, kBlanks);
  bool image = false;
  if (text) {
    snprintf(command->path, sizeof command->path, "%s", kShell);
  } else {
    if (application ? !find_in_folder(application, command->path)
                    : !find_named(line, &name, command->path)) {
      return false;
    }
    if (!make_whole(command->path)) return false;
    image = is_image(command->path);
    // Refuses what the runner would refuse, before anything is started.
    if (image && !is_finished_program(command->path)) {
      fail(kErrorBadExeFormat);
      return false;
    }
    if (image && !has_program()) {
      fail(kErrorFileNotFound);
      return false;
    }
  }

  const std::size_t pointers = (length / 2 + kMostAdded + 1) * sizeof(char*);
  const std::size_t most_text =
      length + kMostPathText + sizeof kCommandLineOption + sizeof kRunnerOption;
  command->arguments = static_cast<char**>(malloc(pointers + most_text));
  if (!command->arguments) {
    fail(kErrorNotEnoughMemory);
    return false;
  }
  char* const texts = reinterpret_cast<char*>(command->arguments) + pointers;
  if (text) {
    // The space keeps a command that begins with '-' from being taken for an
    // option.
    char* const to = put(put(texts, command->path), "-c");
    *to = ' ';
    command->runs_image = put_shell_command(to + 1, text);
    return set_arguments(command, texts, 3);
  }
  command->runs_image = image;
  if (image) {
    char* to = put(texts, "tarnrun");
    if (carries_program()) to = put(to, kRunnerOption);
    put(put(put(to, kCommandLineOption), command_line), command->path);
    strcpy(command->path, "/proc/self/exe");
    return set_arguments(command, texts, carries_program() ? 5 : 4);
  }
  memcpy(texts, name.text, name.length);
  texts[name.length] = '\0';
  return set_arguments(command, texts, 1 + split_arguments(name.rest, texts + name.length + 1));
}

}  // namespace tarn::platform
