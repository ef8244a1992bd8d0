#include "startup/command_line.h"

#include "platform/byte_block.h"
#include "platform/platform.h"
#include "process/raising.h"
#include "storage/heap.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::uint32_t kFoundPathSize = 256;
constexpr std::uint32_t kModuleNameSize = 1024;
constexpr std::uint32_t kProgramPathSize = 32'768;  // the longest path of the system

char module_name[kModuleNameSize];

// The program has no use for a part of its arguments: without storage it ends.
template <class T>
T* required(T* allocated) {
  if (!allocated) __RuntimeError(TARN_ERROR_HEAP_EXHAUSTED);
  return allocated;
}

// Apart, so that no other start passes over this much of the stack.
[[gnu::noinline]] char* own_path(const char* name) {
  char own[kProgramPathSize];
  const std::uint32_t own_length = platform::GetModuleFileNameA(nullptr, own, kProgramPathSize);
  if (own_length > 0 && own_length < kProgramPathSize) return strdup(own);
  return strdup(name);
}

// A heap copy of the path that the program's name leads to, or of the main
// image's own path if the name is not found or its path is too long.
char* program_path(const char* name) {
  char found[kFoundPathSize];
  const std::uint32_t length =
      platform::SearchPathA(nullptr, name, ".exe", kFoundPathSize, found, nullptr);
  return length > 0 && length < kFoundPathSize ? strdup(found) : own_path(name);
}

// End of the token that starts at `start`.
const char* token_end(const char* start) {
  const char* p = start;
  if (*p == '/') ++p;
  char open_quote = '\0';
  for (; *p; ++p) {
    if (open_quote) {
      if (*p == open_quote) open_quote = '\0';
    } else if (*p == '"' || *p == '\'') {
      open_quote = *p;
    } else if (*p == ' ' || *p == '\t' || *p == '/') {
      break;
    }
  }
  return p;
}

char* copy_text(const char* from, std::uint64_t length) {
  auto* const text = required(static_cast<char*>(malloc(length + 1)));
  copy_bytes(text, from, length);
  text[length] = '\0';
  return text;
}

char* first_argument(const char* start, std::uint64_t length) {
  if (*start == '"') {  // strip the enclosing pair; a lone quote strips to nothing
    ++start;
    length = length >= 2 ? length - 2 : 0;
  }
  char* const name = copy_text(start, length);
  char* const path = required(program_path(name));
  free(name);
  return path;
}

const char* skip_space(const char* p) {
  while (*p == ' ' || *p == '\t') ++p;
  return p;
}

std::int32_t count_tokens(const char* line) {
  std::int32_t count = 0;
  for (const char* p = skip_space(line); *p; p = skip_space(token_end(p))) ++count;
  return count;
}

}  // namespace

extern "C" {

char** tarn_split_command_line(const char* command_line, std::int32_t* count) {
  const std::int32_t wanted = count_tokens(command_line);
  *count = 0;
  auto** const argv = required(
      static_cast<char**>(malloc((static_cast<std::uint64_t>(wanted) + 1) * sizeof(char*))));
  const char* p = command_line;
  for (std::int32_t i = 0; i < wanted; ++i) {
    p = skip_space(p);
    const char* const end = token_end(p);
    const auto length = static_cast<std::uint64_t>(end - p);
    argv[i] = i == 0 ? first_argument(p, length) : copy_text(p, length);
    p = end;
  }
  argv[wanted] = nullptr;
  *count = wanted;
  return argv;
}

// For __get_main_arguments: argv, and argc by reference.
TARNAPI char** tarn_build_main_arguments(std::int32_t* count) {
  return tarn_split_command_line(platform::GetCommandLineA(), count);
}

}  // extern "C"

void GET_PROGRAM_NAME(char* name, std::int64_t length) {
  char path[kProgramPathSize];
  const std::uint32_t found = platform::GetModuleFileNameA(nullptr, path, kProgramPathSize);
  for (std::int64_t i = 0; i < length; ++i) name[i] = i < found ? path[i] : ' ';
}

void THIS_MODULE_NAME(char* name) {
  platform::Module module = nullptr;
  module_name[0] = '\0';
  if (platform::GetModuleHandleExW(platform::kModuleFromAddress, module_name, &module)) {
    platform::GetModuleBaseNameA(platform::GetCurrentProcess(), module, module_name,
                                 kModuleNameSize);
    module_name[kModuleNameSize - 1] = '\0';
  }
  strcpy(name, module_name);
}

}  // namespace tarn
