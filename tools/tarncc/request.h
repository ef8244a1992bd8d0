// What a command line asks for.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

using Words = std::vector<std::string>;

// Where the work ends.
enum class Goal {
  kImage,
  kObjects,       // -c
  kAssembly,      // -S
  kPreprocessed,  // -E
  kDependencies,  // -M, -MM
  kCheck,         // -fsyntax-only
};

// A source, or a word for the linker: a file, a library or an option. They keep
// their order, which matters to the linker.
struct Input {
  std::string word;
  bool is_source;
  std::string language;  // of a source: what -x says, or nothing
};

struct Request {
  Goal goal = Goal::kImage;
  std::vector<Input> inputs;
  Words compiler_options, finish_options;
  Words fortran_options;  // those for Fortran sources
  std::string output;
  std::string standalone;  // also the program that carries the runner; empty: none
  bool dll = false, copy_dlls = true;
  bool hosted = false;       // against the compiler's own headers and libraries
  bool suite = false;        // C++ in the library's own way, without its standard library
  bool report_only = false;  // an ordinary program, with the report
  bool traps = false;        // of a hosted program: with the library's floating-point traps
  bool fortran = false;      // linked with Fortran's run-time, hosted unless report_only
  bool legacy = false;       // Fortran sources mean what old compilers made of them
  bool openmp = false;
  bool link_time_optimisation = false;
  std::string stack;  // bytes that the main thread's stack may have; empty: the usual ones
  bool verbose = false, only_print = false;
  // A query to the compiler, such as -dumpmachine: its words; nothing is made.
  Words question;
  bool help = false, version = false;
};

inline constexpr char kStandardInput[] = "-";

// Automatic arrays and temporaries of Fortran programs are often large; only what is
// used takes memory.
inline constexpr std::uint64_t kFortranStack = std::uint64_t{64} << 20;

// The main thread's stack in bytes; 0 for the linker's own, or if what was stated is
// not a size.
std::uint64_t stack_size(const Request& request);

int source_count(const Request& request);
bool is_cpp(const Input& source);
// Whether a source, an object or an archive is C++ (an object, if it has to do with
// exceptions).
bool has_cpp(const Request& request);
bool is_fortran(const Input& source);
// Whether a word for the linker is -lNAME, or the import library's file.
bool names_library(const std::string& word, const std::string& name);
// Whether an object, or an input that is one or an archive of them, declares exports.
bool has_exports(const std::string& object);
bool has_exports(const Input& input);

// `words` with each @FILE replaced by what the file holds. A message if a file
// cannot be read.
std::string expand_response_files(Words* words);

// Fills `request`; kDone, or the status after a message.
int read_command_line(const Words& words, Request* request);
