#include <algorithm>
#include <cstdio>
#include <sstream>

#include "messages.h"
#include "steps.h"

namespace {

namespace fs = std::filesystem;

// The name that importers see is the image's, not that of the linker's output;
// and the end of the program finds the DLL's static destructors by this export.
bool write_definition(const fs::path& definition, const std::string& image) {
  FILE* const file = std::fopen(definition.string().c_str(), "w");
  if (!file) return false;
  const bool written =
      std::fprintf(file, "LIBRARY \"%s\"\nEXPORTS\ntarn_end_of_image PRIVATE\n", image.c_str()) > 0;
  return std::fclose(file) == 0 && written;
}

void add_stack_size(const Request& request, Words* words) {
  if (const std::uint64_t size = stack_size(request)) {
    words->push_back("-Wl,--stack," + std::to_string(size));
  }
}

// The compiler that links the libraries of its language by itself; that of C++ is beside
// the other, named as it is.
std::string linking_compiler(const Job& job) {
  const std::vector<Input>& inputs = job.request.inputs;
  const bool has_cpp = std::any_of(inputs.begin(), inputs.end(), [](const Input& input) {
    return input.is_source && is_cpp(input);
  });
  if (job.request.fortran) return job.places.fortran.string();
  const fs::path& compiler = job.places.compiler;
  std::string name = compiler.filename().string();
  const std::size_t gcc = name.rfind("gcc");
  if (!has_cpp || gcc == std::string::npos) return compiler.string();
  name.replace(gcc, 3, "g++");
  return (compiler.parent_path() / name).string();
}

// As the compiler links by itself. A DLL gets the tables alone: its program reports.
int link_ordinary(const Job& job, const Words& objects, const fs::path& unfinished) {
  const Request& request = job.request;
  Words words = {linking_compiler(job)};
  if (request.dll) {
    words.push_back("-shared");
    const std::string library = import_library(request);
    if (!library.empty()) {
      words.push_back("-Wl,--out-implib," + (job.scratch / library).string());
    }
  } else {
    words.push_back((job.places.parts / "tarnreport.o").string());
  }
  auto object = objects.begin();
  for (const Input& input : request.inputs) {
    words.push_back(input.is_source ? *object++ : input.word);
  }
  add_stack_size(request, &words);
  words.insert(words.end(), {"-L" + job.places.parts.string(), "-o", unfinished.string()});
  return run_program(words, job.run_options()) == 0 ? kDone : kRefused;
}

// Libraries that a hosted program has anyway: the linker would take the compiler's DLLs, and
// the system's routine where the archive has its own. CMake names kernel32 in each link, and
// the file of what it has found for OpenMP; it and autoconf link C with Fortran by what the
// compiler of Fortran links, our own archives among it.
bool is_in_group(const std::string& word, const fs::path& parts) {
  constexpr const char* kNames[] = {"pthread", "winpthread", "stdc++",  "gcc",
                                    "gcc_eh",  "gcc_s",      "gomp",    "kernel32",
                                    "ssp",     "mingwex",    "gfortran"};
  return std::any_of(std::begin(kNames), std::end(kNames),
                     [&word](const char* name) { return names_library(word, name); }) ||
         (word.ends_with(".a") && fs::path(word).parent_path() == parts);
}

bool has_openmp(const Request& request) {
  return request.openmp ||
         std::any_of(request.inputs.begin(), request.inputs.end(), [](const Input& input) {
           return !input.is_source && names_library(input.word, "gomp");
         });
}

// The arguments of the linker itself, one by one.
Words linker_words(const Request& request) {
  Words words;
  for (const Input& input : request.inputs) {
    if (input.is_source || input.word == "-Xlinker") continue;
    const bool is_list = input.word.starts_with("-Wl,");
    std::istringstream parts(input.word.substr(is_list ? 4 : 0));
    for (std::string word; std::getline(parts, word, is_list ? ',' : '\0');) words.push_back(word);
  }
  return words;
}

// Whether the linker reads a definition file; libtool has it write one, in words of their own.
bool reads_definition(const Words& words) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    const bool is_written =
        words[i].find("-output-def=") != std::string::npos ||
        (i > 0 && (words[i - 1] == "--output-def" || words[i - 1] == "-output-def"));
    if (words[i].ends_with(".def") && !is_written) return true;
  }
  return false;
}

bool exports_all(const Words& words) {
  return std::any_of(words.begin(), words.end(), [](const std::string& word) {
    return word.starts_with('-') && word.ends_with("-export-all-symbols");
  });
}

// A DLL that says nothing of exports, or asks for all, exports what is the user's in it, as
// the compiler does it.
void add_exports(const Request& request, const Words& objects, Words* words) {
  const Words told = linker_words(request);
  const bool states_exports =
      reads_definition(told) ||
      std::any_of(objects.begin(), objects.end(),
                  [](const auto& name) { return has_exports(name); }) ||
      std::any_of(request.inputs.begin(), request.inputs.end(),
                  [](const Input& input) { return !input.is_source && has_exports(input); });
  if (!request.hosted || (states_exports && !exports_all(told))) {
    words->push_back("-Wl,--exclude-all-symbols");
    return;
  }
  // Routines that are optimised at the link would be exported as data.
  words->push_back("-fno-lto");
  words->push_back(
      "-Wl,--export-all-symbols,--exclude-symbols,__BrackenStartup,--exclude-symbols,"
      "__runtime_slots,--exclude-symbols,tarn_first_cell,--exclude-symbols,tarn_script_area,"
      "--exclude-symbols,tarn_script_area_end,--exclude-symbols,tarn_script_word,"
      "--exclude-symbols,___chkstk_ms");
  std::string libraries = "-Wl,--exclude-libs,libtarncrt.a";
  for (const char* const name :
       {"tarnhosted", "tarnfortran", "program_support", "stdc++", "ssp", "mingwex", "pthread",
        "gcc", "gcc_eh", "gcov", "gfortran", "quadmath", "gomp", "kernel32"}) {
    libraries += std::string(":lib") + name + ".a";
  }
  words->push_back(libraries);
}

int link_image(const Job& job, const Words& objects, const fs::path& unfinished,
               const RunOptions& options, const Words& more = {}) {
  const Request& request = job.request;
  const fs::path& parts = job.places.parts;
  const fs::path& driver = request.fortran ? job.places.fortran : job.places.compiler;
  Words words = {driver.string(),
                 "-nostdlib",
                 "-Wl,-e,__BrackenStartup",
                 "-Wl,--dynamicbase",
                 request.hosted ? "-Wl,--enable-auto-import" : "-Wl,--disable-auto-import",
                 (parts / "program_start.o").string()};
  words.insert(words.end(), more.begin(), more.end());
  add_stack_size(request, &words);
  auto object = objects.begin();
  for (const Input& input : request.inputs) {
    if (request.hosted && is_in_group(input.word, parts)) continue;
    words.push_back(input.is_source ? *object++ : input.word);
  }
  // The line tables of a program that is optimised as a whole are made here.
  if (request.hosted) words.push_back("-g");
  // A library may have main, such as a test framework's. What main calls of itself comes up
  // after link-time optimisation, too late for the linker, which fails without a word.
  if (!request.dll) {
    words.push_back("-Wl,-u,main");
    if (request.hosted) words.push_back("-Wl,-u,__main");
  } else {
    const fs::path definition = job.scratch / "exports.def";
    if (!write_definition(definition, fs::path(request.output).filename().string())) {
      return refuse("cannot write " + definition.string());
    }
    words.insert(words.end(), {"-shared", definition.string()});
    add_exports(request, objects, &words);
    const std::string library = import_library(request);
    if (!library.empty()) {
      words.push_back("-Wl,--out-implib," + (job.scratch / library).string());
    }
  }
  words.push_back("-Wl,--start-group");
  if (request.hosted) {
    // The archive comes before each of the compiler's libraries, the system last: what it has
    // in common with these is its own, and by it finish_image knows where the user's end.
    // libstdc++ comes before the support library, whose operator new and the like are for
    // other programs.
    const std::string archive = (parts / "libtarncrt.a").string();
    // What libssp and libstdc++ have inside them would be found there first; and only after the
    // archives does the linker know whether data is imported that is not declared so.
    words.push_back("-Wl,-u,__chk_fail,-u,_pei386_runtime_relocator");
    if (has_cpp(request)) words.insert(words.end(), {"-Wl,-u,tarn_cpp_ends"});
    if (request.traps) words.push_back((parts / "hosted_traps.o").string());
    words.push_back(archive);
    if (request.fortran) {
      // Only the compiler's own library may ask for its members.
      words.insert(words.end(),
                   {"-Wl,-u,_gfortran_runtime_error", "-Wl,-u,_gfortrani_open_external",
                    (parts / "libtarnfortran.a").string()});
    }
    words.insert(words.end(), {(parts / "libtarnhosted.a").string(), "-Wl,-Bstatic", "-lstdc++",
                               archive, (parts / "libprogram_support.a").string(), "-lssp",
                               "-lmingwex", "-lpthread", "-lgcc_eh"});
    if (request.fortran) words.insert(words.end(), {"-lgfortran", "-lquadmath"});
    if (has_openmp(request)) words.push_back("-lgomp");
    words.push_back("-lgcov");
  } else {
    words.insert(words.end(), {(parts / "libprogram_support.a").string(),
                               (parts / "libtarnlibc64.dll.a").string()});
  }
  words.insert(words.end(), {"-lgcc", "-Wl,--end-group", "-lkernel32", "-ladvapi32", "-lshell32",
                             "-o", unfinished.string()});
  return run_program(words, options) == 0 ? kDone : kRefused;
}

// Whether an empty hosted program that demands the name can be linked.
bool is_in_hosted(const Job& job, const std::string& name) {
  Request question;
  question.hosted = true;
  question.inputs = {{"-Wl,--defsym,main=__BrackenStartup,--require-defined=" + name, false, {}}};
  RunOptions quiet = job.run_options();
  quiet.print = false;
  quiet.messages = job.scratch / "answer";
  return link_image({question, job.places, job.scratch}, {}, job.scratch / "question.exe", quiet) ==
         kDone;
}

// Names that the linker did not find, and that a hosted program would have.
void hint_at_hosted(const Job& job, const std::string& messages) {
  static const std::string kBefore = "undefined reference to `";
  constexpr int kMostQuestions = 4;  // each is a link
  Words asked, found;
  for (std::size_t at = 0; (at = messages.find(kBefore, at)) != std::string::npos;) {
    at += kBefore.size();
    const std::string name = messages.substr(at, messages.find('\'', at) - at);
    if (std::find(asked.begin(), asked.end(), name) != asked.end()) continue;
    if (asked.size() == kMostQuestions) break;
    asked.push_back(name);
    if (is_in_hosted(job, name)) found.push_back(name);
  }
  if (found.empty()) return;
  std::string names = found[0];
  for (std::size_t i = 1; i < found.size(); ++i) names += ", " + found[i];
  std::fprintf(stderr, "tarncc: %s: available with --hosted\n", printable(names).c_str());
}

// Whether all that failed is that a program has routines of its own in place of the archive's,
// whose members have several each: its own `rand` and the archive's `srand`, say.
bool replaces_routines(const std::string& messages) {
  static const std::string kTwice = "multiple definition of `", kArchive = "/libtarncrt.a(";
  if (messages.find("undefined reference") != std::string::npos) return false;
  std::size_t at = messages.find(kTwice);
  if (at == std::string::npos) return false;
  for (; at != std::string::npos; at = messages.find(kTwice, at + 1)) {
    const std::size_t line = messages.rfind('\n', at) + 1;
    if (messages.substr(line, at - line).find(kArchive) == std::string::npos) return false;
  }
  return true;
}

// An object of this system's own compiler, which the linker would take for data.
bool is_of_linux(const Input& input) {
  if (input.is_source || !input.word.ends_with(".o")) return false;
  char begin[4] = {};
  FILE* const file = std::fopen(input.word.c_str(), "rb");
  if (!file) return false;
  const std::size_t got = std::fread(begin, 1, sizeof begin, file);
  std::fclose(file);
  return std::string(begin, got) ==
         "\x7f"
         "ELF";
}

}  // namespace

std::string import_library(const Request& request) {
  const bool told =
      std::any_of(request.inputs.begin(), request.inputs.end(), [](const Input& input) {
        return !input.is_source && input.word.find("--out-implib") != std::string::npos;
      });
  return told ? std::string() : "lib" + fs::path(request.output).stem().string() + ".dll.a";
}

int link(const Job& job, const Words& objects, const fs::path& unfinished) {
  const Request& request = job.request;
  for (const Input& input : request.inputs) {
    if (is_of_linux(input)) {
      return refuse(input.word + ": is a Linux object; compile its source with tarncc");
    }
  }
  if (request.report_only) return link_ordinary(job, objects, unfinished);
  RunOptions options = job.run_options();
  if (options.only_print) return link_image(job, objects, unfinished, options);
  options.messages = job.scratch / "messages";
  int status = link_image(job, objects, unfinished, options);
  std::string messages = text_of(options.messages);
  if (status != kDone && request.hosted && replaces_routines(messages)) {
    // The program's come first.
    status = link_image(job, objects, unfinished, options, {"-Wl,--allow-multiple-definition"});
    messages = text_of(options.messages);
  }
  std::fwrite(messages.data(), 1, messages.size(), stderr);
  if (status != kDone && !request.hosted && !is_interrupted()) hint_at_hosted(job, messages);
  return status;
}
