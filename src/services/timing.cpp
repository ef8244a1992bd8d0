#include "services/timing.h"

#include "paneview/paneview.h"
#include "platform/platform.h"
#include "process/process_state.h"
#include "streams/file_stream.h"
#include "streams/format.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::uint32_t kFolderSize = 80;  // of the value of appdata
constexpr char kFolder[] = "\\Timing";
constexpr char kFile[] = "\\Timing_data";

constexpr double kMillisecondsPerSecond = 1000.0;
constexpr double kNanosecondsPerSecond = 1e9;

constexpr std::int64_t kFirstCount = 1000;
constexpr int kBatch = 10;
constexpr double kLongEnough = 8.0;  // seconds of a pass that counts
constexpr double kScalable = 0.3;    // of one that decides how many calls to make
constexpr double kAim = 9.0;         // of the pass that is then made

void call_in_tens(TimedRoutine routine, std::int64_t count) {
  for (std::int64_t made = 0; made < count; made += kBatch) {
    for (int i = 0; i < kBatch; ++i) routine();
  }
}

// Below 0 for a pass that crosses midnight.
double seconds_for(TimedRoutine routine, std::int64_t count) {
  const std::uint32_t start = timing_clock();
  call_in_tens(routine, count);
  return static_cast<std::int32_t>(timing_clock() - start) / kMillisecondsPerSecond;
}

}  // namespace

std::uint32_t(TARNAPI* timing_clock)() = &__milliseconds_after_midnight;

std::uint32_t __milliseconds_after_midnight() {
  platform::SystemTime now;
  platform::GetLocalTime(&now);
  return (now.hour * 3600u + now.minute * 60u + now.second) * 1000u + now.milliseconds;
}

void current_time(double* seconds) {
  *seconds = __milliseconds_after_midnight() / kMillisecondsPerSecond;
}

void save_timing(double nanoseconds) {
  char path[kFolderSize + sizeof kFolder + sizeof kFile];
  const std::uint32_t length = platform::GetEnvironmentVariableA("appdata", path, kFolderSize);
  if (length == 0 || length >= kFolderSize) {
    fprintf(standard_stream(kCellStderr),
            "save_timing: appdata is missing or too long, nothing is saved\n");
    return;
  }
  char* const folder_end = stpcpy(path + length, kFolder);
  paneview::mkdir(path);
  strcpy(folder_end, kFile);
  printf("%s\n", path);
  FILE* const file = fopen(path, "wb");
  fwrite(&nanoseconds, sizeof nanoseconds, 1, file);
  fclose(file);
}

double PERFORM_TIMING(TimedRoutine routine) {
  std::int64_t count = kFirstCount;
  double elapsed = seconds_for(routine, count);
  while (elapsed <= kLongEnough) {
    count = elapsed >= kScalable
                ? static_cast<std::int64_t>(static_cast<double>(count) * kAim / elapsed)
                : count * 2;
    elapsed = seconds_for(routine, count);
  }
  const double nanoseconds = elapsed * kNanosecondsPerSecond / static_cast<double>(count);
  save_timing(nanoseconds);
  return nanoseconds;
}

}  // namespace tarn
