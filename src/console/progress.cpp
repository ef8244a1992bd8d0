#include "console/progress.h"

#include "console/console_state.h"
#include "console/report_lines.h"
#include "platform/byte_block.h"
#include "platform/progress_window.h"
#include "process/raising.h"
#include "storage/heap.h"
#include "streams/conversion/number_text.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

using platform::Handle;

constexpr std::uint32_t kTurn = 500;   // milliseconds between two looks
constexpr std::int32_t kHalfWay = 51;  // percent, one ahead
constexpr float kHalfOfDialog = 0.5F;
constexpr std::int32_t kDone = 100;
constexpr std::uint32_t kNotResumed = 0xFFFFFFFF;

constexpr platform::SecurityAttributes kInherited = {sizeof(platform::SecurityAttributes), nullptr,
                                                     1};

std::int64_t number_of(Handle handle) { return reinterpret_cast<std::int64_t>(handle); }

// Cells that one thread writes and another reads.
template <class Cell>
Cell look(const Cell& cell) {
  Cell value;
  __atomic_load(&cell, &value, __ATOMIC_ACQUIRE);
  return value;
}

template <class Cell>
void put(Cell& cell, Cell value) {
  __atomic_store(&cell, &value, __ATOMIC_RELEASE);
}

// The ratio is of single precision; `ahead` percent are added. A total of 0
// or less counts as 100%.
std::int32_t percentage(float current, float total, double ahead) {
  if (!(total > 0.0F)) return kDone;
  const double percent = static_cast<double>(current / total) * 100.0 + ahead;
  constexpr double kLimit = 2147483647.0;
  return percent < kLimit ? static_cast<std::int32_t>(percent) : INT32_MAX;
}

Handle start_thread(platform::ThreadRoutine routine, void* argument, std::uint32_t flags) {
  std::uint32_t id;
  return platform::CreateThread(&kInherited, 0, routine, argument, flags, &id);
}

void close_handle(std::int64_t* handle) {
  if (*handle != kNoHandle) platform::CloseHandle(system_handle(*handle));
  *handle = kNoHandle;
}

// ---- Title -------------------------------------------------------------------

constexpr std::uint32_t kTitleSize = 256;
constexpr std::uint32_t kPercentSize = 8;  // " (100%)"

// The console's title, and what a percentage after it covers.
struct ProgressTitle {
  char console_title[kTitleSize];
  char covered[kPercentSize];
  char* title_tail;  // where a percentage goes; null until the title is read
};

bool read_title(ProgressTitle* title) {
  char* const text = title->console_title;
  text[0] = '\0';
  // The length of an empty title is 0 too.
  platform::SetLastError(0);
  if (platform::GetConsoleTitleA(text, kTitleSize) == 0 && platform::GetLastError() != 0) {
    return false;
  }
  text[kTitleSize - 1] = '\0';
  std::uint64_t length = strlen(text);
  if (length > kTitleSize - kPercentSize) length = kTitleSize - kPercentSize;
  title->title_tail = text + length;
  copy_bytes(title->covered, title->title_tail, kPercentSize);
  return true;
}

// 0 to 999 percent.
void show_in_title(ProgressTitle* title, std::int32_t percent) {
  char* end = title->title_tail;
  *end++ = ' ';
  *end++ = '(';
  itoa(percent, end, 10);
  strcpy(end + strlen(end), "%)");
  platform::SetConsoleTitleA(title->console_title);
}

void restore_title(ProgressTitle* title) {
  copy_bytes(title->title_tail, title->covered, kPercentSize);
  platform::SetConsoleTitleA(title->console_title);
}

ProgressTitle displayed_title;

// ---- Thread ------------------------------------------------------------------

ProgressRecord progress_record;
std::int64_t progress_thread = kNoHandle;

std::uint32_t wait_a_turn(std::int64_t event) {
  return platform::WaitForSingleObject(system_handle(event), kTurn);
}

std::int32_t percent_ahead(const ProgressRecord& record) {
  return percentage(look(record.current), record.total, 1.0);
}

bool goes_on(Handle thread) { return platform::ResumeThread(thread) != kNotResumed; }

// Abandons a thread, and its event if there is one. A thread that the
// system does not resume remains, suspended for ever.
void give_up(Handle thread) {
  if (thread != nullptr) {  // no work: it ends at once
    progress_record.total = -1.0F;
    if (goes_on(thread)) platform::WaitForSingleObject(thread, platform::kWaitForever);
    platform::CloseHandle(thread);
  }
  close_handle(&progress_record.stop_event);
}

// ---- Dialog ------------------------------------------------------------------

char dialog_title[platform::kProgressTextSize];
char dialog_text[platform::kProgressTextSize];
std::int32_t dialog_text_length;
float dialog_total;
std::int32_t dialog_current;
std::int32_t dialog_high_water = -1;
std::int64_t dialog_close_event = kNoHandle;  // ends the dialog
std::int64_t dialog_ready_event = kNoHandle;  // the window is up, or has failed
std::int64_t dialog_monitor_thread = kNoHandle;
std::int64_t dialog_thread = kNoHandle;
std::int64_t dialog_window = kNoHandle;

void take_text(const char* text, char (&to)[platform::kProgressTextSize]) {
  std::uint32_t length = 0;
  while (length < sizeof to - 1 && text[length] != '\0') {
    to[length] = text[length];
    ++length;
  }
  to[length] = '\0';
  platform::OemToCharA(to, to);
}

float dialog_ratio() { return static_cast<float>(look(dialog_current)) / dialog_total; }

TARNAPI void fill_picture(platform::ProgressPicture* picture) {
  char report[kReportLineSize];
  std::int32_t report_length = 0;
  const ErrorCounters counts = error_counters();
  if (counts.error_count > 0 || counts.warning_count > 0 || counts.comment_count > 0) {
    report_length =
        MakeErrorReportLine(report, counts.error_count, counts.warning_count, counts.comment_count);
  }
  const std::int32_t room = static_cast<std::int32_t>(sizeof picture->text) - 1 - report_length;
  const std::int32_t kept = dialog_text_length < room ? dialog_text_length : room;
  copy_bytes(picture->text, dialog_text, static_cast<std::uint32_t>(kept));
  copy_bytes(picture->text + kept, report, static_cast<std::uint32_t>(report_length));
  picture->text[kept + report_length] = '\0';

  picture->percent = percentage(static_cast<float>(look(dialog_current)), dialog_total, 0.0);
  strcpy(picture->percent_text, " (");
  itoa(picture->percent, picture->percent_text + 2, 10);
  strcat(picture->percent_text, "%)");
}

TARNAPI void end_dialog() {
  if (dialog_close_event != kNoHandle) platform::SetEvent(system_handle(dialog_close_event));
}

bool dialog_goes_on() {
  return wait_a_turn(dialog_close_event) == platform::kWaitTimeout &&
         static_cast<float>(look(dialog_current)) < dialog_total &&
         look(dialog_window) != kNoHandle;
}

// The event may not exist: then the window itself, or its thread, shows it.
void wait_for_window() {
  while (wait_a_turn(dialog_ready_event) == platform::kWaitTimeout &&
         look(dialog_window) == kNoHandle &&
         platform::WaitForSingleObject(system_handle(dialog_thread), 0) == platform::kWaitTimeout) {
  }
}

void attend_window() {
  wait_for_window();
  while (dialog_goes_on()) platform::RedrawProgressWindow(system_handle(look(dialog_window)));
  const std::int64_t window = look(dialog_window);
  if (window != kNoHandle) platform::CloseProgressWindow(system_handle(window));
  platform::WaitForSingleObject(system_handle(dialog_thread), platform::kWaitForever);
}

}  // namespace

void DisplayProgress(std::int32_t percent) {
  ProgressTitle* const title = &displayed_title;
  if (title->title_tail == nullptr && (percent == -1 || !read_title(title))) return;
  if (percent < 0) {
    restore_title(title);
  } else {
    show_in_title(title, percent < kDone ? percent : kDone);
  }
}

std::uint32_t MonitorThread(void* argument) {
  auto* const record = static_cast<ProgressRecord*>(argument);
  if (record->total < 0.0F) return 0;
  std::uint32_t waited = wait_a_turn(record->stop_event);
  if (waited == platform::kWaitTimeout) {
    record->percent = percent_ahead(*record);
    if (record->percent >= kHalfWay) return 0;
    ProgressTitle title;
    if (!read_title(&title)) return waited;
    while (record->total > look(record->current) && record->percent < kDone) {
      show_in_title(&title, record->percent);
      waited = wait_a_turn(record->stop_event);
      if (waited != platform::kWaitTimeout) break;
      record->percent = percent_ahead(*record);
    }
    restore_title(&title);
  }
  return waited == platform::kWaitFailed ? 1 : 0;
}

Handle MakeProgressThread(std::int32_t total) {
  if (progress_thread != kNoHandle || desktop_facts().slow_machine != 0) return nullptr;
  progress_record = {0.0F, static_cast<float>(total), 0, kNoHandle};
  const Handle thread = start_thread(&MonitorThread, &progress_record, platform::kCreateSuspended);
  progress_record.stop_event = number_of(CreateNamedEvent(nullptr));
  if (thread == nullptr || progress_record.stop_event == kNoHandle) {
    give_up(thread);
    return nullptr;
  }
  platform::SetThreadPriority(thread, 0);
  if (!goes_on(thread)) {
    give_up(thread);
    return nullptr;
  }
  progress_thread = number_of(thread);
  return thread;
}

void UpdateProgressValue(std::int32_t value) {
  const auto done = static_cast<float>(value);
  if (done >= progress_record.current) {
    put(progress_record.current, done);
  } else if (value < 0) {
    put(progress_record.current, progress_record.total);
  }
}

void CloseProgressThread() {
  if (progress_thread == kNoHandle) return;
  if (!platform::SetEvent(system_handle(progress_record.stop_event)) ||
      platform::WaitForSingleObject(system_handle(progress_thread), platform::kWaitForever) ==
          platform::kWaitFailed) {
    __RuntimeError(TARN_ERROR_HEAP_EXHAUSTED);
  }
  close_handle(&progress_record.stop_event);
  close_handle(&progress_thread);
}

Handle CreateNamedEvent(const char* name) {
  const Handle event = platform::CreateEventA(&kInherited, 0, 0, name);
  return event != nullptr ? event : platform::invalid_handle();
}

std::uint32_t DialogThread(void*) {
  const DesktopFacts& desktop = desktop_facts();
  const platform::ProgressWindowLook window = {dialog_title,
                                               desktop.full_screen_width,
                                               desktop.full_screen_height,
                                               desktop.common_controls_version,
                                               &fill_picture,
                                               &end_dialog};
  const Handle opened = platform::OpenProgressWindow(&window);
  put(dialog_window, number_of(opened));
  platform::SetEvent(system_handle(dialog_ready_event));
  if (opened == platform::invalid_handle()) return 1;
  platform::ServeProgressWindow(opened);
  return 0;
}

std::uint32_t DialogMonitor(void*) {
  if (wait_a_turn(dialog_close_event) != platform::kWaitTimeout || dialog_ratio() > kHalfOfDialog) {
    return 0;
  }
  dialog_ready_event = number_of(CreateNamedEvent(nullptr));
  if (dialog_ready_event == kNoHandle) return 0;
  if (const Handle thread = start_thread(&DialogThread, nullptr, 0); thread != nullptr) {
    dialog_thread = number_of(thread);
    attend_window();
    close_handle(&dialog_thread);
  }
  close_handle(&dialog_ready_event);
  return 0;
}

void StartProgressDialog(std::int32_t total, const char* title, const char* text) {
  if (total <= 0) return;
  if (dialog_monitor_thread != kNoHandle) CloseProgressDialog();
  take_text(title, dialog_title);
  take_text(text, dialog_text);
  dialog_text_length = static_cast<std::int32_t>(strlen(dialog_text));
  dialog_total = static_cast<float>(total);
  dialog_close_event = number_of(CreateNamedEvent(nullptr));
  const Handle monitor = start_thread(&DialogMonitor, nullptr, 0);
  dialog_monitor_thread = monitor != nullptr ? number_of(monitor) : kNoHandle;
}

void UpdateProgressDialog(std::int32_t value) {
  if (value < 0) return;
  if (static_cast<float>(value) > dialog_total) {
    // A total of the greatest integer became the next float above it.
    constexpr float kLimit = 2147483648.0F;
    put(dialog_current,
        dialog_total < kLimit ? static_cast<std::int32_t>(dialog_total) : INT32_MAX);
  } else if (value > dialog_high_water) {
    put(dialog_current, value);
    dialog_high_water = value;
  }
}

void CloseProgressDialog() {
  if (dialog_monitor_thread != kNoHandle) {
    const std::int32_t done = dialog_current;
    // If the event cannot be set, the monitor ends at its next look, as it does
    // when the job is done.
    if (!platform::SetEvent(system_handle(dialog_close_event))) put(dialog_current, INT32_MAX);
    platform::WaitForSingleObject(system_handle(dialog_monitor_thread), platform::kWaitForever);
    put(dialog_current, done);
  }
  close_handle(&dialog_monitor_thread);
  close_handle(&dialog_close_event);
  dialog_thread = dialog_window = kNoHandle;
  SetErrorCounters(-1, -1, -1);
}

}  // namespace tarn
