// tarncc: from sources to a finished image in one command. It runs the cross
// compiler with the flags that programs of the library need, links with the
// start-up object and the import library, and finishes the image.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#ifdef _WIN32
#include <process.h>
#else
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

constexpr char kHelp[] =
    "tarncc [options] FILE... -o IMAGE\n"
    "\n"
    "Makes a program of C and C++ sources (.c .cpp .cc .cxx), assembly (.s .S),\n"
    "objects (.o .obj) and libraries (.a), and puts the library's DLLs beside it.\n"
    "Run it by `tarnrun IMAGE`, or on Windows by its name.\n"
    "\n"
    "  -o IMAGE       the image; by default a.exe\n"
    "  -c             compile only, each source to an object in the current folder\n"
    "                 or one source to -o\n"
    "  --dll          make a DLL, and its import library libNAME.dll.a beside it\n"
    "  --no-dlls      do not copy TARNLIBC64.DLL and PANEVIEW64.DLL\n"
    "  --verbose      print each command\n"
    "  --undefined-fill --require-avx --note --strip --public-routines\n"
    "                 as finish_image has them\n"
    "  --help, --version\n"
    "  -D -I -U -O -W -f -g -m -std= and their like go to the compiler,\n"
    "  -l -L -Wl, to the linker.\n"
    "\n"
    "The compiler is $TARN_CC, or else x86_64-w64-mingw32-gcc.\n"
    "Exit status: 0 if done, 1 if something was refused, 2 for a wrong command line.\n";

constexpr int kRefused = 1;
constexpr int kWrongUsage = 2;

constexpr const char* kFinishOptions[] = {"--undefined-fill", "--require-avx", "--note", "--strip",
                                          "--public-routines"};
constexpr const char* kDlls[] = {"TARNLIBC64.DLL", "PANEVIEW64.DLL"};

// Options of the compiler that take the next word as their value.
constexpr const char* kWithValue[] = {"-D",       "-I",      "-U",       "-include",
                                      "-imacros", "-iquote", "-isystem", "-idirafter",
                                      "-x",       "-MF",     "-MT",      "-MQ"};

#ifdef _WIN32
constexpr char kProgramSuffix[] = ".exe";
constexpr const char* kCompilers[] = {"x86_64-w64-mingw32-gcc", "gcc"};
constexpr char kPathSeparator = ';';
#else
constexpr char kProgramSuffix[] = "";
constexpr const char* kCompilers[] = {"x86_64-w64-mingw32-gcc", "x86_64-w64-mingw32-gcc-posix",
                                      "x86_64-w64-mingw32-gcc-win32"};
constexpr char kPathSeparator = ':';
#endif

struct Request {
  Words sources, parts, compiler_options, finish_options;
  std::string output;
  bool compile_only = false, dll = false, copy_dlls = true, verbose = false;
};

int usage_error(const std::string& text) {
  std::fprintf(stderr, "tarncc: %s (try --help)\n", text.c_str());
  return kWrongUsage;
}

int refuse(const std::string& text) {
  std::fprintf(stderr, "tarncc: %s\n", text.c_str());
  return kRefused;
}

template <class List>
bool holds(const List& list, const std::string& word) {
  return std::find(std::begin(list), std::end(list), word) != std::end(list);
}

// ---- Running other programs -------------------------------------------------

bool can_run(const fs::path& file) {
  std::error_code ignored;
#ifdef _WIN32
  return fs::is_regular_file(file, ignored);
#else
  return fs::is_regular_file(file, ignored) && access(file.c_str(), X_OK) == 0;
#endif
}

fs::path found_on_path(const std::string& name) {
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
#endif

// Whether the program did its work. Of one that ended in order without, it says
// nothing: the program has.
bool run(const Words& words, bool verbose) {
  if (verbose) {
    for (const std::string& word : words) std::fprintf(stderr, "%s ", word.c_str());
    std::fputc('\n', stderr);
  }
#ifdef _WIN32
  Words quotes;
  for (const std::string& word : words) quotes.push_back(quoted(word));
  std::vector<const char*> arguments;
  for (const std::string& word : quotes) arguments.push_back(word.c_str());
  arguments.push_back(nullptr);
  const auto status = _spawnv(_P_WAIT, words[0].c_str(), arguments.data());
  if (status == -1) refuse("cannot run " + words[0] + ": " + std::strerror(errno));
  return status == 0;
#else
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  pid_t child = 0;
  const int error =
      posix_spawn(&child, words[0].c_str(), nullptr, nullptr, arguments.data(), environ);
  if (error != 0) {
    refuse("cannot run " + words[0] + ": " + std::strerror(error));
    return false;
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return false;
  }
  if (WIFSIGNALED(status))
    refuse(words[0] + " was ended by signal " + std::to_string(WTERMSIG(status)));
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
#endif
}

// ---- Where the library is ---------------------------------------------------

struct Places {
  fs::path include, parts, finish_image, compiler;
};

fs::path own_file(const char* argument) {
#ifdef _WIN32
  return _pgmptr && *_pgmptr ? fs::path(_pgmptr) : fs::path(argument);
#else
  std::error_code error;
  const fs::path file = fs::read_symlink("/proc/self/exe", error);
  return error ? fs::path(argument) : file;
#endif
}

// An empty text, or what is missing.
std::string find_places(const char* argument, Places* places) {
  const fs::path tools = own_file(argument).parent_path();
  const fs::path prefix = tools.parent_path();
  places->include = prefix / "include" / "tarnlib";
  places->parts = prefix / "lib" / "tarnlib";
  places->finish_image = tools / (std::string("finish_image") + kProgramSuffix);
  for (const fs::path& file :
       {places->include / "stdio.h", places->parts / "libtarnlibc64.dll.a",
        places->parts / "program_start.o", places->parts / "program_flags", places->finish_image}) {
    std::error_code ignored;
    if (!fs::is_regular_file(file, ignored)) {
      return "the installation lacks " + file.string() +
             "; install both the host and the windows build into one prefix";
    }
  }
  if (const char* const wanted = std::getenv("TARN_CC"); wanted && *wanted) {
    places->compiler = found_on_path(wanted);
    if (places->compiler.empty())
      return "there is no compiler " + std::string(wanted) + " (TARN_CC)";
    return {};
  }
  for (const char* const name : kCompilers) {
    places->compiler = found_on_path(name);
    if (!places->compiler.empty()) return {};
  }
  return "there is no x86_64-w64-mingw32-gcc on PATH; install gcc-mingw-w64-x86-64, or name a "
         "compiler in TARN_CC";
}

// ---- The three steps ----------------------------------------------------------

// Objects of one run, in a folder of their own that goes with it.
struct Scratch {
  fs::path folder;
  Scratch() {
#ifdef _WIN32
    const int process = _getpid();
#else
    const int process = getpid();
#endif
    std::error_code error;
    for (int i = 0; i < 100 && folder.empty(); ++i) {
      const fs::path wanted = fs::temp_directory_path(error) /
                              ("tarncc." + std::to_string(process) + "." + std::to_string(i));
      if (!error && fs::create_directory(wanted, error)) folder = wanted;
    }
  }
  ~Scratch() {
    std::error_code ignored;
    if (!folder.empty()) fs::remove_all(folder, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
};

bool is_cpp(const std::string& source) {
  const std::string extension = fs::path(source).extension().string();
  return extension == ".cpp" || extension == ".cc" || extension == ".cxx";
}

int compile(const Request& request, const Places& places, const std::string& source,
            const fs::path& object) {
  Words words = {places.compiler.string(), "@" + (places.parts / "program_flags").string()};
  if (is_cpp(source)) words.push_back("@" + (places.parts / "program_flags_cpp").string());
  words.push_back("-I" + places.include.string());
  words.insert(words.end(), request.compiler_options.begin(), request.compiler_options.end());
  words.insert(words.end(), {"-c", source, "-o", object.string()});
  return run(words, request.verbose) ? 0 : kRefused;
}

std::string import_library(const Request& request) {
  return "lib" + fs::path(request.output).stem().string() + ".dll.a";
}

// A DLL's import library comes to lie beside `unfinished`.
int link(const Request& request, const Places& places, const Words& objects,
         const fs::path& unfinished) {
  Words words = {places.compiler.string(),    "-nostdlib",
                 "-Wl,-e,__BrackenStartup",   "-Wl,--dynamicbase",
                 "-Wl,--disable-auto-import", (places.parts / "program_start.o").string()};
  words.insert(words.end(), objects.begin(), objects.end());
  words.insert(words.end(), request.parts.begin(), request.parts.end());
  if (request.dll) {
    // The name that importers see is the image's, not that of the linker's output.
    const fs::path definition = unfinished.parent_path() / "exports.def";
    FILE* const file = std::fopen(definition.string().c_str(), "w");
    if (!file) return refuse("cannot write " + definition.string());
    const std::string name = fs::path(request.output).filename().string();
    const bool written = std::fprintf(file, "LIBRARY \"%s\"\nEXPORTS\ntarn_end_of_image PRIVATE\n",
                                      name.c_str()) > 0;
    if (std::fclose(file) != 0 || !written) return refuse("cannot write " + definition.string());
    const fs::path import = unfinished.parent_path() / import_library(request);
    words.insert(words.end(), {"-shared", "-Wl,--exclude-all-symbols",
                               "-Wl,--out-implib," + import.string(), definition.string()});
  }
  words.insert(words.end(), {"-Wl,--start-group", (places.parts / "libtarnlibc64.dll.a").string(),
                             (places.parts / "libprogram_support.a").string(), "-lgcc",
                             "-lkernel32", "-Wl,--end-group", "-o", unfinished.string()});
  return run(words, request.verbose) ? 0 : kRefused;
}

int finish(const Request& request, const Places& places, const fs::path& unfinished) {
  Words words = {places.finish_image.string()};
  if (request.dll) words.push_back("--dll");
  words.insert(words.end(), request.finish_options.begin(), request.finish_options.end());
  words.insert(words.end(), {unfinished.string(), "-o", request.output});
  return run(words, request.verbose) ? 0 : kRefused;
}

int put_beside_image(const Request& request, const fs::path& file, fs::copy_options option) {
  std::error_code error;
  const fs::path name = file.filename();
  fs::copy_file(file, fs::path(request.output).parent_path() / name, option, error);
  return error ? refuse("cannot put " + name.string() + " beside the image: " + error.message())
               : 0;
}

int make(Request& request, const Places& places) {
  const Scratch scratch;
  if (scratch.folder.empty()) return refuse("there is no folder for temporary files");
  Words objects;
  for (std::size_t i = 0; i < request.sources.size(); ++i) {
    const fs::path source = request.sources[i];
    fs::path object = scratch.folder / (std::to_string(i) + ".o");
    if (request.compile_only) {
      object = request.output.empty() ? fs::path(source).filename().replace_extension(".o")
                                      : fs::path(request.output);
    }
    if (const int status = compile(request, places, source.string(), object)) return status;
    objects.push_back(object.string());
  }
  if (request.compile_only) return 0;
  if (request.output.empty()) request.output = request.dll ? "a.dll" : "a.exe";
  const fs::path unfinished = scratch.folder / (request.dll ? "unfinished.dll" : "unfinished.exe");
  if (const int status = link(request, places, objects, unfinished)) return status;
  if (const int status = finish(request, places, unfinished)) return status;
  if (request.dll) {
    const fs::path import = scratch.folder / import_library(request);
    constexpr auto kReplace = fs::copy_options::overwrite_existing;
    if (const int status = put_beside_image(request, import, kReplace)) return status;
  }
  if (!request.copy_dlls) return 0;
  // Where Windows looks first. A file that is already there and as new stays.
  for (const char* const name : kDlls) {
    constexpr auto kUpdate = fs::copy_options::update_existing;
    if (const int status = put_beside_image(request, places.parts / name, kUpdate)) return status;
  }
  return 0;
}

// An empty text, or what is wrong with the command line.
std::string read_arguments(int count, char** arguments, Request* request) {
  constexpr const char* kSources[] = {".c", ".cpp", ".cc", ".cxx", ".s", ".S"};
  constexpr const char* kParts[] = {".o", ".obj", ".a"};
  for (int i = 1; i < count; ++i) {
    const std::string word = arguments[i];
    if (word == "-o") {
      if (++i == count) return "no file behind -o";
      request->output = arguments[i];
    } else if (word == "-c") {
      request->compile_only = true;
    } else if (word == "--dll") {
      request->dll = true;
    } else if (word == "--no-dlls") {
      request->copy_dlls = false;
    } else if (word == "--verbose") {
      request->verbose = true;
    } else if (holds(kFinishOptions, word)) {
      request->finish_options.push_back(word);
    } else if (word.starts_with("--")) {
      return "unknown option " + word;
    } else if (word.starts_with("-l") || word.starts_with("-L") || word.starts_with("-Wl,")) {
      request->parts.push_back(word);
    } else if (word.starts_with("-")) {
      request->compiler_options.push_back(word);
      if (holds(kWithValue, word)) {
        if (++i == count) return "no value behind " + word;
        request->compiler_options.push_back(arguments[i]);
      }
    } else {
      const std::string extension = fs::path(word).extension().string();
      std::error_code ignored;
      if (!holds(kSources, extension) && !holds(kParts, extension)) {
        return word + ": not a file that tarncc takes";
      }
      if (!fs::is_regular_file(word, ignored)) return word + ": there is no such file";
      (holds(kSources, extension) ? request->sources : request->parts).push_back(word);
    }
  }
  if (request->sources.empty() && (request->compile_only || request->parts.empty())) {
    return "no source";
  }
  if (request->compile_only && !request->output.empty() && request->sources.size() > 1) {
    return "-c with -o takes one source";
  }
  for (const Words* const files : {&request->sources, &request->parts}) {
    for (const std::string& file : *files) {
      std::error_code ignored;
      if (fs::equivalent(file, request->output, ignored)) {
        return file + ": would be overwritten by the output";
      }
    }
  }
  return {};
}

}  // namespace

int main(int count, char** arguments) {
  for (int i = 1; i < count; ++i) {
    if (std::strcmp(arguments[i], "--help") == 0) {
      std::fputs(kHelp, stdout);
      return 0;
    }
    if (std::strcmp(arguments[i], "--version") == 0) {
      std::puts("tarncc " TARN_VERSION);
      return 0;
    }
  }
  Request request;
  if (const std::string wrong = read_arguments(count, arguments, &request); !wrong.empty()) {
    return usage_error(wrong);
  }
  Places places;
  if (const std::string missing = find_places(arguments[0], &places); !missing.empty()) {
    return refuse(missing);
  }
  return make(request, places);
}
