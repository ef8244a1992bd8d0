#include "console/text_writers.h"

#include "platform/output.h"
#include "process/process_state.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::int32_t kOutput = 1;
constexpr std::int32_t kError = 2;

std::int32_t write_text(std::int32_t stream, const char* text) {
  return write(stream, text, static_cast<std::int32_t>(strlen(text)));
}

std::int32_t end_line(std::int32_t stream) { return write(stream, "\r\n", 2); }

}  // namespace

std::int32_t __newline() { return end_line(kOutput); }
std::int32_t __errnewline() { return end_line(kError); }

std::int32_t __cou(const char* text) {
  write_text(kOutput, text);
  return end_line(kOutput);
}

std::int32_t __cou1(const char* text, std::int32_t length) {
  write(kOutput, text, length);
  return end_line(kOutput);
}

std::int32_t __errcou(const char* text) {
  write_text(kError, text);
  return end_line(kError);
}

std::int32_t __errcou1(const char* text, std::int32_t length) {
  write(kError, text, length);
  return end_line(kError);
}

std::int32_t __coua(const char* text) { return write_text(kOutput, text); }
std::int32_t _coua1(const char* text, std::int32_t length) { return write(kOutput, text, length); }
std::int32_t __errcoua(const char* text) { return write_text(kError, text); }
std::int32_t __errcoua1(const char* text, std::int32_t length) {
  return write(kError, text, length);
}

std::int32_t write(std::int32_t stream, const void* text, std::int32_t length) {
  if (stream != kOutput && stream != kError) return -1;
  if (length <= 0) return 0;
  const Slot handle = runtime_cell(stream == kOutput ? kCellOutputHandle : kCellErrorHandle);
  std::uint32_t written = 0;
  const bool done = platform::write_output(reinterpret_cast<platform::Handle>(handle), text,
                                           static_cast<std::uint32_t>(length), &written);
  return done ? static_cast<std::int32_t>(written) : -1;
}

}  // namespace tarn
