// Timing, with a clock that the timed routine itself moves.
#include "services/timing.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/platform.h"
#include "streams/file_stream.h"
#include "tests/support/raised.h"

namespace {

constexpr std::int64_t kDay = 86'400'000'000;  // microseconds
constexpr char kFolder[] = "timing_test_folder";

std::int64_t now, step, calls;
TARNAPI std::uint32_t milliseconds() { return static_cast<std::uint32_t>(now % kDay / 1000); }
TARNAPI void routine() {
  now += step;
  ++calls;
}

double saved() {
  std::ifstream file(std::string(kFolder) + "/Timing/Timing_data", std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(file), {});
  double value = -1;
  EXPECT_EQ(bytes.size(), sizeof value);
  if (bytes.size() == sizeof value) std::memcpy(&value, bytes.data(), sizeof value);
  return value;
}

class Timing : public ::testing::Test {
 protected:
  void SetUp() override {
    tarn::test::initialise();
    tarn::timing_clock = &milliseconds;
    std::filesystem::remove_all(kFolder);
    std::filesystem::create_directory(kFolder);
    tarn::platform::SetEnvironmentVariableA("appdata", kFolder);
  }
  void TearDown() override {
    tarn::timing_clock = &tarn::__milliseconds_after_midnight;
    std::filesystem::remove_all(kFolder);
  }
};

// What goes to the library's standard output meanwhile, and to standard error.
std::string printed_by_saving(double value, std::string* errors) {
  struct {
    tarn::RuntimeCell cell;
    const char* file;
    std::string text;
  } streams[] = {{tarn::kCellStdout, "timing_test_output", ""},
                 {tarn::kCellStderr, "timing_test_errors", ""}};
  std::uint64_t before[2];
  for (int i = 0; i < 2; ++i) {
    before[i] = tarn::runtime_cell(streams[i].cell);
    tarn::runtime_cell(streams[i].cell) =
        reinterpret_cast<std::uint64_t>(tarn::fopen(streams[i].file, "w"));
  }
  tarn::save_timing(value);
  for (int i = 0; i < 2; ++i) {
    tarn::fclose(tarn::standard_stream(streams[i].cell));
    tarn::runtime_cell(streams[i].cell) = before[i];
    std::ifstream file(streams[i].file, std::ios::binary);
    streams[i].text.assign(std::istreambuf_iterator<char>(file), {});
    file.close();
    std::remove(streams[i].file);
  }
  *errors = streams[1].text;
  return streams[0].text;
}

TEST_F(Timing, PassesAreScaledUntilOneIsLong) {
  constexpr struct {
    const char* what;
    std::int64_t start, step;  // microseconds
    std::int64_t calls;
    double nanoseconds;
  } kCases[] = {
      {"doubled to 0.32 s, then 9.0 s", 0, 10, 63'000 + 900'000, 10'000},
      {"exactly 0.3 s is scaled", 700'000, 300, 1000 + 30'000, 300'000},
      {"exactly 8.0 s is measured again, 1,125 calls in tens", 0, 8000, 1000 + 1130, 9.04e9 / 1125},
      {"8.001 s is long enough", 0, 8001, 1000, 8'001'000},
      {"one second a call", 0, 1'000'000, 1000, 1e9},
      {"a pass across midnight is too short", kDay - 1000, 1000, 1000 + 2000 + 9000, 1e6},
  };
  for (const auto& test : kCases) {
    now = test.start;
    step = test.step;
    calls = 0;
    const double result = tarn::PERFORM_TIMING(&routine);
    EXPECT_DOUBLE_EQ(result, test.nanoseconds) << test.what;
    EXPECT_EQ(calls, test.calls) << test.what;
    EXPECT_EQ(saved(), result) << test.what;
  }
}

TEST_F(Timing, FileIsTheValueAndItsPathIsPrinted) {
  std::string errors;
  EXPECT_EQ(printed_by_saving(1.5, &errors), std::string(kFolder) + "\\Timing\\Timing_data\r\n");
  EXPECT_EQ(errors, "");
  EXPECT_EQ(saved(), 1.5);
  EXPECT_NE(printed_by_saving(-0.25, &errors), "");
  EXPECT_EQ(saved(), -0.25);
  // As long as the buffer allows: 79 bytes of "./" and the folder's name.
  std::string longest = kFolder;
  while (longest.size() < 78) longest.insert(0, "./");
  longest.insert(longest.size() % 2 == 0 ? longest.size() : 0, longest.size() == 78 ? "/" : "");
  ASSERT_EQ(longest.size(), 79u);
  tarn::platform::SetEnvironmentVariableA("appdata", longest.c_str());
  EXPECT_NE(printed_by_saving(2.5, &errors), "");
  EXPECT_EQ(saved(), 2.5);
  tarn::platform::SetEnvironmentVariableA("appdata", (longest + "/").c_str());
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(printed_by_saving(3.5, &errors), "");
    EXPECT_EQ(errors, "save_timing: appdata is missing or too long, nothing is saved\r\n");
    EXPECT_EQ(saved(), 2.5);
    tarn::platform::SetEnvironmentVariableA("appdata", nullptr);
  }
  tarn::platform::SetEnvironmentVariableA("appdata", "no such folder/at all");
  EXPECT_EQ(tarn::test::raised_by([] { tarn::save_timing(1); }).number, 296);
}

}  // namespace
