// tarnrun: runs a program image on the host.
#include <stdio.h>
#include <string.h>

#include "exports/export_table.h"
#include "failure/start_faults.h"
#include "paneview/paneview_exports.h"
#include "platform/platform.h"
#include "platform/posix/base/base.h"
#include "platform/posix/loader/loader.h"
#include "platform/posix/processes/processes.h"

namespace {

namespace platform = tarn::platform;

constexpr char kHelp[] =
    "Usage: tarnrun PROGRAM.EXE [ARGUMENT...]\n"
    "\n"
    "Runs a program image that tarncc has made. PROGRAM.EXE is a path of this system, or\n"
    "one that begins with the drive Z:, which is the root folder; the .exe may be left\n"
    "out. Its DLLs are looked for in its own folder, in the current one and on PATH;\n"
    "TARNLIBC64.DLL and PANEVIEW64.DLL are part of tarnrun.\n"
    "\n"
    "  --command-line TEXT PROGRAM.EXE\n"
    "              run it with TEXT as its whole command line, as when another program\n"
    "              starts it\n"
    "  --help      print this\n"
    "  --version   print the version\n"
    "\n"
    "Exit status: the low 8 bits of the program's exit code, or 1 if these are 0 and the\n"
    "code is not; a program image that started this one receives all 32 bits.\n"
    "127 if there is no such file, 126 if the image cannot be run (none of its code has\n"
    "run), 2 for a wrong command line.\n";

constexpr int kWrongUsage = 2;
constexpr int kRefused = 126;
constexpr int kNotFound = 127;

constexpr platform::NativeLibrary kLibraries[] = {
    {"TARNLIBC64.DLL", &tarn::find_export, &tarn::find_export_name},
    {"PANEVIEW64.DLL", &paneview::find_export, nullptr},
};

int usage_error(const char* text, const char* argument) {
  platform::LoadError line;  // whose control bytes are made harmless
  platform::refuse(&line, "%s%s", text, argument);
  fprintf(stderr, "tarnrun: %s (try --help)\n", line.text);
  return kWrongUsage;
}

int refused(const char* program, const platform::LoadError& error) {
  platform::LoadError line;  // whose control bytes are made harmless
  platform::refuse(&line, "%s: %s", program, error.text);
  fprintf(stderr, "tarnrun: %s\n", line.text);
  return error.not_found ? kNotFound : kRefused;
}

// A program may be named without its extension, as on Windows.
bool load(const char* file, platform::LoadError* error) {
  if (platform::load_program(file, error)) return true;
  char with_extension[platform::kPathSize];
  const int length = snprintf(with_extension, sizeof with_extension, "%s.exe", file);
  const bool is_image = !error->not_found && !error->is_folder;
  if (is_image || length >= static_cast<int>(sizeof with_extension)) return false;
  platform::LoadError reason;
  if (platform::load_program(with_extension, &reason)) return true;
  if (!reason.not_found) *error = reason;
  return false;
}

// Of the program that is loaded. Returns only if it cannot be run. Without a command
// line it is made of the arguments.
int start(const char* program, char* command_line, int count, char** arguments) {
  platform::LoadError error;
  char path[platform::kPathSize + 2];
  platform::GetModuleFileNameA(nullptr, path, sizeof path);
  if (!command_line) command_line = platform::build_command_line(path, count, arguments);
  if (command_line) {
    platform::set_command_line(command_line);
    tarn::watch_start_up(false);
    platform::run_program(&error);
  } else {
    platform::refuse(&error, "there is not enough memory for its arguments");
  }
  return refused(program, error);
}

int run(char* program, char* command_line, int count, char** arguments) {
  platform::LoadError error;
  char host_path[platform::kPathSize];
  const char* file = program;
  if (platform::has_drive(program) && platform::to_host_path(program, host_path)) file = host_path;
  platform::offer_native_libraries(kLibraries, sizeof kLibraries / sizeof kLibraries[0]);
  if (!load(file, &error)) return refused(program, error);
  return start(program, command_line, count, arguments);
}

int run_carried(int count, char** arguments) {
  platform::LoadError error;
  platform::offer_native_libraries(kLibraries, sizeof kLibraries / sizeof kLibraries[0]);
  if (!platform::load_carried_program(&error)) return refused(arguments[0], error);
  return start(arguments[0], nullptr, count - 1, arguments + 1);
}

}  // namespace

int main(int count, char** arguments) {
  platform::take_exit_socket();
  if (count > 0 && platform::carries_program()) {
    const bool as_runner = count > 1 && strcmp(arguments[1], platform::kRunnerOption) == 0;
    if (!as_runner) return run_carried(count, arguments);
    --count;
    ++arguments;
  }
  if (count < 2) return usage_error("no program", "");
  char* const first = arguments[1];
  if (strcmp(first, "--help") == 0) {
    fputs(kHelp, stdout);
    return 0;
  }
  if (strcmp(first, "--version") == 0) {
    puts("tarnrun " TARN_VERSION);
    return 0;
  }
  if (strcmp(first, platform::kCommandLineOption) == 0) {
    if (count != 4) return usage_error(first, " takes a string, and after it only a program");
    return run(arguments[3], arguments[2], 0, nullptr);
  }
  if (first[0] == '-') return usage_error("unknown option ", first);
  return run(first, nullptr, count - 2, arguments + 2);
}
