#include "failure/start_faults.h"

#include "failure/error_message.h"
#include "failure/exception_handler.h"
#include "failure/exception_table.h"
#include "failure/image_tables.h"
#include "failure/traceback.h"
#include "failure/trap_routines.h"
#include "streams/format.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::uint32_t kErrorSeverity = 0xC0000000;
constexpr int kMostSteps = 32;
constexpr std::uint64_t kLongestLine = 6000;
constexpr std::uint32_t kStatusFailed = 1;

bool others_handle;
std::int32_t telling;

// Static, for the faulting stack may have little room; the process reports one fault.
platform::AMD_CONTEXT context;
char frames[kMostSteps * kTraceStepSize + 1];
char description[kRuntimeMessageSize];
char name[kImageNameSize];
char text[kLongestLine];

// Walks back as far as there are frames. True if the walk ends in the
// interpreter of an image's script; `context` is there then.
bool walk_to_script() {
  static RoutinePlace routine;
  begin_traceback(true);
  char* end = frames;
  for (int step = 0; step < kMostSteps; ++step) {
    const std::int32_t more = trace_back_once(platform::GetCurrentProcess(), end, &context);
    end += strlen(end);
    if (!more) break;
  }
  const std::uint64_t base = image_at(context.Rip);
  return base && is_marked_image(base) && find_routine(base, context.Rip, {true, 0}, &routine) &&
         strcmpl(routine.name, kStartRoutine) == 0;
}

// Makes one line of it, whatever names in an image hold.
void make_line(char* end) {
  while (end > text && end[-1] == '\n') --end;
  *end = '\0';
  for (char* c = text; c < end; ++c) {
    if (*c == '\n') *c = ' ';
  }
  hide_control_characters(text);
  strcpy(end, "\n");
}

void tell() {
  std::uint32_t written = 0;
  const platform::Handle error = platform::GetStdHandle(platform::kStandardError);
  const auto length = static_cast<std::uint32_t>(strlen(text));
  if (platform::WriteFile(error, text, length, &written, nullptr) && written == length) return;
  platform::MessageBoxA(nullptr, text, "Fatal error!", 0);
}

TARN_MACHINERY TARNAPI std::int32_t on_exception(platform::ExceptionPointers* exception) {
  const platform::ExceptionRecord& record = *exception->record;
  const std::uint64_t address = exception->context->Rip;
  if (reports_failures || (record.code & kErrorSeverity) != kErrorSeverity) return TARN_PASS_ON;
  if (telling) platform::ExitProcess(kStatusFailed);
  const MaskedTraps own;
  const bool is_number = is_raised_number(*exception);
  hide_library_frames = is_number;
  context = *exception->context;
  leave_wild_call(record, &context);
  const bool in_script = walk_to_script();
  const std::uint64_t base = image_at(in_script ? context.Rip : address);
  if (!in_script && others_handle && !(base && is_marked_image(base))) {
    begin_traceback(false);
    return TARN_PASS_ON;
  }
  telling = 1;
  if (!image_name(base, name)) strcpy(name, "an unknown image");
  if (is_number) {
    compose_error_message(*exception->context, description);
  } else {
    const exception_row* const row = find_exception(record.code);
    sprintf(description, "%s (%x)", row ? row->name : "Unknown exception", record.code);
  }
  const auto slot = [](const char* part) { return reinterpret_cast<Slot>(part); };
  const Slot parts[] = {slot(name), slot(description), address,
                        slot(in_script ? " in its start-up script" : ""), slot(frames)};
  format_bounded(text, sizeof text - 1, "%s: %s at address %llx%s, before the library was up: %s",
                 parts);
  make_line(text + strlen(text));
  tell();
  platform::ExitProcess(kStatusFailed);
}

}  // namespace

void watch_start_up(bool others_may_handle) {
  others_handle = others_may_handle;
  platform::AddVectoredExceptionHandler(0, &on_exception);
}

}  // namespace tarn
