// A long life in a short time: each operation many times over, after which the
// process has no more handles and no more memory than before.
//
// TARN_SOAK in the environment: how often, in hundreds, in place of kOrdinary.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "console/console_state.h"
#include "console/formatted_output.h"
#include "console/line_output.h"
#include "console/progress.h"
#include "services/child_processes.h"
#include "services/file_utilities.h"
#include "storage/expanding_region.h"
#include "storage/heap.h"
#include "storage/secondary_stack.h"
#include "streams/file_stream.h"
#include "streams/format.h"
#include "streams/low_level_files.h"
#include "tests/support/possessions.h"
#include "tests/support/raised.h"
#ifndef _WIN32
#include "platform/posix/terminal/terminal.h"
#include "tests/support/pseudo_terminal.h"
#endif

namespace {

using tarn::test::Possessions;

constexpr int kOrdinary = 500;
constexpr int kWarmUp = 100;
constexpr char kFile[] = "soak_test_file";

// Beside what leaks, what the allocators of the system keep. A sanitizer keeps
// what was freed for a while.
#if defined(__SANITIZE_ADDRESS__)
constexpr std::int64_t kSlack = std::int64_t{300} << 20;
#else
constexpr std::int64_t kSlack = std::int64_t{3} << 20;
#endif

// ---- Operations -------------------------------------------------------------------

std::minstd_rand random_numbers(1);

void open_write_close(int turn) {
  tarn::FILE* const file = tarn::fopen(kFile, turn % 2 ? "wb" : "w");
  ASSERT_NE(file, nullptr);
  ASSERT_EQ(tarn::fputs("a line of text\n", file), 0);
  tarn::fclose(file);
  ASSERT_EQ(tarn::_unlink(kFile), 0);  // some disks take long to write one again
}

void allocate(int) {
  static void* blocks[64];
  void*& block = blocks[random_numbers() % 64];
  const std::uint64_t size = random_numbers() % (random_numbers() % 16 == 0 ? 100'000 : 1000) + 1;
  if (random_numbers() % 2 == 0) {
    block = tarn::realloc(block, size);
  } else {
    tarn::free(block);
    block = tarn::malloc(size);
  }
  ASSERT_NE(block, nullptr);
  std::memset(block, 1, size);
}

void write_formatted(int turn) {
  static tarn::FILE* file;
  const int line = turn % kWarmUp;
  if (line == 0) file = tarn::fopen(kFile, "w");
  ASSERT_NE(file, nullptr);
  ASSERT_GT(tarn::fprintf(file, "%8d %-10s %12.5g\n", turn, "formatted", turn / 7.0), 0);
  if (line == kWarmUp - 1) tarn::fclose(file);
}

void use_region(int) {
  auto* const region = static_cast<char*>(tarn::setup_expanding_region("soak", 1 << 20));
  region[0] = region[900'000] = 'r';
  ASSERT_NE(tarn::remove_virtual_region(region, 0x8000), 0);
}

void use_secondary_stack(int turn) {
  void* const pointer = tarn::__return_pseudo_stack_ptr();
  std::memset(tarn::__alloc_pseudo_stack(turn % 5000), 1, static_cast<std::size_t>(turn % 5000));
  tarn::__set_pseudo_stack_ptr(pointer);
  tarn::__alloc_quasi_stack_str(turn % 3000);
  if (turn % 100 == 0) tarn::__free_quasi_stack();
}

void look_at_files(int) {
  std::int32_t date = 0, time = 0;
  ASSERT_EQ(tarn::get_file_date_time(kFile, &date, &time), 1);
  tarn::free(tarn::__read_file(kFile));
}

void start_thread(int) {
  tarn::MakeProgressThread(100);
  tarn::CloseProgressThread();
}

void start_child(int) { ASSERT_EQ(tarn::system("exit 3"), 3); }

#ifndef _WIN32
// On a terminal, which stays the console, and answered by a key.
void pause_for_a_key(int turn) {
  static const tarn::test::BlindTerminal terminal(80, 24);
  static const std::int64_t handle = reinterpret_cast<std::int64_t>(tarn::platform::CreateFileA(
      terminal.path().c_str(), tarn::platform::kGenericRead | tarn::platform::kGenericWrite, 3,
      nullptr, tarn::platform::kOpenExisting, 0, nullptr));
  const termios mode = terminal.mode();
  tarn::console.output_handle = tarn::console.input_handle = handle;
  tarn::console.redirected = 0;
  tarn::console.buffer_height = 24;
  terminal.type("k");
  tarn::ConsolePrintf("pause %d\n", turn);
  tarn::OutputPauseMessage();
  tarn::platform::restore_terminal();
  ASSERT_TRUE(terminal.has_mode(mode));
}
#endif

constexpr struct {
  const char* name;
  void (*run)(int turn);
  int share;  // one in so many of the turns
} kOperations[] = {
    {"open, write, close", open_write_close, 1},
    {"allocate", allocate, 1},
    {"formatted lines", write_formatted, 1},
    {"look at files", look_at_files, 1},
    {"regions", use_region, 1},
    {"secondary stack", use_secondary_stack, 1},
    {"threads", start_thread, 20},
    {"children", start_child, 250},
#ifndef _WIN32
    {"pauses", pause_for_a_key, 5},  // the last
#endif
};

TEST(Soak, LeavesNothingBehind) {
  tarn::test::initialise();
  const char* const wanted = std::getenv("TARN_SOAK");
  const int turns = wanted ? std::atoi(wanted) : kOrdinary;
  ASSERT_EQ(turns % kWarmUp, 0);
  for (const auto& operation : kOperations) {
    for (int turn = 0; turn < kWarmUp; turn += operation.share) operation.run(turn);
    const Possessions before = tarn::test::take_stock();
    for (int turn = 0; turn < turns; turn += operation.share) {
      operation.run(turn);
      if (HasFatalFailure()) {
        ADD_FAILURE() << operation.name << ", turn " << turn;
        return;
      }
    }
    const Possessions after = tarn::test::take_stock();
    EXPECT_EQ(after.handles, before.handles) << operation.name;
    EXPECT_EQ(after.free_place, before.free_place) << operation.name;
    EXPECT_LT(after.memory, before.memory + kSlack) << operation.name;
    std::printf("%-20s %9d times, memory %+lld kB\n", operation.name, turns / operation.share,
                static_cast<long long>((after.memory - before.memory) / 1024));
  }
  tarn::_unlink(kFile);
}

}  // namespace
