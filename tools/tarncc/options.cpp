// The command line: one table says for each option whether a word follows, and
// which step receives it.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "messages.h"
#include "request.h"
#include "tools/read_file.h"

namespace {

namespace fs = std::filesystem;

enum class Form {
  kAlone,   // the word itself
  kPrefix,  // any word that begins so
  kNext,    // the word itself, and the next one is its value
  kEither,  // the value is joined on, or else the next word
};

enum class Goes {
  kCompiler,
  kFortranCompiler,  // Fortran sources alone
  kLinker,
  kFinisher,
  kQuestion,  // the compiler answers it, and nothing is made
  kNowhere,   // it asks for what is done anyway
  kRefused,   // `note` says why
  kHere,
};

enum Here {
  kOutput,
  kLanguage,
  kCompileOnly,
  kAssemblyOnly,
  kPreprocessOnly,
  kDependenciesOnly,
  kCheckOnly,
  kDll,
  kHosted,
  kReportOnly,
  kSuite,
  kTrap,
  kFortran,
  kLegacy,
  kOpenMp,
  kStack,
  kThreads,
  kCounters,
  kSanitize,
  kNoDlls,
  kStandalone,
  kLinkTime,
  kNoLinkTime,
  kVerbose,
  kVerboseCompiler,
  kOnlyPrint,
  kStrip,
  kLinkerList,
  kXlinker,
  kHelp,
  kVersion,
};

struct Option {
  const char* name;
  Form form;
  Goes goes;
  const char* note = nullptr;  // why it is not accepted
  Here here = kHelp;           // what is to be done
};

constexpr Option here(const char* name, Form form, Here what) {
  return {name, form, Goes::kHere, nullptr, what};
}

// Of programs that are not hosted, `why` says why they cannot have it.
constexpr Option for_hosted(const char* name, Form form, Here what, const char* why) {
  return {name, form, Goes::kHere, why, what};
}

constexpr char kHostedThreads[] = "only hosted programs have POSIX threads";
constexpr char kHostedAlone[] = "it is for hosted programs";
constexpr char kNoProfile[] = "profiling code needs a run-time that images do not have";
constexpr char kOnly64[] = "images are for x86-64";
constexpr char kOwnStart[] = "each image has the library's start-up object and import library";

// The longest name that fits is taken.
constexpr Option kOptions[] = {
    here("-o", Form::kEither, kOutput),
    here("-x", Form::kEither, kLanguage),
    here("-c", Form::kAlone, kCompileOnly),
    here("-S", Form::kAlone, kAssemblyOnly),
    here("-E", Form::kAlone, kPreprocessOnly),
    here("-M", Form::kAlone, kDependenciesOnly),
    here("-MM", Form::kAlone, kDependenciesOnly),
    here("-fsyntax-only", Form::kAlone, kCheckOnly),
    here("--dll", Form::kAlone, kDll),
    here("-shared", Form::kAlone, kDll),
    here("-mdll", Form::kAlone, kDll),
    here("--hosted", Form::kAlone, kHosted),
    here("--report-only", Form::kAlone, kReportOnly),
    here("--suite", Form::kAlone, kSuite),
    here("--trap", Form::kAlone, kTrap),
    here("--fortran", Form::kAlone, kFortran),
    here("--legacy", Form::kAlone, kLegacy),
    for_hosted("-fopenmp", Form::kAlone, kOpenMp, kHostedThreads),
    here("--stack", Form::kNext, kStack),
    here("--stack=", Form::kPrefix, kStack),
    for_hosted("-pthread", Form::kAlone, kThreads, kHostedThreads),
    here("--no-dlls", Form::kAlone, kNoDlls),
    here("--standalone", Form::kAlone, kStandalone),
    for_hosted("-flto", Form::kAlone, kLinkTime, kHostedAlone),
    for_hosted("-flto=", Form::kPrefix, kLinkTime, kHostedAlone),
    here("-fno-lto", Form::kAlone, kNoLinkTime),
    for_hosted("-fprofile-arcs", Form::kAlone, kCounters, kHostedAlone),
    for_hosted("-fprofile-generate", Form::kPrefix, kCounters, kHostedAlone),
    for_hosted("-ftest-coverage", Form::kAlone, kCounters, kHostedAlone),
    for_hosted("-coverage", Form::kAlone, kCounters, kHostedAlone),
    for_hosted("--coverage", Form::kAlone, kCounters, kHostedAlone),
    for_hosted("-fsanitize=", Form::kPrefix, kSanitize, kHostedAlone),
    here("--verbose", Form::kAlone, kVerbose),
    here("-v", Form::kAlone, kVerboseCompiler),
    here("-###", Form::kAlone, kOnlyPrint),
    here("-s", Form::kAlone, kStrip),
    here("-Wl,", Form::kPrefix, kLinkerList),
    here("-Xlinker", Form::kNext, kXlinker),
    here("--help", Form::kAlone, kHelp),
    here("--version", Form::kAlone, kVersion),

    {"--undefined-fill", Form::kAlone, Goes::kFinisher},
    {"--require-avx", Form::kAlone, Goes::kFinisher},
    {"--note", Form::kAlone, Goes::kFinisher},
    {"--strip", Form::kAlone, Goes::kFinisher},
    {"--public-routines", Form::kAlone, Goes::kFinisher},

    {"-", Form::kPrefix, Goes::kCompiler},
    {"-D", Form::kEither, Goes::kCompiler},
    {"-U", Form::kEither, Goes::kCompiler},
    {"-I", Form::kEither, Goes::kCompiler},
    {"-A", Form::kEither, Goes::kCompiler},
    {"-include", Form::kNext, Goes::kCompiler},
    {"-imacros", Form::kNext, Goes::kCompiler},
    {"-iquote", Form::kEither, Goes::kCompiler},
    {"-isystem", Form::kEither, Goes::kCompiler},
    {"-idirafter", Form::kEither, Goes::kCompiler},
    {"-iprefix", Form::kEither, Goes::kCompiler},
    {"-iwithprefix", Form::kEither, Goes::kCompiler},
    {"-iwithprefixbefore", Form::kEither, Goes::kCompiler},
    {"-isysroot", Form::kEither, Goes::kCompiler},
    {"-imultilib", Form::kEither, Goes::kCompiler},
    {"-MF", Form::kEither, Goes::kCompiler},
    {"-MT", Form::kEither, Goes::kCompiler},
    {"-MQ", Form::kEither, Goes::kCompiler},
    {"-aux-info", Form::kNext, Goes::kCompiler},
    {"-dumpbase", Form::kNext, Goes::kCompiler},
    {"-dumpbase-ext", Form::kNext, Goes::kCompiler},
    {"-dumpdir", Form::kNext, Goes::kCompiler},
    {"-Xpreprocessor", Form::kNext, Goes::kCompiler},
    {"-Xassembler", Form::kNext, Goes::kCompiler},
    {"-wrapper", Form::kNext, Goes::kCompiler},
    {"-B", Form::kEither, Goes::kCompiler},
    {"--param", Form::kNext, Goes::kCompiler},
    {"--param=", Form::kPrefix, Goes::kCompiler},
    {"--sysroot=", Form::kPrefix, Goes::kCompiler},
    {"--std=", Form::kPrefix, Goes::kCompiler},

    {"-J", Form::kEither, Goes::kFortranCompiler},
    {"-std=f", Form::kPrefix, Goes::kFortranCompiler},
    {"-std=legacy", Form::kAlone, Goes::kFortranCompiler},
    {"-fbounds-check", Form::kAlone, Goes::kFortranCompiler},
    {"-fcheck=", Form::kPrefix, Goes::kFortranCompiler},
    {"-fconvert=", Form::kPrefix, Goes::kFortranCompiler},
    {"-fdefault-", Form::kPrefix, Goes::kFortranCompiler},
    {"-fdec", Form::kPrefix, Goes::kFortranCompiler},
    {"-ffixed-", Form::kPrefix, Goes::kFortranCompiler},
    {"-ffpe-", Form::kPrefix, Goes::kFortranCompiler},
    {"-ffree-", Form::kPrefix, Goes::kFortranCompiler},
    {"-fimplicit-none", Form::kAlone, Goes::kFortranCompiler},
    {"-finit-", Form::kPrefix, Goes::kFortranCompiler},
    {"-fintrinsic-modules-path", Form::kEither, Goes::kFortranCompiler},
    {"-frecursive", Form::kAlone, Goes::kFortranCompiler},

    {"-l", Form::kEither, Goes::kLinker},
    {"-L", Form::kEither, Goes::kLinker},
    {"-T", Form::kEither, Goes::kLinker},
    {"-u", Form::kEither, Goes::kLinker},
    {"-z", Form::kEither, Goes::kLinker},
    {"-fuse-ld=", Form::kPrefix, Goes::kLinker},
    {"-static", Form::kAlone, Goes::kLinker},
    {"-mwindows", Form::kAlone, Goes::kLinker},
    {"-mconsole", Form::kAlone, Goes::kLinker},

    // The compiler's libraries are linked statically as they are.
    {"-static-libgcc", Form::kAlone, Goes::kNowhere},
    {"-static-libstdc++", Form::kAlone, Goes::kNowhere},
    {"-no-pie", Form::kAlone, Goes::kNowhere},
    {"-pie", Form::kAlone, Goes::kNowhere},
    {"-m64", Form::kAlone, Goes::kNowhere},
    // Objects for link-time optimisation have their code as well.
    {"-ffat-lto-objects", Form::kAlone, Goes::kNowhere},
    {"-fno-fat-lto-objects", Form::kAlone, Goes::kNowhere},

    {"-dumpmachine", Form::kAlone, Goes::kQuestion},
    {"-dumpversion", Form::kAlone, Goes::kQuestion},
    {"-dumpfullversion", Form::kAlone, Goes::kQuestion},
    {"-dumpspecs", Form::kAlone, Goes::kQuestion},
    {"-print-", Form::kPrefix, Goes::kQuestion},
    {"--print-", Form::kPrefix, Goes::kQuestion},
    {"--help=", Form::kPrefix, Goes::kQuestion},
    {"--target-help", Form::kAlone, Goes::kQuestion},

    {"-fopenacc", Form::kAlone, Goes::kRefused, "images cannot use accelerators"},
    {"-p", Form::kAlone, Goes::kRefused, kNoProfile},
    {"-pg", Form::kAlone, Goes::kRefused, kNoProfile},
    {"-fsplit-stack", Form::kAlone, Goes::kRefused, "images have one stack per thread"},
    {"-m32", Form::kAlone, Goes::kRefused, kOnly64},
    {"-m16", Form::kAlone, Goes::kRefused, kOnly64},
    {"-mx32", Form::kAlone, Goes::kRefused, kOnly64},
    {"-nostdlib", Form::kAlone, Goes::kRefused, kOwnStart},
    {"-nostartfiles", Form::kAlone, Goes::kRefused, kOwnStart},
    {"-nodefaultlibs", Form::kAlone, Goes::kRefused, kOwnStart},
    {"-nolibc", Form::kAlone, Goes::kRefused, kOwnStart},
    {"-e", Form::kEither, Goes::kRefused, kOwnStart},
    {"-municode", Form::kAlone, Goes::kRefused,
     "programs begin at main, whose arguments are byte strings"},
    {"-rdynamic", Form::kAlone, Goes::kRefused, "an image exports what it declares dllexport"},
    {"-r", Form::kAlone, Goes::kRefused, "tarncc makes complete images; join objects with ld -r"},
};

bool fits(const Option& option, const std::string& word) {
  const bool may_be_longer = option.form == Form::kPrefix || option.form == Form::kEither;
  return may_be_longer ? word.starts_with(option.name) : word == option.name;
}

const Option* find_option(const std::string& word) {
  const Option* found = nullptr;
  for (const Option& option : kOptions) {
    if (!fits(option, word)) continue;
    if (!found || std::strlen(option.name) > std::strlen(found->name)) found = &option;
  }
  // A word of two dashes that no row knows is a mistake here, not the compiler's.
  return found && word.starts_with("--") && std::strlen(found->name) < 2 ? nullptr : found;
}

constexpr const char* kCSources[] = {".c", ".i", ".s", ".S", ".sx"};
constexpr const char* kCppSources[] = {".cpp", ".cc", ".cxx", ".cp", ".c++", ".C", ".CPP", ".ii"};
constexpr const char* kFortranSources[] = {".f",   ".for", ".ftn", ".f90", ".f95", ".f03",
                                           ".f08", ".F",   ".FOR", ".FTN", ".F90", ".F95",
                                           ".F03", ".F08", ".fpp", ".FPP"};
constexpr const char* kCHeaders[] = {".h"};
constexpr const char* kCppHeaders[] = {".hpp", ".hh", ".hxx", ".hp", ".h++", ".H", ".HPP", ".tcc"};
constexpr const char* kLinkerFiles[] = {".o", ".obj", ".a", ".lib", ".dll", ".def", ".res"};

template <class List>
bool holds(const List& list, const std::string& word) {
  return std::find(std::begin(list), std::end(list), word) != std::end(list);
}

std::string extension_of(const std::string& word) { return fs::path(word).extension().string(); }

class Reader {
 public:
  // Ordinary programs may be compiled and linked by options that images cannot have.
  Reader(const Words& words, Request* request)
      : words_(words), request_(request), ordinary_(holds(words, "--report-only")) {}

  int read() {
    while (next_ < words_.size()) {
      const std::string word = words_[next_++];
      const bool is_file = word == kStandardInput || word[0] != '-';
      const int status = is_file ? take_file(word) : take_option(word);
      if (status != kDone) return status;
    }
    return kDone;
  }

  // Fortran's own options and the common ones keep their order: the last of two that
  // contradict each other holds.
  void compile_with(const Words& words) {
    append(&request_->compiler_options, words);
    append(&request_->fortran_options, words);
  }

 private:
  int take_file(const std::string& word) {
    const std::string extension = extension_of(word);
    const bool is_source = !language_.empty() || holds(kCSources, extension) ||
                           holds(kCppSources, extension) || holds(kCHeaders, extension) ||
                           holds(kCppHeaders, extension) || holds(kFortranSources, extension) ||
                           word == kStandardInput;
    if (word[0] == '@') return usage_error(word.substr(1) + ": there is no such file");
    std::error_code ignored;
    if (word != kStandardInput && (!fs::exists(word, ignored) || fs::is_directory(word, ignored))) {
      return usage_error(word + ": there is no such file");
    }
    if (!is_source && !holds(kLinkerFiles, extension)) {
      return usage_error(word + ": unknown suffix; name its language with -x");
    }
    request_->inputs.push_back({word, is_source, language_});
    return kDone;
  }

  int take_option(const std::string& word) {
    const Option* const option = find_option(word);
    if (!option) return usage_error("unknown option " + word);
    if (const Option* const meant = find_option("-" + word);
        std::strlen(option->name) < 2 && meant && meant->form != Form::kPrefix) {
      return usage_error("unknown option " + word + ": it is -" + word);
    }
    Words all = {word};
    std::string value = word.substr(std::strlen(option->name));
    if (option->form == Form::kNext || (option->form == Form::kEither && value.empty())) {
      if (next_ == words_.size()) return usage_error("no value after " + word);
      value = words_[next_++];
      all.push_back(value);
    }
    switch (option->goes) {
      case Goes::kNowhere:
      case Goes::kRefused:
        if (ordinary_) {
          compile_with(all);
          link(all);
        } else if (option->goes == Goes::kRefused) {
          return refuse(word + " is not supported: " + option->note);
        }
        break;
      case Goes::kCompiler:
        compile_with(all);
        break;
      case Goes::kFortranCompiler:
        append(&request_->fortran_options, all);
        break;
      case Goes::kLinker:
        link(all);
        break;
      case Goes::kFinisher:
        append(&request_->finish_options, all);
        break;
      case Goes::kQuestion:
        append(&request_->question, all);
        break;
      case Goes::kHere:
        if (option->note && !ordinary_ && hosted_only_.empty()) {
          hosted_only_ = word + " is not supported: " + option->note;
        }
        if (option->here == kSanitize && !ordinary_) return sanitize(word, value);
        act(option->here, word, value);
        break;
    }
    return kDone;
  }

  void act(Here what, const std::string& word, const std::string& value) {
    Request& request = *request_;
    switch (what) {
      case kOutput:
        request.output = value;
        break;
      case kLanguage:
        language_ = value == "none" ? "" : value;
        break;
      case kCompileOnly:
        end_at(Goal::kObjects);
        break;
      case kAssemblyOnly:
        end_at(Goal::kAssembly);
        break;
      case kPreprocessOnly:
        end_at(Goal::kPreprocessed);
        break;
      case kDependenciesOnly:
        compile_with({word});
        end_at(Goal::kDependencies);
        break;
      case kCheckOnly:
        end_at(Goal::kCheck);
        break;
      case kDll:
        request.dll = true;
        break;
      case kHosted:
        request.hosted = true;
        break;
      case kReportOnly:
        request.report_only = true;
        request.finish_options.push_back(word);
        break;
      case kSuite:
        request.suite = true;
        break;
      case kTrap:
        request.traps = true;
        break;
      case kFortran:
        request.fortran = true;
        break;
      case kLegacy:
        request.legacy = true;
        break;
      case kOpenMp:
        request.openmp = true;
        compile_with({word});
        break;
      case kStack:
        request.stack = value;
        break;
      case kThreads:
      case kCounters:
      case kSanitize:
        compile_with({word});
        if (ordinary_) link({word});
        break;
      case kNoDlls:
        request.copy_dlls = false;
        break;
      case kStandalone:
        standalone_ = true;
        break;
      case kLinkTime:
      case kNoLinkTime:
        request.link_time_optimisation = what == kLinkTime;
        compile_with({word});
        link({word});
        break;
      case kVerboseCompiler:
        verbose_compiler_ = true;
        [[fallthrough]];
      case kVerbose:
        request.verbose = true;
        break;
      case kOnlyPrint:
        request.only_print = true;
        break;
      case kStrip:
        request.finish_options.push_back("--strip");
        break;
      case kLinkerList:
        link_list(value);
        break;
      case kXlinker:
        strips(value) ? request.finish_options.push_back("--strip") : link({word, value});
        break;
      case kHelp:
        request.help = true;
        break;
      case kVersion:
        request.version = true;
        break;
    }
  }

  // The checks of C and C++ whose routines hosted programs have (crt/checks).
  int sanitize(const std::string& word, const std::string& list) {
    constexpr const char* kChecks[] = {"undefined",
                                       "alignment",
                                       "bool",
                                       "bounds",
                                       "bounds-strict",
                                       "builtin",
                                       "enum",
                                       "float-cast-overflow",
                                       "float-divide-by-zero",
                                       "integer-divide-by-zero",
                                       "nonnull-attribute",
                                       "null",
                                       "object-size",
                                       "pointer-overflow",
                                       "return",
                                       "returns-nonnull-attribute",
                                       "shift",
                                       "shift-base",
                                       "shift-exponent",
                                       "signed-integer-overflow",
                                       "unreachable",
                                       "vla-bound"};
    for (std::size_t at = 0; at <= list.size();) {
      const std::size_t end = std::min(list.find(',', at), list.size());
      const std::string check = list.substr(at, end - at);
      if (!holds(kChecks, check)) {
        return refuse(word +
                      " is not supported: only -fsanitize=undefined is, with all of "
                      "its checks but vptr");
      }
      at = end + 1;
    }
    compile_with({word, "-fno-sanitize=vptr"});
    return kDone;
  }

  static bool strips(const std::string& word) { return word == "-s" || word == "--strip-all"; }

  // Finishing needs the symbols, so it is finishing that leaves them out.
  void link_list(const std::string& list) {
    std::string kept;
    for (std::size_t at = 0; at <= list.size();) {
      const std::size_t end = std::min(list.find(',', at), list.size());
      const std::string part = list.substr(at, end - at);
      at = end + 1;
      if (strips(part)) {
        request_->finish_options.push_back("--strip");
      } else {
        kept += "," + part;
      }
    }
    if (!kept.empty()) link({"-Wl" + kept});
  }

  // Of several the earliest stage is taken.
  void end_at(Goal goal) { request_->goal = std::max(request_->goal, goal); }

  void link(const Words& words) {
    for (const std::string& word : words) request_->inputs.push_back({word, false, {}});
  }

  static void append(Words* to, const Words& words) {
    to->insert(to->end(), words.begin(), words.end());
  }

  const Words& words_;
  Request* request_;
  const bool ordinary_;
  std::size_t next_ = 0;
  std::string language_;

 public:
  bool verbose_compiler_ = false;
  bool standalone_ = false;
  std::string hosted_only_;  // why the first option of that kind is not supported otherwise
};

bool is_header(const Input& input) {
  const std::string extension = extension_of(input.word);
  return input.language.empty() ? holds(kCHeaders, extension) || holds(kCppHeaders, extension)
                                : input.language.ends_with("-header");
}

// Each object of a hosted program has a symbol of this name (cmake/hosted_flags).
constexpr char kHostedMark[] = "tarn_hosted_object";

// What C++ code with exceptions refers to.
constexpr char kCppMark[] = "__gxx_personality_seh0";

bool file_has(const std::string& name, const char* text) {
  std::string bytes;
  return !read_file(name, &bytes) && bytes.find(text) != std::string::npos;
}

// An archive, too: CMake packs what it links into one.
bool has_objects(const Input& input) {
  const std::string extension = extension_of(input.word);
  return !input.is_source && (extension == ".o" || extension == ".obj" || extension == ".a");
}

// C++ is hosted, and so is an image of objects that were compiled so.
bool is_hosted_by_itself(const Request& request) {
  return std::any_of(request.inputs.begin(), request.inputs.end(), [](const Input& input) {
    return input.is_source ? is_cpp(input)
                           : has_objects(input) && file_has(input.word, kHostedMark);
  });
}

// The program of Linux has the name without ".exe", the image that with it.
void name_standalone(Request* request) {
  constexpr std::string_view kImage = ".exe";
  std::string name = request->output.empty() ? "a" : request->output;
  if (name.size() > kImage.size() && name.ends_with(kImage)) {
    name.resize(name.size() - kImage.size());
  }
  request->standalone = name;
  request->output = name.append(kImage);
}

// Errors in the combination of options; an empty string if all is well.
std::string contradiction(const Request& request) {
  const bool to_text = request.goal == Goal::kAssembly || request.goal == Goal::kPreprocessed ||
                       request.goal == Goal::kDependencies;
  if (request.output == kStandardInput && !to_text) return "-o - works only with -S, -E and -M";
  if (!request.stack.empty() && stack_size(request) == 0) {
    return request.stack + ": not a stack size; up to 1G, such as --stack 256M";
  }
  const fs::path folder = fs::path(request.output).parent_path();
  if (std::error_code ignored;
      !request.only_print && !folder.empty() && !fs::is_directory(folder, ignored)) {
    return request.output + ": there is no folder " + folder.string();
  }
  const int sources = source_count(request);
  if (request.goal == Goal::kImage ? request.inputs.empty() : sources == 0) return "no source file";
  if (request.goal != Goal::kImage && !request.output.empty() && sources > 1) {
    return "-o with -c, -S or -E takes one source";
  }
  int standard_inputs = 0;
  for (const Input& input : request.inputs) {
    if (input.word == kStandardInput && input.is_source) {
      ++standard_inputs;
      if (input.language.empty()) return "standard input needs its language: -x c -";
    }
    if (input.is_source && request.goal == Goal::kImage && is_header(input)) {
      return input.word + ": is a header; name the sources that include it";
    }
    for (const std::string& output : {request.output, request.standalone}) {
      std::error_code ignored;
      if (fs::is_regular_file(output, ignored) && fs::equivalent(input.word, output, ignored)) {
        return input.word + ": would be overwritten by the output";
      }
    }
  }
  if (standard_inputs > 1) return "- can be given only once";
  if (request.report_only && request.hosted)
    return "--report-only is not for --hosted programs: they have the report anyway";
  if (request.hosted && request.suite) return "--hosted and --suite cannot be combined";
  if (request.fortran && request.suite) return "Fortran is hosted: --suite is for C++";
  if (request.traps && !request.hosted)
    return "--trap is only for --hosted: other programs trap anyway";
  return {};
}

}  // namespace

std::uint64_t stack_size(const Request& request) {
  constexpr std::uint64_t kLargest = std::uint64_t{1} << 30;
  if (request.stack.empty()) return request.fortran ? kFortranStack : 0;
  const char* const text = request.stack.c_str();
  char* end;
  std::uint64_t size =
      std::isdigit(static_cast<unsigned char>(*text)) ? std::strtoull(text, &end, 10) : 0;
  if (size == 0 || size > kLargest) return 0;
  constexpr char kUnits[] = "KMG";
  const char* const unit =
      *end ? std::strchr(kUnits, std::toupper(static_cast<unsigned char>(*end))) : nullptr;
  if (unit) size <<= 10 * (unit - kUnits + 1);
  if (unit) ++end;
  return *end || size > kLargest ? 0 : size;
}

int source_count(const Request& request) {
  return static_cast<int>(std::count_if(request.inputs.begin(), request.inputs.end(),
                                        [](const Input& input) { return input.is_source; }));
}

bool is_cpp(const Input& source) {
  if (!source.language.empty()) return source.language.starts_with("c++");
  const std::string extension = extension_of(source.word);
  return holds(kCppSources, extension) || holds(kCppHeaders, extension);
}

bool has_cpp(const Request& request) {
  return std::any_of(request.inputs.begin(), request.inputs.end(), [](const Input& input) {
    if (input.is_source) return is_cpp(input);
    return has_objects(input) && file_has(input.word, kCppMark);
  });
}

bool has_exports(const std::string& object) { return file_has(object, "-export:"); }

bool has_exports(const Input& input) { return has_objects(input) && has_exports(input.word); }

bool names_library(const std::string& word, const std::string& name) {
  return word == "-l" + name || fs::path(word).filename() == "lib" + name + ".dll.a";
}

bool is_fortran(const Input& source) {
  if (!source.language.empty()) return source.language.starts_with("f");
  return holds(kFortranSources, extension_of(source.word));
}

int read_command_line(const Words& words, Request* request) {
  Reader reader(words, request);
  if (const int status = reader.read(); status != kDone) return status;
  if (request->help || request->version || !request->question.empty()) return kDone;
  if (reader.verbose_compiler_) {
    if (request->inputs.empty()) {
      request->question = {"-v"};
      return kDone;
    }
    reader.compile_with({"-v"});
    request->inputs.push_back({"-v", false, {}});
  }
  if (request->goal == Goal::kPreprocessed) {  // as the compiler does: build systems ask so
    for (Input& input : request->inputs) {
      if (input.word == kStandardInput && input.language.empty()) input.language = "c";
    }
  }
  request->fortran |=
      std::any_of(request->inputs.begin(), request->inputs.end(), [](const Input& input) {
        return input.is_source ? is_fortran(input) : names_library(input.word, "gfortran");
      });
  request->hosted |= !request->suite && !request->report_only &&
                     (request->fortran || is_hosted_by_itself(*request));
  if (!reader.hosted_only_.empty() && !request->hosted) return refuse(reader.hosted_only_);
  if (request->link_time_optimisation) {
    // By the names in their code objects are found to be hosted, C++, or to have exports.
    reader.compile_with({"-ffat-lto-objects"});
  }
  if (reader.standalone_ && request->goal == Goal::kImage) {
    if (request->dll) return usage_error("--standalone makes programs, not DLLs");
    if (request->report_only)
      return usage_error(
          "--standalone is not for --report-only programs: they run only on Windows");
    name_standalone(request);
  }
  const std::string wrong = contradiction(*request);
  return wrong.empty() ? kDone : usage_error(wrong);
}
