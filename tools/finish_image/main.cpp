// finish_image: the step after the linker that every image needs.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <new>
#include <random>
#include <string>

#include "executable.h"
#include "finish.h"
#include "script.h"
#include "tools/read_file.h"
#include "tools/terminal_text.h"

namespace {

namespace fs = std::filesystem;

constexpr char kHelp[] =
    "Usage: finish_image [options] INPUT -o OUTPUT\n"
    "   or: finish_image --report-only IMAGE\n"
    "   or: finish_image --list IMAGE\n"
    "\n"
    "Finishes a linked program or DLL; or only adds the tables that reports need to an\n"
    "ordinary one; or prints a finished image's start-up script.\n"
    "\n"
    "  --dll             refuse INPUT if it is not a DLL\n"
    "  --undefined-fill  fill allocated common blocks with the byte 0x80\n"
    "  --require-avx     refuse to start on a processor without AVX\n"
    "  --note            put \"NOTE\" over the image's first four bytes once loaded\n"
    "  --public-routines list only exported routines in the routine table, without lines\n"
    "  --call-lines      for hosted programs: reports show the line of a call, not that of\n"
    "                    the instruction after it\n"
    "  --strip           leave out the symbols and the debug sections\n"
    "  --called NAME     call the image NAME in messages; by default INPUT\n"
    "  --help            print this\n"
    "\n"
    "Exit status: 0 for success, 1 if the image cannot be finished, 2 for a wrong command\n"
    "line. The image must be linked with symbols and, except with --report-only, with the\n"
    "start-up object first and -e __BrackenStartup; see docs/image-format.md.\n";

constexpr int kRefused = 1;
constexpr int kWrongUsage = 2;

constexpr std::size_t kLargestFile = std::size_t{1} << 31;  // far beyond any image

int usage_error(const char* text, const char* argument) {
  std::fprintf(stderr, "finish_image: %s%s (try --help)\n", text, printable(argument).c_str());
  return kWrongUsage;
}

finisher::Bytes bytes_of(const std::string& name) {
  finisher::Bytes bytes;
  if (const char* const failure = read_file(name, &bytes, kLargestFile)) {
    finisher::refuse("%s", failure);
  }
  if (bytes.size() > kLargestFile) finisher::refuse("larger than any image");
  return bytes;
}

// Under a temporary name in the same folder first: there is never half a file.
void write_file(const std::string& name, const finisher::Bytes& bytes) {
  std::error_code error;
  const fs::file_status there = fs::status(name, error);
  if (fs::exists(there) && !fs::is_regular_file(there)) {
    finisher::refuse("cannot write %s: it is a %s", name.c_str(),
                     fs::is_directory(there) ? "folder" : "device");
  }
  // Nobody can put a link under its name first.
  std::random_device random;
  const std::string unfinished = name + "." + std::to_string(random()) + ".tmp";
  FILE* file = std::fopen(unfinished.c_str(), "wbx");
  if (file == nullptr) finisher::refuse("cannot write %s: %s", name.c_str(), std::strerror(errno));
  error.clear();
  if (std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) {
    error.assign(errno, std::generic_category());
  }
  if (std::fclose(file) != 0 && !error) error.assign(errno, std::generic_category());
  if (!error) finisher::make_executable(unfinished, error);
  if (!error) fs::rename(unfinished, name, error);  // also over a file that is there
  if (!error) return;
  std::remove(unfinished.c_str());
  finisher::refuse("cannot write %s: %s", name.c_str(), error.message().c_str());
}

}  // namespace

int main(int count, char** arguments) {
  finisher::Options options;
  std::string input, output, called;
  bool list = false;
  for (int i = 1; i < count; i++) {
    const std::string argument = arguments[i];
    if (argument == "--help") {
      std::fputs(kHelp, stdout);
      return 0;
    }
    if (argument == "-o") {
      if (++i == count) return usage_error("no file after -o", "");
      output = arguments[i];
    } else if (argument == "--called") {
      if (++i == count) return usage_error("no name after --called", "");
      called = arguments[i];
    } else if (argument == "--dll") {
      options.must_be_dll = true;
    } else if (argument == "--undefined-fill") {
      options.undefined_fill = true;
    } else if (argument == "--require-avx") {
      options.require_avx = true;
    } else if (argument == "--note") {
      options.note = true;
    } else if (argument == "--strip") {
      options.strip = true;
    } else if (argument == "--report-only") {
      options.report_only = true;
    } else if (argument == "--public-routines") {
      options.public_routines = true;
    } else if (argument == "--call-lines") {
      options.call_lines = true;
    } else if (argument == "--list") {
      list = true;
    } else if (argument.starts_with("-")) {
      return usage_error("unknown option ", argument.c_str());
    } else if (!input.empty()) {
      return usage_error("more than one input: ", argument.c_str());
    } else {
      input = argument;
    }
  }
  if (input.empty()) return usage_error("no input", "");
  if (called.empty()) called = input;
  if (options.report_only && output.empty() && !list) output = input;
  if (list != output.empty()) {
    return usage_error(list ? "--list takes no -o" : "no output: give -o", "");
  }
  try {
    if (list) {
      finisher::Image image = finisher::read_image(bytes_of(input));
      if (std::fputs(finisher::list_script(image).c_str(), stdout) < 0 ||
          std::fflush(stdout) != 0) {
        finisher::refuse("cannot print its script: %s", std::strerror(errno));
      }
      return 0;
    }
    const finisher::Finished finished = finisher::finish(bytes_of(input), options);
    write_file(output, finished.file);
    if (!finished.remark.empty()) {
      std::fprintf(stderr, "finish_image: note: %s: %s\n", printable(output).c_str(),
                   printable(finished.remark).c_str());
    }
  } catch (const finisher::ImageError& error) {
    std::fprintf(stderr, "finish_image: %s: %s\n", printable(called).c_str(),
                 printable(error.text).c_str());
    return kRefused;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "finish_image: %s: out of memory\n", printable(called).c_str());
    return kRefused;
  }
  return 0;
}
