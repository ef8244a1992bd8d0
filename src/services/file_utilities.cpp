#include "services/file_utilities.h"

#include "paneview/paneview.h"
#include "platform/platform.h"
#include "storage/heap.h"
#include "streams/format.h"
#include "streams/low_level_files.h"
#include "streams/scan.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::int32_t kFirstYear = 1980;
constexpr std::int32_t kLastYear = kFirstYear + 127;
constexpr std::int32_t kTwoDigits = 100;  // years below have the century left out
constexpr std::uint64_t kFirstStamp = 119'600'064'000'000'000;  // 1980-01-01 as a FileTime
constexpr std::uint64_t kStampsEnd = 159'992'928'000'000'000;   // 2108-01-01
constexpr std::int64_t kLargestFile = 0x7FFFFFFF;
constexpr std::uint64_t kSumBlock = 4096;
constexpr std::uint64_t kPathRoom = 260;
constexpr std::uint32_t kRemoteBit = 4;  // in GetDriveTypeA's 4, 5 and 6

struct Parts {
  std::int32_t first, second, third;
};

std::int32_t pack_date(std::int32_t year, std::int32_t month, std::int32_t day) {
  return (year - kFirstYear) << 9 | month << 5 | day;
}

std::int32_t pack_time(std::int32_t hour, std::int32_t minute, std::int32_t second) {
  return hour << 11 | minute << 5 | second >> 1;
}

// The numbers at characters 0, 3 and 6.
bool read_parts(const char* text, Parts* parts) {
  if (strlen(text) < 7) return false;
  return sscanf(text, "%d", &parts->first) == 1 && sscanf(text + 3, "%d", &parts->second) == 1 &&
         sscanf(text + 6, "%d", &parts->third) == 1;
}

bool is_within(std::int32_t value, std::int32_t least, std::int32_t most) {
  return value >= least && value <= most;
}

bool is_leap_year(std::int32_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

// Systems convert words that are no date differently.
bool is_date_and_time(std::int32_t date, std::int32_t time) {
  static constexpr std::uint8_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const std::int32_t year = kFirstYear + (date >> 9 & 127), month = date >> 5 & 15;
  if (!is_within(month, 1, 12)) return false;
  const std::int32_t days = kDays[month - 1] + (month == 2 && is_leap_year(year) ? 1 : 0);
  return is_within(date & 31, 1, days) && (time >> 11 & 31) <= 23 && (time >> 5 & 63) <= 59 &&
         (time & 31) <= 29;
}

bool has_packed_date(const platform::FileTime& time) {
  const std::uint64_t units = std::uint64_t{time.high} << 32 | time.low;
  return units >= kFirstStamp && units < kStampsEnd;
}

bool find(const char* path, platform::FindData* data) {
  const platform::Handle search = platform::FindFirstFileA(path, data);
  if (search == platform::invalid_handle()) return false;
  platform::FindClose(search);
  return true;
}

bool is_folder(const char* path) {
  paneview::FindRecord record;
  return paneview::findfirst(path, &record, paneview::kFindDirectories) == 0 &&
         (record.attributes & platform::kAttributeDirectory) != 0;
}

}  // namespace

// ---- Dates and times ---------------------------------------------------------

std::int32_t get_file_date_time(const char* path, std::int32_t* date, std::int32_t* time) {
  platform::FindData data;
  if (!find(path, &data)) return 0;
  platform::FileTime local;
  std::uint16_t dos_date = 0, dos_time = 0;
  if (!platform::FileTimeToLocalFileTime(&data.written, &local) || !has_packed_date(local) ||
      !platform::FileTimeToDosDateTime(&local, &dos_date, &dos_time)) {
    dos_date = dos_time = 0;
  }
  *date = dos_date;
  *time = dos_time;
  return 1;
}

std::int32_t get_file_date_time_text(const char* path, char* date, char* time) {
  std::int32_t packed_date, packed_time;
  return get_file_date_time(path, &packed_date, &packed_time) &&
         dos_date_time_to_text(packed_date, packed_time, date, time);
}

std::int32_t set_file_date_time(const char* path, std::int32_t date, std::int32_t time) {
  platform::FindData data;
  platform::FileTime written;
  if (!find(path, &data) || !is_date_and_time(date, time) ||
      !platform::DosDateTimeToFileTime(static_cast<std::uint16_t>(date),
                                       static_cast<std::uint16_t>(time), &written)) {
    return 0;
  }
  const platform::Handle file = platform::CreateFileA(path, platform::kGenericWrite, 0, nullptr,
                                                      platform::kOpenExisting, 0, nullptr);
  if (file == platform::invalid_handle()) return 0;
  const bool stamped = platform::SetFileTime(file, nullptr, nullptr, &written) != 0;
  platform::CloseHandle(file);
  return stamped ? 1 : 0;
}

std::int32_t set_file_date_time_text(const char* path, const char* date, const char* time) {
  Parts d, t;
  if (!read_parts(date, &d) || !read_parts(time, &t)) return 0;
  std::int32_t year = d.third;
  if (is_within(year, 0, kTwoDigits - 1)) year += year < 80 ? 2000 : 1900;
  if (!is_within(d.first, 1, 31) || !is_within(d.second, 1, 12) ||
      !is_within(year, kFirstYear, kLastYear) || !is_within(t.first, 0, 23) ||
      !is_within(t.second, 0, 59) || !is_within(t.third, 0, 59)) {
    return 0;
  }
  return set_file_date_time(path, pack_date(year, d.second, d.first),
                            pack_time(t.first, t.second, t.third));
}

std::int32_t dos_date_time_to_text(std::int32_t date, std::int32_t time, char* date_text,
                                   char* time_text) {
  sprintf(date_text, "%2.2d-%2.2d-%4.4d", date & 31, date >> 5 & 15,
          kFirstYear + (date >> 9 & 127));
  sprintf(time_text, "%2.2d:%2.2d:%2.2d", time >> 11 & 31, time >> 5 & 63, (time & 31) * 2);
  return 1;
}

void get_time(std::int32_t* year, std::int32_t* month, std::int32_t* day, std::int32_t* hour,
              std::int32_t* minute, std::int32_t* second) {
  platform::SystemTime now;
  platform::GetLocalTime(&now);
  *year = now.year;
  *month = now.month;
  *day = now.day;
  *hour = now.hour;
  *minute = now.minute;
  *second = now.second;
}

void get_now_file_date_time(std::int32_t* date, std::int32_t* time) {
  std::int32_t year, month, day, hour, minute, second;
  get_time(&year, &month, &day, &hour, &minute, &second);
  *date = pack_date(year, month, day);
  *time = pack_time(hour, minute, second);
}

// ---- Contents ------------------------------------------------------------------

void* __read_file(const char* path) {
  FILE* const stream = fopen(path, "rb");
  if (!stream) return nullptr;
  std::uint64_t size = 0;
  void* contents = nullptr;
  // Not ftell, which returns the low 32 bits only.
  if (fseek(stream, 0, 2) == 0 && fgetpos(stream, &size) == 0 && size <= kLargestFile) {
    rewind(stream);
    contents = malloc(size);
  }
  if (contents && fread(contents, 1, size, stream) != size) {
    free(contents);
    contents = nullptr;
  }
  fclose(stream);
  return contents;
}

namespace {

// The log for writing at its end. A stream has its file to itself, so while another
// process writes its line this one waits, for up to a second in all.
TARNAPI FILE* open_log(const char* path) {
  constexpr int kTries = 200;
  constexpr std::uint32_t kPause = 5;  // milliseconds
  // A log that does not exist is made by one process: "a" by itself would empty
  // a file that another one has begun since it was looked for.
  if (!FileExists(path)) {
    const platform::Handle made = platform::CreateFileA(
        path, platform::kGenericWrite, platform::kShareRead | platform::kShareWrite, nullptr,
        platform::kCreateNew, 0, nullptr);
    if (made != platform::invalid_handle()) platform::CloseHandle(made);
  }
  for (int i = 0;; ++i) {
    FILE* const stream = fopen(path, "a");
    if (stream || i == kTries || platform::GetLastError() != platform::kErrorSharingViolation) {
      return stream;
    }
    platform::Sleep(kPause);
  }
}

}  // namespace

std::int32_t log_event(const char* text, const char* path) {
  FILE* const stream = open_log(path);
  if (!stream) return 0;
  const std::uint64_t length = strlen(text);
  std::uint64_t wanted = length, written = 0;
  if (length > 0 && text[length - 1] == '\n') {
    written = fwrite(text, 1, length, stream);
  } else if (auto* const line = static_cast<char*>(malloc(length + 2))) {
    // One write, so that lines of several writers do not mix.
    stpcpy(stpcpy(line, text), "\n");
    wanted = length + 1;
    written = fwrite(line, 1, wanted, stream);
    free(line);
  }
  fclose(stream);
  return written == wanted && written > 0 ? 1 : 0;
}

void file_checksum(const char* path, std::uint32_t* sums) {
  sums[0] = sums[1] = 0;
  FILE* const stream = fopen(path, "rb");
  if (!stream) return;
  std::uint32_t words[kSumBlock / 4];
  std::uint32_t total = 0;
  for (;;) {
    __builtin_memset(words, 0, sizeof words);
    const auto count = static_cast<std::uint32_t>(fread(words, 1, kSumBlock, stream));
    if (count == 0) break;
    total += count;
    for (std::uint32_t i = 0; i < (count + 3) / 4; ++i) {
      sums[0] += words[i];
      sums[1] = sums[1] << 1 ^ words[i];
    }
  }
  sums[1] *= total;
  fclose(stream);
}

// ---- Disks and paths -------------------------------------------------------------

std::int32_t disk_is_remote(char letter) {
  if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  const char root[] = {letter, ':', '\\', '\0'};
  return (platform::GetDriveTypeA(root) & kRemoteBit) != 0 ? 1 : 0;
}

void __dquote_string(char* source, char* destination) {
  if (source[0] == '"') {
    if (destination) strcpy(destination, source);
    return;
  }
  char* const to = destination ? destination : source;
  const std::uint64_t length = strlen(source);
  for (std::uint64_t i = length; i > 0; --i)
    to[i] = source[i - 1];  // from the end: may be in place
  to[0] = '"';
  to[length + 1] = '"';
  to[length + 2] = '\0';
}

void __dunquote_string(char* source, char* destination) {
  if (source[0] != '"') {
    if (destination) strcpy(destination, source);
    return;
  }
  char* to = destination ? destination : source;
  for (const char* from = source + 1; *from && *from != '"'; ++from) *to++ = *from;
  *to = '\0';
}

FILE* open_file_path(const char* path, const char* mode) {
  FILE* const stream = fopen(path, mode);
  if (stream) return stream;
  char folder[kPathRoom];
  if (strlen(path) >= kPathRoom) return nullptr;
  strcpy(folder, path);
  char* at = folder + strcspn(folder, "\\");
  if (!*at) return nullptr;
  for (++at;; ++at) {
    at += strcspn(at, "\\");
    if (!*at) return fopen(path, mode);
    *at = '\0';
    if (!is_folder(folder) && paneview::mkdir(folder) != 0) return nullptr;
    *at = '\\';
  }
}

}  // namespace tarn
