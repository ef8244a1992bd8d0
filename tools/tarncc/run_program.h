// Other programs: found, run, and ended with this one.
#pragma once

#include <filesystem>

#include "request.h"

#ifdef _WIN32
inline constexpr char kProgramSuffix[] = ".exe";
#else
inline constexpr char kProgramSuffix[] = "";
#endif

// The file of that name: with a folder as it is, else on PATH. Empty if there
// is none that can be run.
std::filesystem::path find_program(const std::string& name);

// From now on SIGINT, SIGTERM and SIGHUP end the program that runs, and none
// starts after it, so that the caller can tidy up and call end_by_signal.
void hold_signals();
bool is_interrupted();
[[noreturn]] void end_by_signal();

struct RunOptions {
  bool print = false;       // the command, on standard error
  bool only_print = false;  // and nothing more
  // Where a command line too long for the system is put.
  std::filesystem::path scratch;
  // Where what the program says on standard error goes; empty: to the user.
  std::filesystem::path messages;
};

// The program's status; kRefused after a message if it could not be run or was
// ended by a signal.
int run_program(const Words& words, const RunOptions& options);

// What a program has said into a file; empty if there is none.
std::string text_of(const std::filesystem::path& name);
