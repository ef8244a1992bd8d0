#include "services/child_processes.h"

#include "paneview/paneview.h"
#include "platform/platform.h"
#include "process/raising.h"
#include "storage/heap.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::int32_t kFailed = -1;
constexpr std::uint64_t kBlanksAndNul = 4;

bool has_text(const char* text) { return text && *text; }

// A command line as it grows; a string that doesn't fit makes it unusable.
struct SpawnText {
  char text[kSpawnTextSize];
  std::uint64_t used = 0;
  bool good = true;

  void add(const char* more, const char* behind) {
    const std::uint64_t length = strlen(more) + strlen(behind);
    good = good && length < kSpawnTextSize - used;
    if (!good) return;
    strcpy(stpcpy(text + used, more), behind);
    used += length;
  }
};

bool is_mode(std::int32_t mode) { return mode == kSpawnAndWait || mode == kSpawnAndGoOn; }

bool start(char* command_line, platform::ProcessInformation* child) {
  platform::StartupInfo startup;
  platform::GetStartupInfoA(&startup);
  return platform::CreateProcessA(nullptr, command_line, nullptr, nullptr, 1, 0, nullptr, nullptr,
                                  &startup, child) != 0;
}

void close(const platform::ProcessInformation& child) {
  platform::CloseHandle(child.process);
  platform::CloseHandle(child.thread);
}

// What the child ended with, and the result of the wait for it; both 0 if it is
// left running.
struct Outcome {
  std::uint32_t code, waited;
};

bool run(SpawnText* line, std::int32_t mode, Outcome* outcome) {
  platform::ProcessInformation child;
  *outcome = {0, 0};
  if (!line->good || line->used == 0 || !start(line->text, &child)) return false;
  if (mode == kSpawnAndWait) {
    outcome->waited = platform::WaitForSingleObject(child.process, platform::kWaitForever);
    if (outcome->waited != platform::kWaitObject ||
        !platform::GetExitCodeProcess(child.process, &outcome->code)) {
      outcome->code = static_cast<std::uint32_t>(kFailed);
    }
  }
  close(child);
  return true;
}

}  // namespace

std::int32_t system(const char* command) { return _spawns(kSpawnAndWait, "cmd /c ", command); }

std::int32_t _spawns(std::int32_t mode, const char* program, const char* arguments) {
  if (!is_mode(mode)) return kFailed;
  SpawnText line;
  if (has_text(program)) {
    line.add(program, " ");
    if (has_text(arguments)) line.add(arguments, "");
  }
  Outcome outcome;
  return run(&line, mode, &outcome) ? static_cast<std::int32_t>(outcome.code) : kFailed;
}

std::int32_t _spawnv(std::int32_t mode, const char* program, const char* const* argv) {
  if (!is_mode(mode)) return kFailed;
  SpawnText line;
  const bool named = has_text(program);
  if (named) line.add(program, " ");
  if (argv && named && *argv) ++argv;
  for (; argv && *argv && line.good; ++argv) line.add(*argv, " ");
  Outcome outcome;
  return run(&line, mode, &outcome) ? static_cast<std::int32_t>(outcome.waited) : kFailed;
}

std::int32_t __start_process_and_wait(const char* program, const char* arguments,
                                      std::int32_t slice) {
  const std::uint64_t length =
      (program ? strlen(program) : 0) + (arguments ? strlen(arguments) : 0);
  if (length == 0) return kFailed;
  auto* const line = static_cast<char*>(operator_new(length + kBlanksAndNul));
  if (!line) __RuntimeError(TARN_ERROR_HEAP_EXHAUSTED);
  char* end = line;
  if (has_text(program)) end = stpcpy(stpcpy(line, program), " ");
  strcpy(end, arguments ? arguments : "");

  platform::ProcessInformation child;
  auto result = static_cast<std::uint32_t>(kFailed);
  const bool started = start(line, &child);
  while (started) {
    result = platform::WaitForSingleObject(child.process, static_cast<std::uint32_t>(slice));
    if (slice < 1 || result != platform::kWaitTimeout) break;
    paneview::__yield_program_control(1);
  }
  if (started) close(child);
  operator_delete(line);
  return static_cast<std::int32_t>(result);
}

}  // namespace tarn
