#include "tests/support/captured.h"

#include "console/console_state.h"
#include "process/process_state.h"
#include "streams/file_stream.h"
#include "streams/low_level_files.h"
#include "tests/support/raised.h"

namespace tarn::test {

std::string output_of(void (*call)(void* argument), void* argument) {
  initialise();
  const std::string path = "output_" + std::to_string(platform::GetCurrentProcessId()) + ".tmp";
  FILE* const file = fopen(path.c_str(), "w");
  if (!file) return "(no file)";
  const Slot before = runtime_cell(kCellStdout);
  const std::int64_t console_before = console.output_handle;
  runtime_cell(kCellStdout) = reinterpret_cast<Slot>(file);
  RedirectConsoleOutput(reinterpret_cast<std::int64_t>(file->handle));
  console.pending_count = 0;
  console.buffered = 1;
  call(argument);
  RedirectConsoleOutput(console_before);
  runtime_cell(kCellStdout) = before;
  fclose(file);
  std::string output = contents(path.c_str());
  _unlink(path.c_str());
  return output;
}

std::string contents(const char* path) {
  FILE* const file = fopen(path, "rb");
  if (!file) return "(none)";
  std::string bytes;
  char part[4096];
  while (const std::uint64_t count = fread(part, 1, sizeof part, file)) bytes.append(part, count);
  fclose(file);
  return bytes;
}

void make_file(const char* path, const std::string& bytes) {
  FILE* const file = fopen(path, "wb");
  fwrite(bytes.data(), 1, bytes.size(), file);
  fclose(file);
}

std::string with_crlf(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '\n') result += '\r';
    result += c;
  }
  return result;
}

}  // namespace tarn::test
