// The C functions over files and time.

#include "paneview/paneview.h"
#include "paneview/text.h"
#include "platform/platform.h"

namespace paneview {
namespace {

namespace platform = tarn::platform;

inline constexpr std::int64_t kUnitsPerSecond = 10'000'000;
inline constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;
inline constexpr std::int64_t kSecondsFrom1601To10000 = 265'046'774'400;

std::int32_t answer(platform::Bool success) { return success != 0 ? 0 : -1; }

std::uint64_t joined(std::uint32_t high, std::uint32_t low) {
  return std::uint64_t{high} << 32 | low;
}

void two_digits(char* to, std::uint32_t value) {
  to[0] = static_cast<char>('0' + value / 10 % 10);
  to[1] = static_cast<char>('0' + value % 10);
}

// Whole seconds of a time within 2^40 seconds of 1970; tested by its exponent,
// since comparing or converting other values can trap.
bool whole_seconds(double time, std::int64_t* seconds) {
  const std::uint64_t exponent = __builtin_bit_cast(std::uint64_t, time) >> 52 & 0x7FF;
  if (exponent >= 1023 + 40) return false;
  *seconds = static_cast<std::int64_t>(time);
  return true;
}

}  // namespace

std::int32_t mkdir(const char* path) { return answer(platform::CreateDirectoryA(path, nullptr)); }

std::int32_t remove(const char* path) { return answer(platform::DeleteFileA(path)); }

std::int32_t chdir(const char* path) { return answer(platform::SetCurrentDirectoryA(path)); }

std::int32_t findfirst(const char* pattern, FindRecord* record, std::int32_t flags) {
  platform::FindData data;
  const platform::Handle find = platform::FindFirstFileA(pattern, &data);
  if (find == platform::invalid_handle()) return -1;
  bool found;
  do {
    found =
        (data.attributes & platform::kAttributeDirectory) == 0 || (flags & kFindDirectories) != 0;
  } while (!found && platform::FindNextFileA(find, &data) != 0);
  platform::FindClose(find);
  if (!found) return -1;
  if (record == nullptr) return 0;
  record->attributes = data.attributes;
  record->reserved = 0;
  record->size = joined(data.size_high, data.size_low);
  record->written = joined(data.written.high, data.written.low);
  const std::uint32_t length = text_length(data.name, sizeof data.name - 1);
  copy_bytes(record->name, data.name, length);
  record->name[length] = 0;
  return 0;
}

double time(double* cell) {
  platform::FileTime now;
  platform::GetSystemTimeAsFileTime(&now);
  const auto units = static_cast<std::int64_t>(joined(now.high, now.low));
  const std::int64_t whole = units / kUnitsPerSecond - kSecondsFrom1601To1970;
  const auto seconds = static_cast<double>(whole);
  if (cell != nullptr) *cell = seconds;
  return seconds;
}

const char* ctime(const double* when) {
  static const char kUnknown[] = "??? ??? ?? ??:??:?? ????\n";
  static const char kDays[] = "SunMonTueWedThuFriSat";
  static const char kMonths[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
  static char text[sizeof kUnknown];

  copy_bytes(text, kUnknown, sizeof kUnknown);
  std::int64_t seconds;
  if (!whole_seconds(*when, &seconds)) return text;
  seconds += kSecondsFrom1601To1970;
  if (seconds < 0 || seconds >= kSecondsFrom1601To10000) return text;
  const auto units = static_cast<std::uint64_t>(seconds * kUnitsPerSecond);
  const platform::FileTime file_time = {static_cast<std::uint32_t>(units),
                                        static_cast<std::uint32_t>(units >> 32)};
  platform::SystemTime universal, local;
  if (platform::FileTimeToSystemTime(&file_time, &universal) == 0 ||
      platform::SystemTimeToTzSpecificLocalTime(nullptr, &universal, &local) == 0 ||
      local.day_of_week > 6 || local.month < 1 || local.month > 12) {
    return text;
  }
  copy_bytes(text, kDays + local.day_of_week * 3, 3);
  copy_bytes(text + 4, kMonths + (local.month - 1) * 3, 3);
  two_digits(text + 8, local.day);
  if (text[8] == '0') text[8] = ' ';
  two_digits(text + 11, local.hour);
  two_digits(text + 14, local.minute);
  two_digits(text + 17, local.second);
  two_digits(text + 20, local.year / 100u);
  two_digits(text + 22, local.year % 100u);
  return text;
}

}  // namespace paneview
