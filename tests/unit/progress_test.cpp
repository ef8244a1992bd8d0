// Progress in the console's title and the dialog's life, against a real clock:
// the waits of half a second are not shortened, so the cases share them.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "console/console_state.h"
#include "console/progress.h"
#include "console/report_lines.h"
#include "tests/support/raised.h"

namespace {

using namespace tarn;
using platform::Handle;

constexpr std::uint32_t kLongEnough = 20'000;  // a limit for what must happen

std::string title() {
  char text[300] = "";
  return platform::GetConsoleTitleA(text, sizeof text) != 0 ? text : "";
}

bool title_becomes(const std::string& wanted) {
  for (std::uint32_t waited = 0; waited < kLongEnough; waited += 5) {
    if (title() == wanted) return true;
    platform::Sleep(5);
  }
  return false;
}

std::uint64_t now() {  // milliseconds
  platform::FileTime time;
  platform::GetSystemTimeAsFileTime(&time);
  return (std::uint64_t{time.high} << 32 | time.low) / 10'000;
}

class Title : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(platform::SetConsoleTitleA("job")) << "no console"; }
};

// The longest title there is room for: its end gives way and comes back.
TEST_F(Title, DisplayProgressWritesBehindTheTitleAndPutsItBack) {
  DisplayProgress(-1);  // the title isn't known yet: nothing happens
  std::string whole;
  while (whole.size() < 255) whole += static_cast<char>('a' + whole.size() % 26);
  ASSERT_TRUE(platform::SetConsoleTitleA(whole.c_str()));
  const std::string cut = whole.substr(0, 248);
  const struct {
    std::int32_t percent;
    std::string title;
  } cases[] = {
      {7, cut + " (7%)"},         {10, cut + " (10%)"},   {0, cut + " (0%)"}, {99, cut + " (99%)"},
      {100, cut + " (100%)"},     {150, cut + " (100%)"}, {-1, whole},        {50, cut + " (50%)"},
      {INT_MAX, cut + " (100%)"}, {INT_MIN, whole},
  };
  for (const auto& [percent, expected] : cases) {
    DisplayProgress(percent);
    EXPECT_EQ(title(), expected) << percent;
  }
}

struct QuickJob {
  ProgressRecord record;
  Handle thread;
};

void begin(QuickJob* job) {
  job->record.stop_event = reinterpret_cast<std::int64_t>(CreateNamedEvent(nullptr));
  ASSERT_NE(job->record.stop_event, kNoHandle);
  job->thread = platform::CreateThread(nullptr, 0, &MonitorThread, &job->record, 0, nullptr);
  ASSERT_NE(job->thread, nullptr);
}

void expect_end(const QuickJob& job) {
  EXPECT_EQ(platform::WaitForSingleObject(job.thread, kLongEnough), platform::kWaitObject)
      << job.record.total;
  platform::CloseHandle(job.thread);
  platform::CloseHandle(system_handle(job.record.stop_event));
}

// Jobs of which nothing is shown wait beside the slow one.
// Behind an empty title.
TEST_F(Title, TheThreadShowsASlowJobUntilItIsDoneAndNoOther) {
  ASSERT_TRUE(platform::SetConsoleTitleA(""));
  QuickJob jobs[] = {
      {{50.0F, 100.0F, 0, 0}, nullptr},  // 51 percent, one ahead
      {{0.0F, 0.0F, 0, 0}, nullptr},     // no work
      {{7.0F, 0.0F, 0, 0}, nullptr},     // no work, and some of it done
      {{0.0F, -1.0F, 0, 0}, nullptr},    // less than none
      {{3.0e38F, 1.0F, 0, 0}, nullptr},  // more than any integer
      {{0.0F, 100.0F, 0, 0}, nullptr},   // ended before it is slow
  };
  for (QuickJob& job : jobs) begin(&job);
  platform::SetEvent(system_handle(jobs[5].record.stop_event));

  const std::uint64_t start = now();
  const Handle thread = MakeProgressThread(100);
  ASSERT_NE(thread, nullptr);
  EXPECT_EQ(MakeProgressThread(100), nullptr);  // one at a time
  UpdateProgressValue(10);
  UpdateProgressValue(9);  // never goes back
  EXPECT_TRUE(title_becomes(" (11%)")) << title();
  EXPECT_GE(now() - start, 490u);  // by another clock
  UpdateProgressValue(49);
  EXPECT_TRUE(title_becomes(" (50%)")) << title();
  for (const QuickJob& job : jobs) expect_end(job);
  EXPECT_EQ(title(), " (50%)");
  EXPECT_EQ(jobs[0].record.percent, 51);
  EXPECT_EQ(jobs[4].record.percent, INT_MAX);

  UpdateProgressValue(-1);  // done
  EXPECT_EQ(platform::WaitForSingleObject(thread, kLongEnough), platform::kWaitObject);
  EXPECT_EQ(title(), "");
  CloseProgressThread();
  CloseProgressThread();  // there is none
}

TEST(ReportLine, NamesTheCountsThatAreNotZero) {
  const struct {
    std::int32_t errors, warnings, comments;
    const char* line;
  } cases[] = {
      {1, 0, 0, "1 error"},
      {2, 1, 3, "2 errors, 1 warning, 3 comments"},
      {0, 0, 1, "1 comment"},
      {0, 2, 0, "2 warnings"},
      {1, 0, 7, "1 error, 7 comments"},
      {-1, 1, -1, "-1 errors, 1 warning, -1 comments"},
      {INT_MIN, INT_MIN, INT_MIN, "-2147483648 errors, -2147483648 warnings, -2147483648 comments"},
  };
  for (const auto& [errors, warnings, comments, line] : cases) {
    char text[kReportLineSize + 1];
    text[kReportLineSize] = '#';
    const std::int32_t length = MakeErrorReportLine(text, errors, warnings, comments);
    EXPECT_STREQ(text, line);
    EXPECT_EQ(length, static_cast<std::int32_t>(std::string(line).size())) << line;
    EXPECT_EQ(text[kReportLineSize], '#') << line;
  }
  char untouched[] = "#";
  EXPECT_EQ(MakeErrorReportLine(untouched, 0, 0, 0), 0);
  EXPECT_STREQ(untouched, "#");
}

// At the end: afterwards there is a thread that cannot be closed.
TEST(ProgressThreadWithoutItsHandle, RaisesAtTheClose) {
  const Handle thread = MakeProgressThread(100);
  ASSERT_NE(thread, nullptr);
  auto close_both = [thread] {  // nothing in between may get the same handle
    platform::CloseHandle(thread);
    CloseProgressThread();
  };
  EXPECT_EQ(test::raised_by(close_both).number, 199);
}

}  // namespace
