#include "failure/start_faults.h"

#include "failure/error_message.h"
#include "failure/exception_handler.h"
#include "failure/exception_table.h"
#include "failure/image_tables.h"
#include "failure/safe_memory.h"
#include "failure/traceback.h"
#include "failure/trap_routines.h"
#include "platform/pe_format.h"
#include "streams/format.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::uint32_t kErrorSeverity = 0xC0000000;
constexpr int kMostSteps = 32;
constexpr std::uint64_t kNameSize = 260;
constexpr std::uint64_t kPathSize = 3000;
constexpr std::uint32_t kStatusFailed = 1;
constexpr char kUnknownImage[] = "an unknown image";

bool all_are_ours;
std::int32_t telling;

// Static, for the faulting stack may have little room; the process tells one fault.
char traceback[kMostSteps * kTraceStepSize];
char description[kErrorMessageSize];
RoutinePlace routine;

// The image at an address: its base and its name. False if there is none.
bool image_at(std::uint64_t address, std::uint64_t* base, char (&name)[kNameSize]) {
  static char path[kPathSize];
  platform::Module module = nullptr;
  if (!platform::GetModuleHandleExA(platform::kModuleFromAddress,
                                    reinterpret_cast<const void*>(address), &module) ||
      !module) {
    return false;
  }
  *base = reinterpret_cast<std::uint64_t>(module);
  const std::uint32_t length = platform::GetModuleFileNameA(module, path, kPathSize);
  path[length < kPathSize ? length : kPathSize - 1] = '\0';
  const char* const separator = strrchr(path, '\\');
  strncpy(name, separator ? separator + 1 : path, kNameSize - 1);
  name[kNameSize - 1] = '\0';
  return true;
}

bool is_finished_image(std::uint64_t base) {
  char mark[pe::kImageMarkLength];
  safe_memory_read(base + pe::kImageMarkOffset, mark, sizeof mark);
  return memcmp(mark, pe::kImageMark, sizeof mark) == 0;
}

// Walks back until the interpreter of an image's script, and leaves `context` there.
void walk_to_script(const platform::ExceptionRecord& record, platform::AMD_CONTEXT* context) {
  leave_wild_call(record, context);
  char* end = traceback;
  for (int step = 0; step < kMostSteps; ++step) {
    const std::int32_t more = trace_back_once(platform::GetCurrentProcess(), end, context);
    end += strlen(end);
    if (!more) return;
  }
}

bool is_frame(const char* line) {
  return (line[0] == 'i' || line[0] == 'I') && line[1] == 'n' && line[2] == ' ';
}

// The name in a line of the traceback, and the line number if it has one: what
// comes before the address.
std::uint64_t frame_length(const char* frame) {
  std::uint64_t length = 0;
  while (frame[length] && frame[length] != '\n' &&
         strncmp(frame + length, " at address ", 12) != 0 &&
         strncmp(frame + length, ", at address ", 13) != 0) {
    ++length;
  }
  return length;
}

const char* next_line(const char* text) {
  while (*text && *text++ != '\n') {
  }
  return text;
}

// Names in an image may hold anything.
void make_printable(char* text) {
  for (; *text; ++text) {
    if (static_cast<unsigned char>(*text) < ' ' || *text == '\x7F') *text = '?';
  }
}

void tell(const char* line) {
  std::uint32_t written = 0;
  const platform::Handle error = platform::GetStdHandle(platform::kStandardError);
  const auto length = static_cast<std::uint32_t>(strlen(line));
  if (platform::WriteFile(error, line, length, &written, nullptr) && written == length) return;
  platform::MessageBoxA(nullptr, line, "Fatal error!", 0);
}

TARN_MACHINERY TARNAPI std::int32_t on_exception(platform::ExceptionPointers* exception) {
  const platform::ExceptionRecord& record = *exception->record;
  if (reports_failures || (record.code & kErrorSeverity) != kErrorSeverity) return kTrapPassOn;
  if (telling) platform::ExitProcess(kStatusFailed);
  const MaskedTraps own;
  static platform::AMD_CONTEXT context;
  context = *exception->context;
  hide_library_frames = is_raised_number(*exception);
  walk_to_script(record, &context);

  static char name[kNameSize];
  std::uint64_t base = 0;
  const bool in_script = image_at(context.Rip, &base, name) &&
                         find_routine(base, context.Rip, &routine) &&
                         strcmpl(routine.name, kStartRoutine) == 0;
  if (!in_script) {
    const bool known = image_at(exception->context->Rip, &base, name);
    if (!all_are_ours && !(known && is_finished_image(base))) return kTrapPassOn;
    if (!known) strcpy(name, kUnknownImage);
  }
  telling = 1;
  if (is_raised_number(*exception)) {
    compose_error_message(*exception->context, description);
  } else {
    const exception_row* const row = find_exception(record.code);
    sprintf(description, "%s (%x)", row ? row->name : "Unknown exception", record.code);
  }
  const char* first = nullptr;
  const char* last = nullptr;
  for (const char* line = traceback; *line; line = next_line(line)) {
    if (!is_frame(line)) continue;
    last = line;
    if (!first) first = line;
  }
  static char text[kErrorMessageSize + kNameSize + 3 * kLongestRoutineName];
  char* end =
      text + sprintf(text, "%s: %s at address %llx", name, description, exception->context->Rip);
  if (first) end += sprintf(end, ", %.*s", static_cast<int>(frame_length(first)), first);
  if (in_script && last) {
    constexpr int kIn = 3;  // "in " before the name
    const char* const called = last + kIn + (last[kIn] == ' ');
    const char* const line = strstr(called, " in line ");
    const std::uint64_t length = frame_length(called);
    const bool numbered = line && line < called + length;
    end += sprintf(end, " while its start-up script ran %.*s",
                   static_cast<int>(numbered ? line - called : static_cast<std::int64_t>(length)),
                   called);
  } else if (in_script) {
    end += sprintf(end, " in its start-up script");
  }
  end += sprintf(end, ", before the library was up");
  make_printable(text);
  strcpy(end, "\n");
  tell(text);
  platform::ExitProcess(kStatusFailed);
}

}  // namespace

void watch_start_up(bool others_may_handle) {
  all_are_ours = !others_may_handle;
  platform::AddVectoredExceptionHandler(0, &on_exception);
}

}  // namespace tarn
