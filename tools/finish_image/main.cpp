// finish_image: the step behind the linker that every image needs.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>

#include "finish.h"
#include "script.h"

namespace {

constexpr char kHelp[] =
    "finish_image [options] INPUT -o OUTPUT   finish a linked program or DLL\n"
    "finish_image --list IMAGE                print a finished image's start-up script\n"
    "\n"
    "  --dll             refuse INPUT if it is not a DLL\n"
    "  --undefined-fill  fill allocated common blocks with the byte 0x80\n"
    "  --require-avx     refuse to start on a processor without AVX\n"
    "  --note            put \"NOTE\" over the image's first four bytes once loaded\n"
    "  --public-routines the routine table has exported routines only, without lines\n"
    "  --strip           leave out the symbols and the debug sections\n"
    "  --help            print this\n"
    "\n"
    "Exit status: 0 if done, 1 if the image is refused, 2 for a wrong command line.\n"
    "The image must be linked with the start-up object first, -e __BrackenStartup and\n"
    "its symbols kept; docs/image-format.md tells the rest.\n";

constexpr int kRefused = 1;
constexpr int kWrongUsage = 2;

int usage_error(const char* text, const char* argument) {
  std::fprintf(stderr, "finish_image: %s%s (try --help)\n", text, argument);
  return kWrongUsage;
}

finisher::Bytes read_file(const std::string& name) {
  FILE* file = std::fopen(name.c_str(), "rb");
  if (file == nullptr) finisher::refuse("%s", std::strerror(errno));
  finisher::Bytes bytes;
  std::uint8_t part[65536];
  for (std::size_t got; (got = std::fread(part, 1, sizeof part, file)) > 0;) {
    bytes.insert(bytes.end(), part, part + got);
  }
  const bool failed = std::ferror(file) != 0;
  const int error = errno;
  std::fclose(file);
  if (failed) finisher::refuse("%s", std::strerror(error));
  return bytes;
}

// Under a temporary name in the same folder first: there is never half a file.
void write_file(const std::string& name, const finisher::Bytes& bytes) {
  const std::string unfinished = name + "." + std::to_string(getpid()) + ".tmp";
  FILE* file = std::fopen(unfinished.c_str(), "wb");
  if (file == nullptr) finisher::refuse("cannot write %s: %s", name.c_str(), std::strerror(errno));
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  const bool closed = std::fclose(file) == 0;
  if (written && closed && chmod(unfinished.c_str(), 0755) == 0 &&
      std::rename(unfinished.c_str(), name.c_str()) == 0) {
    return;
  }
  const int error = errno;
  std::remove(unfinished.c_str());
  finisher::refuse("cannot write %s: %s", name.c_str(), std::strerror(error));
}

}  // namespace

int main(int count, char** arguments) {
  finisher::Options options;
  std::string input, output;
  bool list = false;
  for (int i = 1; i < count; i++) {
    const std::string argument = arguments[i];
    if (argument == "--help") {
      std::fputs(kHelp, stdout);
      return 0;
    }
    if (argument == "-o") {
      if (++i == count) return usage_error("no file behind -o", "");
      output = arguments[i];
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
    } else if (argument == "--public-routines") {
      options.public_routines = true;
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
  if (list != output.empty()) {
    return usage_error(list ? "--list takes no -o" : "no output: give -o", "");
  }
  try {
    if (list) {
      finisher::Image image = finisher::read_image(read_file(input));
      std::fputs(finisher::list_script(image).c_str(), stdout);
      return 0;
    }
    const finisher::Finished finished = finisher::finish(read_file(input), options);
    write_file(output, finished.file);
    if (!finished.remark.empty()) {
      std::fprintf(stderr, "finish_image: note: %s: %s\n", output.c_str(), finished.remark.c_str());
    }
  } catch (const finisher::Refusal& refusal) {
    std::fprintf(stderr, "finish_image: %s: %s\n", input.c_str(), refusal.text.c_str());
    return kRefused;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "finish_image: %s: out of memory\n", input.c_str());
    return kRefused;
  }
  return 0;
}
