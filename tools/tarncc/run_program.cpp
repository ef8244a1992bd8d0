#include "run_program.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "messages.h"
#include "tools/read_file.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <sys/stat.h>
#else
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;

#ifdef _WIN32
constexpr char kPathSeparator = ';';
#else
constexpr char kPathSeparator = ':';
#endif

// Well within what every system takes.
constexpr std::size_t kLongestCommand = 30000;

constexpr int kEndingSignals[] = {
    SIGINT,
    SIGTERM,
#ifndef _WIN32
    SIGHUP,
#endif
};

volatile std::sig_atomic_t interrupted_by;
#ifndef _WIN32
volatile std::sig_atomic_t running;  // the program that runs, or 0
#endif

void interrupt(int signal) {
  interrupted_by = signal;
#ifndef _WIN32
  if (running != 0) kill(static_cast<pid_t>(running), signal);
#endif
}

bool can_run(const fs::path& file) {
  std::error_code ignored;
#ifdef _WIN32
  return fs::is_regular_file(file, ignored);
#else
  return fs::is_regular_file(file, ignored) && access(file.c_str(), X_OK) == 0;
#endif
}

// Quoted as in a response file.
std::string escaped(const std::string& word) {
  std::string text = "\"";
  for (const char c : word) {
    if (c == '"' || c == '\\') text += '\\';
    text += c;
  }
  return text + "\"\n";
}

// The words, or the program and a response file of the rest.
Words fit_to_system(const Words& words, const RunOptions& options) {
  std::size_t length = 0;
  for (const std::string& word : words) length += word.size() + 3;
  if (length <= kLongestCommand || options.scratch.empty()) return words;
  const std::string name = (options.scratch / "command").string();
  FILE* const file = std::fopen(name.c_str(), "wb");
  bool written = file != nullptr;
  for (std::size_t i = 1; i < words.size() && written; ++i) {
    written = std::fputs(escaped(words[i]).c_str(), file) >= 0;
  }
  if (file) written = std::fclose(file) == 0 && written;
  return written ? Words{words[0], "@" + name} : words;
}

#ifdef _WIN32
// The run-time puts the words into one command line as they are.
std::string quoted(const std::string& word) {
  if (!word.empty() && word.find_first_of(" \t\"") == std::string::npos) return word;
  std::string text = "\"";
  std::size_t backslashes = 0;
  for (const char c : word) {
    if (c == '"') text.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    text += c;
  }
  return text.append(backslashes, '\\') + '"';
}

int spawn_and_wait(const Words& words, const fs::path& messages) {
  Words quotes;
  for (const std::string& word : words) quotes.push_back(quoted(word));
  std::vector<const char*> arguments;
  for (const std::string& word : quotes) arguments.push_back(word.c_str());
  arguments.push_back(nullptr);
  int own = -1;
  if (!messages.empty()) {
    own = _dup(2);
    const int file = _open(messages.string().c_str(), _O_WRONLY | _O_CREAT | _O_TRUNC | _O_BINARY,
                           _S_IREAD | _S_IWRITE);
    if (file >= 0) {
      _dup2(file, 2);
      _close(file);
    }
  }
  const auto status = _spawnv(_P_WAIT, words[0].c_str(), arguments.data());
  const int error = errno;
  if (own >= 0) {
    _dup2(own, 2);
    _close(own);
  }
  if (status == -1) return refuse("cannot run " + words[0] + ": " + std::strerror(error));
  return static_cast<int>(status);
}
#else
int start(const Words& words, const fs::path& messages, pid_t* child) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (!messages.empty()) {
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, messages.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
  }
  // A signal that comes before the child is known waits until it is.
  sigset_t ending, before;
  sigemptyset(&ending);
  for (const int signal : kEndingSignals) sigaddset(&ending, signal);
  sigprocmask(SIG_BLOCK, &ending, &before);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigmask(&attributes, &before);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  const int error =
      posix_spawn(child, words[0].c_str(), &actions, &attributes, arguments.data(), environ);
  if (error == 0) running = *child;
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  sigprocmask(SIG_SETMASK, &before, nullptr);
  return error;
}

int spawn_and_wait(const Words& words, const fs::path& messages) {
  pid_t child = 0;
  const int error = start(words, messages, &child);
  if (error != 0) return refuse("cannot run " + words[0] + ": " + std::strerror(error));
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return refuse("cannot wait for " + words[0] + ": " + std::strerror(errno));
  }
  running = 0;
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (is_interrupted()) return kRefused;
  return refuse(words[0] + " was ended by signal " + std::to_string(WTERMSIG(status)));
}
#endif

}  // namespace

fs::path find_program(const std::string& name) {
  if (name.find_first_of("/\\") != std::string::npos) {
    return can_run(name) ? fs::path(name) : fs::path();
  }
  const char* const path = std::getenv("PATH");
  const std::string all = path ? path : "";
  for (std::size_t at = 0; at <= all.size();) {
    const std::size_t end = std::min(all.find(kPathSeparator, at), all.size());
    const fs::path file = fs::path(all.substr(at, end - at)) / (name + kProgramSuffix);
    if (end > at && can_run(file)) return file;
    at = end + 1;
  }
  return {};
}

void hold_signals() {
  for (const int signal : kEndingSignals) {
    if (std::signal(signal, interrupt) == SIG_IGN) std::signal(signal, SIG_IGN);
  }
}

bool is_interrupted() { return interrupted_by != 0; }

void end_by_signal() {
  const int signal = interrupted_by;
  std::signal(signal, SIG_DFL);
  std::raise(signal);
  std::exit(kRefused);
}

int run_program(const Words& words, const RunOptions& options) {
  if (is_interrupted()) return kRefused;
  if (options.print || options.only_print) {
    for (const std::string& word : words) std::fprintf(stderr, "%s ", printable(word).c_str());
    std::fputc('\n', stderr);
  }
  if (options.only_print) return kDone;
  return spawn_and_wait(fit_to_system(words, options), options.messages);
}

std::string text_of(const std::filesystem::path& name) {
  std::string text;
  if (read_file(name.string(), &text)) text.clear();
  return text;
}
