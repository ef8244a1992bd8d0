#include "startup/initialise.h"

#include "console/console_state.h"
#include "failure/exception_handler.h"
#include "failure/saved_reports.h"
#include "platform/platform.h"
#include "process/process_state.h"
#include "services/configuration.h"
#include "startup/reports_for_others.h"
#include "storage/secondary_stack.h"
#include "streams/file_stream.h"
#include "strings/c_string.h"
#include "strings/character_class.h"

namespace tarn {
namespace {

std::int32_t not_initialised = 1;

// The longest TARNENVAR that is read. A longer value is cut at the last
// separator that fits, so that no part of a word is taken for a switch.
constexpr std::uint64_t kSwitchTextSize = 10'000;
constexpr char kSwitchSeparators[] = " ;,";

constexpr struct {
  const char* name;
  std::int32_t* cell;
} kSwitches[] = {
    {"kill_dialogbox", &kill_dialogbox},
    {"no_traceback", &no_traceback},
};

constexpr struct {
  RuntimeCell cell;
  std::int32_t which;
} kStandardHandles[] = {
    {kCellInputHandle, platform::kStandardInput},
    {kCellOutputHandle, platform::kStandardOutput},
    {kCellErrorHandle, platform::kStandardError},
};

const ReportsForOthers reports_for_others = {&report_for_others, &fail_report_for_others};

bool is_separator(char c) {
  for (const char* s = kSwitchSeparators; *s; ++s) {
    if (c == *s) return true;
  }
  return false;
}

void read_system_facts() {
  platform::SystemInfo system{};
  platform::GetSystemInfo(&system);
  page_size = system.page_size;
  runtime_cell(kCellClassTable) = reinterpret_cast<Slot>(character_class_table);
}

void settle_standard_handles() {
  platform::StartupInfo info{};
  info.length = sizeof info;
  platform::GetStartupInfoA(&info);
  if (info.flags & platform::kStartUseStdHandles) {
    runtime_cell(kCellInputHandle) = reinterpret_cast<Slot>(info.standard_input);
    runtime_cell(kCellOutputHandle) = reinterpret_cast<Slot>(info.standard_output);
    runtime_cell(kCellErrorHandle) = reinterpret_cast<Slot>(info.standard_error);
  }
  for (const auto& [cell, which] : kStandardHandles) {
    const Slot handle = runtime_cell(cell);
    if (handle == 0 || handle == ~Slot{0}) {
      runtime_cell(cell) = reinterpret_cast<Slot>(platform::GetStdHandle(which));
    }
  }
}

void read_switches() {
  settle_report_folder();
  const char* const value = getenv("TARNENVAR");
  if (!value) return;
  char text[kSwitchTextSize];
  std::uint64_t length = 0;
  while (value[length] && length < kSwitchTextSize - 1) {
    text[length] = value[length];
    ++length;
  }
  if (value[length] && !is_separator(value[length])) {
    while (length > 0 && !is_separator(text[length - 1])) --length;
  }
  text[length] = '\0';
  strlwr(text);
  for (const char* word = strtok(text, kSwitchSeparators); word;
       word = strtok(nullptr, kSwitchSeparators)) {
    for (const auto& [name, cell] : kSwitches) {
      if (strcmp(word, name) == 0) *cell = 1;
    }
  }
}

}  // namespace

extern "C" void __initialise_cpplib() {
  if (!not_initialised) return;
  not_initialised = 0;

  read_system_facts();
  asm volatile("fninit");
  __install_system_exception_handler();  // from here on failures are reported
  settle_standard_handles();
  __init_pseudo_stack();
  __init_c_io();
  __InitialiseConsole();
  kill_dialogbox = 0;
  no_traceback = 0;
  read_switches();
}

extern "C" const ReportsForOthers* tarn_begin_reports() {
  if (reports_failures) return nullptr;
  read_system_facts();
  settle_standard_handles();
  read_switches();
  begin_reports_for_others();
  return &reports_for_others;
}

std::int32_t _ncx_lib_version() { return 0x460E; }

}  // namespace tarn
