#include "failure/saved_reports.h"

#include "platform/paths.h"
#include "streams/format.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::uint64_t kLongestFolder = 700;
constexpr int kLongestProgram = 200;

// Of the name: "-20261126-180500-0123456789abcdef.txt" after the program's, and a separator.
static_assert(kLongestFolder + kLongestProgram + 64 < kSavedPathSize);

constexpr struct {
  std::uint32_t code;
  const char* text;
} kProblems[] = {
    {platform::kErrorFileNotFound, "there is no such folder"},
    {platform::kErrorPathNotFound, "there is no such folder"},
    {platform::kErrorAccessDenied, "access is denied"},
    {platform::kErrorFileExists, "a file has its name"},
    {platform::kErrorDiskFull, "the disk is full"},
};

char folder[kLongestFolder + 1];
const char* problem;
std::uint64_t token;

}  // namespace

void settle_report_folder() {
  const std::uint32_t length =
      platform::GetEnvironmentVariableA(kReportFolderVariable, folder, sizeof folder);
  problem = nullptr;
  if (length == 0) {
    folder[0] = '\0';
  } else if (length >= sizeof folder) {
    strcpy(folder, "(too long)");
    problem = "the folder's path is too long";
  } else if (!platform::SystemFunction036(&token, sizeof token)) {
    problem = "the system has no random bytes for its name";
  }
}

bool saves_reports() { return folder[0] != '\0'; }

const char* report_folder() { return folder; }

const char* name_saved_report(char* path) {
  if (problem) return problem;
  static char program[kSavedPathSize];
  platform::SystemTime now;
  platform::GetLocalTime(&now);
  const std::uint32_t length = platform::GetModuleFileNameA(nullptr, program, sizeof program);
  program[length < sizeof program ? length : sizeof program - 1] = '\0';
  sprintf(path, "%s\\%.*s-%04d%02d%02d-%02d%02d%02d-%016llx.txt", folder, kLongestProgram,
          platform::base_name(program), now.year, now.month, now.day, now.hour, now.minute,
          now.second, token);
  return nullptr;
}

const char* saving_problem(std::uint32_t code) {
  for (const auto& each : kProblems) {
    if (each.code == code) return each.text;
  }
  static char text[32];
  sprintf(text, "the system's error %u", code);
  return text;
}

}  // namespace tarn
