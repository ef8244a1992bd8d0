#include <algorithm>
#include <cstdio>

#include "messages.h"
#include "steps.h"

#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#else
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;

constexpr int kStandardError = 2;

// Programs do not use rbx, rsi and rdi, so that no routine has to save them. Inline
// assembly that names them cannot be compiled so: its source may use them, and its
// routines save them, as the unwind data tells the traceback. A longjmp over such a
// routine loses what it saved.
constexpr const char* kRegistersForAssembly[] = {"-fcall-saved-rbx", "-fcall-saved-rsi",
                                                 "-fcall-saved-rdi"};

bool has_option(const Words& options, std::initializer_list<const char*> names) {
  return std::any_of(options.begin(), options.end(), [&names](const std::string& option) {
    return std::any_of(names.begin(), names.end(),
                       [&option](const char* name) { return option.starts_with(name); });
  });
}

// Where a list of dependencies goes, and what depends: the compiler would name
// them after the object in the scratch folder.
void add_dependency_options(const Request& request, const Input& source, Words* words) {
  const Words& options = request.compiler_options;
  const bool asked = std::find(options.begin(), options.end(), "-MD") != options.end() ||
                     std::find(options.begin(), options.end(), "-MMD") != options.end();
  if (!asked || request.goal != Goal::kImage) return;
  const std::string stem = fs::path(source.word).stem().string();
  const bool alone = source_count(request) == 1 && !request.output.empty();
  if (!has_option(options, {"-MF"})) {
    const fs::path output = request.output.empty() ? fs::path("a") : fs::path(request.output);
    fs::path file = output;
    file.replace_extension();
    file += alone ? ".d" : "-" + stem + ".d";
    words->insert(words->end(), {"-MF", file.string()});
  }
  if (!has_option(options, {"-MT", "-MQ"})) {
    words->insert(words->end(), {"-MQ", alone ? request.output : stem + ".o"});
  }
}

// Counters and their notes are called after the image and the source, as the compiler does it:
// they would be called after the object in the scratch folder.
void add_counter_names(const Request& request, const Input& source, Words* words) {
  const Words& options = is_fortran(source) ? request.fortran_options : request.compiler_options;
  if (request.goal != Goal::kImage || has_option(options, {"-dumpbase"}) ||
      !has_option(options, {"--coverage", "-coverage", "-ftest-coverage", "-fprofile-"})) {
    return;
  }
  const fs::path file = source.word;
  const fs::path output = request.output.empty() ? fs::path("a") : fs::path(request.output);
  const std::string before = (output.parent_path() / output.stem()).string() + "-";
  words->insert(words->end(), {"-dumpdir", before, "-dumpbase", file.filename().string(),
                               "-dumpbase-ext", file.extension().string()});
}

Words command(const Job& job, const Input& source, const fs::path& object) {
  const Request& request = job.request;
  const bool fortran = is_fortran(source);
  Words words = {(fortran ? job.places.fortran : job.places.compiler).string()};
  if (!request.report_only) {
    const char* const flags = fortran          ? "fortran_flags"
                              : request.hosted ? "hosted_flags"
                                               : "program_flags";
    words.push_back("@" + (job.places.parts / flags).string());
    if (is_cpp(source) && !request.hosted) {
      words.push_back("@" + (job.places.parts / "program_flags_cpp").string());
    }
    // A hosted program's standard headers are the compiler's, with what these lack before them
    // and the library's own after them.
    if (!fortran) {
      if (request.hosted) {
        words.insert(words.end(), {"-isystem", (job.places.include / "hosted").string()});
      }
      words.insert(words.end(),
                   {request.hosted ? "-idirafter" : "-isystem", job.places.include.string()});
    }
  }
  if (fortran && request.legacy) {
    words.push_back("@" + (job.places.parts / "legacy_flags").string());
  }
  if (isatty(kStandardError)) words.push_back("-fdiagnostics-color=always");
  const Words& options = fortran ? request.fortran_options : request.compiler_options;
  words.insert(words.end(), options.begin(), options.end());
  if (fortran) {
    // After the user's folders, where a module of that name may be, too.
    if (!request.report_only) words.push_back("-I" + (job.places.parts / "modules").string());
  } else {
    add_dependency_options(request, source, &words);
  }
  add_counter_names(request, source, &words);
  if (!source.language.empty()) words.insert(words.end(), {"-x", source.language});
  switch (request.goal) {
    case Goal::kImage:
    case Goal::kObjects:
      words.push_back("-c");
      break;
    case Goal::kAssembly:
      words.push_back("-S");
      break;
    case Goal::kPreprocessed:
      words.push_back("-E");
      break;
    case Goal::kDependencies:
      break;
    case Goal::kCheck:
      words.push_back("-fsyntax-only");
      break;
  }
  words.push_back(source.word);
  const std::string output = request.goal == Goal::kImage ? object.string() : request.output;
  if (!output.empty()) words.insert(words.end(), {"-o", output});
  return words;
}

// A header that this compile stopped at, and a hosted one would find.
void hint_at_hosted(const Job& job, const Input& source, const std::string& messages) {
  const std::size_t end = messages.find(": No such file or directory");
  if (end == std::string::npos) return;
  // Before it a space, or the end of a colour.
  const std::size_t begin = messages.find_last_of(" \x1b", end) + 1;
  std::string header = messages.substr(begin, end - begin);
  if (header.starts_with("[K")) header.erase(0, 2);
  const fs::path question = job.scratch / "question";
  FILE* const file = std::fopen(question.string().c_str(), "w");
  if (!file) return;
  std::fprintf(file, "#include <%s>\n", header.c_str());
  if (std::fclose(file) != 0) return;
  RunOptions quiet = job.run_options();
  quiet.print = false;
  quiet.messages = job.scratch / "answer";
  const bool cpp = is_cpp(source);
  const Words words = {job.places.compiler.string(), "-fsyntax-only", "-x", cpp ? "c++" : "c",
                       question.string()};
  if (run_program(words, quiet) == 0) {
    std::fprintf(stderr, "tarncc: %s: available %s\n", printable(header).c_str(),
                 cpp ? "without --suite" : "with --hosted");
  }
}

}  // namespace

int compile(const Job& job, const Input& source, const fs::path& object) {
  Words words = command(job, source, object);
  RunOptions options = job.run_options();
  const bool makes_code =
      job.request.goal != Goal::kPreprocessed && job.request.goal != Goal::kDependencies;
  if (!makes_code || job.request.only_print || source.word == kStandardInput) {
    return run_program(words, options) == 0 ? kDone : kRefused;
  }
  options.messages = job.scratch / "messages";
  int status = run_program(words, options);
  std::string messages = text_of(options.messages);
  const bool is_suite = !job.request.hosted && !job.request.report_only;
  if (status != 0 && is_suite && !is_interrupted() && messages.find("asm") != std::string::npos) {
    words.insert(words.end(), std::begin(kRegistersForAssembly), std::end(kRegistersForAssembly));
    options.print = false;
    if (run_program(words, options) == 0) {
      status = 0;
      messages = text_of(options.messages);
    }
  }
  std::fwrite(messages.data(), 1, messages.size(), stderr);
  if (status != 0 && is_suite && !is_interrupted()) hint_at_hosted(job, source, messages);
  return status == 0 ? kDone : kRefused;
}
